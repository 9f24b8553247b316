#pragma once

#include "RunOverview/JobListOrder.h"

#include <QWidget>

class JobTableModel;
class QAction;
class QCheckBox;
class QLabel;
class QProgressBar;
class QTableView;

/// The view of a split: its total at the top, a row per job, and what can be done about them. Knows no split. Rows are
/// those of the model, in whatever order they are shown.
class RunOverviewWindow final : public QWidget
{
public:
    explicit RunOverviewWindow(JobTableModel* model);

    /// Brings the window to the front without taking the focus from anybody; one that was closed opens at its corner of
    /// the screen.
    void present();
    /// In ascending order.
    [[nodiscard]] QList<int> selectedRows() const;
    /// Keeps these rows in sight, until the user scrolls or selects something himself.
    void follow(int firstRow, int lastRow);
    void startFollowing() { m_follows = true; }

    QProgressBar* totalProgressBar = nullptr;
    QLabel* elapsedLabel = nullptr;
    QLabel* remainingLabel = nullptr;
    QTableView* jobTableView = nullptr;
    QCheckBox* problemsBox = nullptr;
    QAction* stopSelectedAction = nullptr;
    QAction* stopAllAction = nullptr; ///< in every window
    QAction* retryAction = nullptr;
    QAction* revealAction = nullptr;
    QAction* copyCommandAction = nullptr;
    QAction* openAction = nullptr;
    QAction* showLogAction = nullptr;
    QAction* closeIdleLogsAction = nullptr;
    QAction* showAction = nullptr; ///< in every window

private:
    [[nodiscard]] QWidget* makeTotal();
    [[nodiscard]] QTableView* makeTable();
    void connectTable();
    void setMenuOfTable();
    void makeActions();
    [[nodiscard]] QWidget* makeButtons();

    JobListOrder m_order;
    bool m_follows = true;
};
