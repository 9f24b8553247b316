#pragma once

#include "Review/ReviewPictures.h"
#include "Review/ReviewTableModel.h"

#include <QWidget>

#include <functional>

class FittingLabel;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QPushButton;
class QSlider;
class ReviewDelegate;
class ReviewTable;

/// The window "检查换场": all transitions with their pictures, to be confirmed or rejected one after another. It is fed
/// with values and asks for changes by signals; events are named by their places in the list of events.
class ReviewWindow final : public QWidget
{
    Q_OBJECT

public:
    explicit ReviewWindow(QWidget* parent);
    ~ReviewWindow() override;

    /// Commands that stand below the list's own in its context menu.
    void addCommands(const QList<QAction*>& commands);

    void setContent(const SegmentList& list, const ViewerContent& content);
    /// The tools to fetch pictures with, or the reason why there are none.
    void setRuntime(const std::optional<RuntimeConfiguration>& runtime, const QString& reason = {});
    void setSplitRunning(bool isRunning) { m_pictures.setSplitRunning(isRunning); }
    /// Goes to that event, if it is shown.
    void setCurrentEvent(int event);
    [[nodiscard]] int currentEvent() const;
    /// Why something asked for did not happen, for the line below.
    void tell(const QString& text);

    [[nodiscard]] const ReviewPictures& pictures() const { return m_pictures; }

Q_SIGNALS:
    void confirmRequested(const QList<int>& events);
    void rejectRequested(const QList<int>& events, const QString& stepName);
    /// The user has gone to another row.
    void currentEventChanged(int event);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void updateSecondaryColor();
    void buildTable();
    /// A command of the list, with its keys, in its context menu and as a button that bears `label`.
    [[nodiscard]] QPushButton* command(const QString& name, const QString& text, const QString& label,
                                       const QList<QKeySequence>& keys, void (ReviewWindow::*slot)());
    [[nodiscard]] QLayout* arrangementRow();
    [[nodiscard]] QLayout* pruningRow();
    [[nodiscard]] QLayout* actionRow();

    void arrange();
    void confirm();
    void reject();
    void decide(const std::function<void(const QList<int>&)>& ask);
    void goBack();
    void toggleLarge();
    void prune();
    void markForPruning();
    void goToRow(int row);
    void rowChanged(const QModelIndex& current);
    void layOutRows();
    void noteSight();
    void showProgress();
    [[nodiscard]] QList<int> selectedEvents() const;
    [[nodiscard]] QList<int> prunable() const;

    SegmentList m_list;
    ReviewPictures m_pictures;
    ReviewTableModel m_model;
    QList<int> m_visited;    ///< events that were decided on, for the way back
    bool m_isAsking = false; ///< the change that comes is one that was asked for here
    QTimer m_boxTimer;

    ReviewTable* m_table;
    ReviewDelegate* m_delegate;
    QComboBox* m_orderBox;
    QComboBox* m_filterBox;
    QDoubleSpinBox* m_secondsField;
    QSlider* m_pruneSlider;
    QLabel* m_pruneLabel;
    QPushButton* m_pruneButton;
    QLabel* m_progressLabel;
    FittingLabel* m_hintLabel;
};
