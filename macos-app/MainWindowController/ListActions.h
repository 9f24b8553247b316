#pragma once

#include "MainWindowController/SegmentListEditor.h"

class MainWindow;
class QAction;
class QTableView;

/// The commands of both tables that edit the list of segments, each with its key and its place in a context menu.
class ListActions final : public QObject
{
    Q_OBJECT

public:
    explicit ListActions(MainWindow& window);

    /// What restoring would bring back; the command is absent where that is empty.
    void offerRestoring(const QString& description);

Q_SIGNALS:
    void restoreRequested();
    /// Why a command did nothing, for the status line.
    void refused(const QString& reason);

private:
    void addEventActions();
    void addSegmentActions();
    void addHistoryActions();
    void update();

    void rejectOrRestore();
    void join();
    void keepOnlySelected();
    void invert();
    void copyTimes();
    void pasteTimes();
    void edit(const QString& stepName, const SegmentListEditor::Edit& change);
    [[nodiscard]] const TransitionEvent* currentEvent() const;
    [[nodiscard]] bool isCurrentEventRejected() const;
    [[nodiscard]] QList<int> selectedRows() const;

    MainWindow& m_window;
    SegmentListEditor& m_list;
    QAction* m_reject = nullptr;
    QAction* m_toggle = nullptr;
    QAction* m_delete = nullptr;
    QAction* m_join = nullptr;
    QAction* m_keepOnly = nullptr;
    QAction* m_copy = nullptr;
    QAction* m_undo = nullptr;
    QAction* m_redo = nullptr;
    QAction* m_restore = nullptr;
};
