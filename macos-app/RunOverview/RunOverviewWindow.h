#pragma once

#include <QWidget>

class QAction;
class QLabel;
class QProgressBar;
class QTableView;
class JobTableModel;

/// The view of a run: its total at the top, a row per job, and what can be done about them. Knows no run.
class RunOverviewWindow final : public QWidget
{
public:
    explicit RunOverviewWindow(JobTableModel* model);

    /// Shows the window at its corner of the screen without taking the focus from anybody; an open one stays as it is.
    void present();
    /// Rows in ascending order.
    [[nodiscard]] QList<int> selectedRows() const;

    QProgressBar* totalProgressBar = nullptr;
    QLabel* elapsedLabel = nullptr;
    QLabel* remainingLabel = nullptr;
    QTableView* jobTableView = nullptr;
    QAction* stopSelectedAction = nullptr;
    QAction* stopAllAction = nullptr;
    QAction* retryAction = nullptr;
    QAction* revealAction = nullptr;
    QAction* copyCommandAction = nullptr;
    QAction* showAction = nullptr; ///< in every window

private:
    [[nodiscard]] QWidget* makeTotal();
    [[nodiscard]] QTableView* makeTable(JobTableModel* model);
    void makeActions();
    [[nodiscard]] QWidget* makeButtons() const;
};
