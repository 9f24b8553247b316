#include "RunOverview/RunOverviewWindow.h"

#include "Controls/OnScreen.h"
#include "Controls/SharedActions.h"
#include "RunOverview/JobBarDelegate.h"
#include "RunOverview/JobTableModel.h"
#include "RunOverview/JobTableView.h"

#include <QAction>
#include <QCheckBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QProgressBar>
#include <QScreen>
#include <QScrollBar>
#include <QToolButton>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize windowSize(920, 420);
constexpr int margin = 16;
constexpr int titleBarRoom = 30; ///< the frame is not known before the window is shown
constexpr int spacing = 10;
constexpr int rowHeight = 28;
constexpr std::array columnWidths = {36, 150, 196, 72, 140, 64};

QAction* makeAction(QWidget* window, const QString& text, const QString& name, const QKeySequence& shortcut)
{
    auto* action = new QAction(text, window);
    action->setObjectName(name);
    action->setShortcut(shortcut);
    action->setEnabled(false);
    return action;
}

QToolButton* makeButton(QAction* action)
{
    auto* button = new QToolButton;
    button->setDefaultAction(action);
    button->setFocusPolicy(Qt::StrongFocus);
    button->setMinimumHeight(30);
    button->setAccessibleName(action->text());
    return button;
}

/// A screen reader reads its text; an accessible name would stand in the way.
QLabel* makeTimeLabel(const QString& name)
{
    auto* label = new QLabel;
    label->setObjectName(name);
    label->setTextFormat(Qt::PlainText);
    return label;
}

} // namespace

RunOverviewWindow::RunOverviewWindow(JobTableModel* model)
    : m_order(model)
{
    setObjectName(u"runOverviewWindow"_s);
    setWindowTitle(u"分解总览"_s);
    setAttribute(Qt::WA_QuitOnClose, false);
    setAttribute(Qt::WA_ShowWithoutActivating);
    makeActions();
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(margin, margin, margin, margin);
    layout->setSpacing(spacing);
    layout->addWidget(makeTotal());
    layout->addWidget(makeTable());
    layout->addWidget(makeButtons());
    resize(windowSize);
    jobTableView->setFocus();
}

/// The worker windows open at the lower left.
void RunOverviewWindow::present()
{
    if (!isVisible()) {
        const QRect available = screen()->availableGeometry();
        const int left = available.right() - width() - margin;
        const int top = available.bottom() - height() - titleBarRoom - margin;
        move(left, top);
        show();
        keepOnScreen(this);
    }
    raise();
}

QList<int> RunOverviewWindow::selectedRows() const
{
    QList<int> rows;
    for (const QModelIndex& index : jobTableView->selectionModel()->selectedRows())
        rows.append(m_order.mapToSource(index).row());
    std::sort(rows.begin(), rows.end());
    return rows;
}

void RunOverviewWindow::follow(int firstRow, int lastRow)
{
    for (const int row : {lastRow, firstRow}) {
        if (m_follows)
            jobTableView->scrollTo(m_order.mapFromSource(m_order.sourceModel()->index(row, 0)));
    }
}

QWidget* RunOverviewWindow::makeTotal()
{
    totalProgressBar = new QProgressBar;
    totalProgressBar->setObjectName(u"totalProgressBar"_s);
    totalProgressBar->setAccessibleName(u"总进度"_s);
    totalProgressBar->setRange(0, 1000);
    totalProgressBar->setFormat(u"%p%"_s);
    elapsedLabel = makeTimeLabel(u"elapsedLabel"_s);
    remainingLabel = makeTimeLabel(u"remainingLabel"_s);

    auto* total = new QWidget;
    auto* layout = new QVBoxLayout(total);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(totalProgressBar);
    auto* times = new QHBoxLayout;
    times->addWidget(elapsedLabel);
    times->addStretch();
    times->addWidget(remainingLabel);
    layout->addLayout(times);
    return total;
}

void RunOverviewWindow::makeActions()
{
    stopSelectedAction = makeAction(this, u"停止所选"_s, u"stopSelectedAction"_s, Qt::Key_Delete);
    stopAllAction = makeAction(this, u"全部停止"_s, u"stopAllAction"_s, u"Ctrl+."_s);
    retryAction = makeAction(this, u"重试失败"_s, u"retryAction"_s, u"Ctrl+R"_s);
    revealAction = makeAction(this, u"在文件夹中显示"_s, u"revealAction"_s, u"Ctrl+Return"_s);
    copyCommandAction = makeAction(this, u"复制命令"_s, u"copyCommandAction"_s, {});
    openAction = makeAction(this, u"打开片段"_s, u"openAction"_s, Qt::Key_Return);
    showLogAction = makeAction(this, u"显示日志窗口"_s, u"showLogAction"_s, {});
    closeIdleLogsAction = makeAction(this, u"关闭空闲日志窗口"_s, u"closeIdleLogsAction"_s, {});
    stopSelectedAction->setShortcuts({Qt::Key_Delete, Qt::Key_Backspace}); // a Mac's delete key is the latter
    openAction->setShortcuts({Qt::Key_Return, Qt::Key_Enter});
    addActions({stopSelectedAction, stopAllAction, retryAction, openAction, revealAction, copyCommandAction,
                showLogAction, closeIdleLogsAction});
    shareWithEveryWindow(stopAllAction);
    showAction = makeAction(this, u"显示分解总览"_s, u"showAction"_s, u"Ctrl+Shift+O"_s);
    shareWithEveryWindow(showAction);
}

QTableView* RunOverviewWindow::makeTable()
{
    jobTableView = new JobTableView(copyCommandAction);
    jobTableView->setObjectName(u"jobTableView"_s);
    jobTableView->setAccessibleName(u"任务列表"_s);
    jobTableView->setModel(&m_order);
    jobTableView->setItemDelegateForColumn(JobTableModel::progressColumn, new JobBarDelegate(jobTableView));
    jobTableView->setSelectionBehavior(QAbstractItemView::SelectRows);
    jobTableView->setEditTriggers(QAbstractItemView::NoEditTriggers);
    jobTableView->setAlternatingRowColors(true);
    jobTableView->setShowGrid(false);
    jobTableView->setWordWrap(false);
    jobTableView->setTextElideMode(Qt::ElideMiddle); // an error tells its reason last
    jobTableView->setTabKeyNavigation(false);
    jobTableView->verticalHeader()->hide();
    jobTableView->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    jobTableView->verticalHeader()->setDefaultSectionSize(rowHeight);
    jobTableView->horizontalHeader()->setStretchLastSection(true);
    jobTableView->horizontalHeader()->setHighlightSections(false);
    jobTableView->horizontalHeader()->setSortIndicatorClearable(true); // the third click brings the list's order back
    jobTableView->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
    jobTableView->setSortingEnabled(true);
    for (int column = 0; column < static_cast<int>(columnWidths.size()); ++column)
        jobTableView->setColumnWidth(column, columnWidths.at(static_cast<std::size_t>(column)));
    setMenuOfTable();
    connectTable();
    return jobTableView;
}

void RunOverviewWindow::setMenuOfTable()
{
    const auto separator = [this] {
        auto* action = new QAction(jobTableView);
        action->setSeparator(true);
        return action;
    };
    jobTableView->setContextMenuPolicy(Qt::ActionsContextMenu);
    jobTableView->addActions({openAction, revealAction, copyCommandAction, separator(), showLogAction,
                              closeIdleLogsAction, separator(), stopSelectedAction});
}

void RunOverviewWindow::connectTable()
{
    connect(jobTableView, &QTableView::doubleClicked, openAction, &QAction::trigger);
    connect(jobTableView->verticalScrollBar(), &QAbstractSlider::actionTriggered, this, [this] { m_follows = false; });
    connect(jobTableView->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this](const QItemSelection& selected) { m_follows = m_follows && selected.isEmpty(); });
}

QWidget* RunOverviewWindow::makeButtons()
{
    problemsBox = new QCheckBox(u"只看失败和可疑"_s);
    problemsBox->setObjectName(u"problemsBox"_s);
    problemsBox->setAccessibleName(problemsBox->text());
    connect(problemsBox, &QCheckBox::toggled, this, [this](bool isOn) { m_order.setProblemsOnly(isOn); });

    auto* buttons = new QWidget;
    auto* layout = new QHBoxLayout(buttons);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(makeButton(stopSelectedAction));
    layout->addWidget(makeButton(stopAllAction));
    layout->addStretch();
    layout->addWidget(problemsBox);
    layout->addStretch();
    layout->addWidget(makeButton(showLogAction));
    layout->addWidget(makeButton(closeIdleLogsAction));
    layout->addWidget(makeButton(retryAction));
    return buttons;
}
