#include "FakeFFmpeg.h"
#include "RunOverview/RunOverview.h"
#include "RunOverview/RunOverviewWindow.h"
#include "SplitCoordinator/SplitCoordinator.h"

#include <QAbstractItemModelTester>
#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QDesktopServices>
#include <QHeaderView>
#include <QLabel>
#include <QProgressBar>
#include <QScrollBar>
#include <QTableView>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

/// Stands where the main window stands: runs jobs, and runs them again when asked.
class Splits final : public SplitCoordinatorDelegate
{
public:
    RunOverview overview;
    std::shared_ptr<SplitCoordinator> coordinator;
    QStringList finishes;

    Splits(const RuntimeConfiguration& runtime, int concurrency)
        : m_runtime(runtime)
        , m_concurrency(concurrency)
    {
        overview.onRetry = [this](const QList<int>& rows) {
            makeCoordinator(overview.jobs(rows));
            overview.watchAgain(rows, m_concurrency, coordinator);
            std::shared_ptr(coordinator)->start();
        };
    }

    void run(const QList<FFmpegJob>& jobs)
    {
        makeCoordinator(jobs);
        overview.watch(jobs, m_concurrency, coordinator);
        std::shared_ptr(coordinator)->start();
    }

    void splitCoordinatorDidStart(int, int) override { overview.present(); }
    void splitCoordinatorDidUpdate(int, int, int) override {}
    void splitCoordinatorDidFinish(int completed, int failed, int total) override
    {
        coordinator.reset();
        overview.splitDidFinish();
        finishes << u"%1 %2 %3"_s.arg(completed).arg(failed).arg(total);
    }

    [[nodiscard]] QString column(int column) const
    {
        const auto* model = overview.window()->jobTableView->model();
        QStringList texts;
        for (int row = 0; row < model->rowCount(); ++row)
            texts << model->index(row, column).data().toString();
        return texts.join(u' ');
    }
    [[nodiscard]] QString states() const { return column(JobTableModel::stateColumn); }
    void select(int row) const
    {
        overview.window()->jobTableView->clearSelection(); // a modifier pressed last would have it extended
        overview.window()->jobTableView->selectRow(row);
    }

private:
    void makeCoordinator(const QList<FFmpegJob>& jobs)
    {
        coordinator = std::make_shared<SplitCoordinator>(jobs, m_concurrency, m_runtime);
        coordinator->delegate = this;
    }

    RuntimeConfiguration m_runtime;
    int m_concurrency;
};

} // namespace

class RunOverviewTest final : public QObject
{
    Q_OBJECT

    QUrl m_opened;

public Q_SLOTS:
    void open(const QUrl& url) { m_opened = url; }

private Q_SLOTS:
    void cleanup()
    {
        for (QWidget* window : QApplication::topLevelWidgets())
            window->close();
        QTRY_VERIFY(!givenUpJobsRun());
    }

    /// One lane. Job 1 is stopped while it runs, 2 dies, 3 is stopped before its launch, 4 ends well.
    void stoppedAndFailedJobsRunAgainInTheirRows()
    {
        const FakeFFmpeg tool("half() { printf 'out_time_us=500000\\nprogress=continue\\n'; }\ncase \"$output\" in"
                              " *1) test -e again || { echo part > \"$output\"; half; read line < gate; };;"
                              " *2) test -e again || kill -KILL $$;; esac\necho whole > \"$output\"\n"
                              "printf 'frame=25\\nout_time_us=1000000\\nspeed=2.4x\\nprogress=end\\n'");
        tool.makeGate(u"gate"_s);
        QList<FFmpegJob> jobs = tool.jobs(4);
        Splits splits(tool.runtime(), 1);
        const QAbstractItemModelTester tester(splits.overview.window()->jobTableView->model());
        const RunOverviewWindow& window = *splits.overview.window();
        splits.run(jobs);
        QVERIFY(window.isVisible() && !window.testAttribute(Qt::WA_QuitOnClose));
        QCOMPARE(splits.states(), u"运行中 等待 等待 等待"_s);
        QVERIFY(window.stopAllAction->isEnabled() && !window.retryAction->isEnabled());

        splits.select(2);
        window.stopSelectedAction->trigger();
        QCOMPARE(splits.states(), u"运行中 等待 已停止 等待"_s);
        QVERIFY(!window.stopSelectedAction->isEnabled());
        QTRY_COMPARE(splits.column(JobTableModel::progressColumn), u"50% 0% 0% 0%"_s);
        splits.select(0);
        window.stopSelectedAction->trigger();
        QTRY_COMPARE(splits.finishes, QStringList{u"1 3 4"_s});
        QCOMPARE(splits.states(), u"已停止 失败 已停止 完成"_s);
        QCOMPARE(splits.column(JobTableModel::remarkColumn).simplified(), u"ffmpeg 意外结束，没有说明原因"_s);
        QVERIFY(splits.overview.hasFailures());
        QVERIFY(!tool.exists(u"1"_s) && !tool.exists(u"3"_s) && tool.exists(u"4"_s));
        QCOMPARE(window.totalProgressBar->value(), 250);
        QVERIFY(!window.stopAllAction->isEnabled() && window.retryAction->isEnabled());

        window.problemsBox->click();
        QCOMPARE(splits.states(), u"失败"_s);
        splits.select(0);
        window.copyCommandAction->trigger();
        QCOMPARE(QGuiApplication::clipboard()->text(), jobs.at(1).shellCommand());
        window.problemsBox->click();
        const QHeaderView* header = window.jobTableView->horizontalHeader();
        const QPoint progress(header->sectionViewportPosition(JobTableModel::progressColumn) + 9, 9);
        for (const QString& order : {u"1 2 3 4"_s, u"4 1 2 3"_s, u"1 2 3 4"_s}) {
            QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, progress);
            QCOMPARE(splits.column(JobTableModel::numberColumn), order);
        }
        QDesktopServices::setUrlHandler(u"file"_s, this, "open");
        const QRect row = window.jobTableView->visualRect(window.jobTableView->model()->index(3, 1));
        QTest::mouseClick(window.jobTableView->viewport(), Qt::LeftButton, {}, row.center());
        QTest::mouseDClick(window.jobTableView->viewport(), Qt::LeftButton, {}, row.center());
        QDesktopServices::unsetUrlHandler(u"file"_s);
        QCOMPARE(m_opened, QUrl::fromLocalFile(jobs.at(3).outputURL.path()));

        tool.write(u"again"_s, "");
        window.retryAction->trigger();
        QCOMPARE(splits.states(), u"运行中 等待 等待 完成"_s);
        QTRY_COMPARE(splits.finishes, QStringList({u"1 3 4"_s, u"3 0 3"_s}));
        QCOMPARE(splits.states(), u"完成 完成 完成 完成"_s);
        QCOMPARE(splits.column(JobTableModel::numberColumn), u"1 2 3 4"_s);
        QVERIFY(tool.exists(u"1"_s) && tool.exists(u"2"_s) && tool.exists(u"3"_s));
        QVERIFY(!window.retryAction->isEnabled());
    }

    void everythingWorksFromTheKeyboard()
    {
        const FakeFFmpeg tool("echo part > \"$output\"; read line < gate");
        tool.makeGate(u"gate"_s);
        Splits splits(tool.runtime(), 2);
        splits.run({tool.job(u"a b"_s), tool.job(u"2"_s), tool.job(u"3"_s)});
        RunOverviewWindow* window = splits.overview.window();
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window));
        QCOMPARE(window->focusWidget(), window->jobTableView);
        splits.select(0);
        QTest::keyClick(window->jobTableView, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QGuiApplication::clipboard()->text(), tool.job(u"a b"_s).shellCommand());
        splits.select(2);
        QTest::keyClick(window->jobTableView, Qt::Key_Delete);
        QCOMPARE(splits.states(), u"运行中 运行中 已停止"_s);
        QWidget other;
        other.show();
        QVERIFY(QTest::qWaitForWindowActive(&other));
        QTest::keyClick(&other, Qt::Key_Period, Qt::ControlModifier);
        QCOMPARE(splits.states(), u"正在停止 正在停止 已停止"_s);
        QCOMPARE(window->remainingLabel->text(), u"正在停止"_s);
        QTRY_COMPARE(splits.finishes, QStringList{u"0 3 3"_s});
        QCOMPARE(splits.states(), u"已停止 已停止 已停止"_s);
        QVERIFY(!splits.overview.hasFailures());
        for (const QWidget* control : window->findChildren<QWidget*>()) {
            const bool takesFocus = control->focusPolicy() & Qt::TabFocus;
            QVERIFY2(!takesFocus || !control->accessibleName().isEmpty(), control->metaObject()->className());
        }
        window->close();
        QTest::keySequence(&other, window->showAction->shortcut());
        QVERIFY(window->isVisible());
    }

    void logsOfEarlierSplitsAreClosedTogether()
    {
        const FakeFFmpeg tool("test -e again && read line < gate; exit 1");
        tool.makeGate(u"gate"_s);
        const auto openLogs = [] {
            QWidgetList logs;
            for (QWidget* widget : QApplication::topLevelWidgets()) {
                if (widget->isVisible() && widget->windowTitle().startsWith(u"分解任务"))
                    logs << widget;
            }
            return logs;
        };
        Splits splits(tool.runtime(), 2);
        const RunOverviewWindow& window = *splits.overview.window();
        splits.run(tool.jobs(2));
        QTRY_COMPARE(splits.finishes.size(), 1);
        tool.write(u"again"_s, "");
        window.retryAction->trigger();
        QCOMPARE(openLogs().size(), 4);
        window.closeIdleLogsAction->trigger();
        QTRY_COMPARE(openLogs().size(), 2);
        QVERIFY(!window.closeIdleLogsAction->isEnabled());
        splits.select(1);
        window.showLogAction->trigger();
        QTRY_COMPARE(QApplication::activeWindow()->windowTitle(), u"分解任务 2/2"_s);
        splits.overview.stopAll();
        QTRY_COMPARE(splits.finishes.size(), 2);
    }

    void followsTheRunningRowsUntilTheUserScrolls()
    {
        const FakeFFmpeg tool("case \"$output\" in *[0-9]9) read line < gate;; esac");
        tool.makeGate(u"gate"_s);
        Splits splits(tool.runtime(), 1);
        splits.run(tool.jobs(100));
        const QTableView* table = splits.overview.window()->jobTableView;
        const auto shows = [table](int row) {
            return table->viewport()->rect().contains(table->visualRect(table->model()->index(row, 1)).center());
        };
        QTRY_VERIFY(shows(18));
        table->verticalScrollBar()->triggerAction(QAbstractSlider::SliderToMinimum);
        splits.coordinator->stop(18);
        QTRY_COMPARE(table->model()->index(28, JobTableModel::stateColumn).data(), u"运行中"_s);
        QTRY_COMPARE(splits.overview.window()->totalProgressBar->value(), 270); // it was updated
        QVERIFY(shows(0));
        splits.overview.stopAll();
        QTRY_COMPARE(splits.finishes.size(), 1);
    }

    void endlessDurationsAreNoNumbers()
    {
        JobTableModel model;
        constexpr double endless = std::numeric_limits<double>::infinity();
        model.setJobs({{1, {}, {}, 0, endless, {}}, {2, {}, {}, 0, 1e308, {}}, {3, {}, {}, 0, 1e308, {}}});
        FFmpegReport report;
        report.outTime = endless;
        model.setReport(0, report);
        model.setReport(1, report);
        QCOMPARE(model.index(0, JobTableModel::progressColumn).data(), u"0%"_s);
        QCOMPARE(model.totalFraction(), 0.0);
    }

    void rowsFollowTheReports()
    {
        const FakeFFmpeg tool(
            R"(printf 'frame=6\nout_time_us=250000\nprogress=continue\n'; sleep 0.1
               printf 'frame=12\nout_time_us=500000\nspeed=2.4x\nprogress=continue\n'; read line < gate)");
        tool.makeGate(u"gate"_s);
        Splits splits(tool.runtime(), 1);
        splits.run(tool.jobs(2));
        QTRY_COMPARE(splits.column(JobTableModel::progressColumn), u"50% 0%"_s);
        QCOMPARE(splits.column(JobTableModel::speedColumn).trimmed(), u"2.4x"_s);
        const RunOverviewWindow& window = *splits.overview.window();
        QTRY_COMPARE(window.totalProgressBar->value(), 250);
        QTRY_COMPARE(window.remainingLabel->text(), u"剩余不到 15 秒"_s);

        const auto accessible = [](QWidget* widget) { return QAccessible::queryAccessibleInterface(widget); };
        QCOMPARE(accessible(window.totalProgressBar)->text(QAccessible::Name), u"总进度"_s);
        QAccessibleTableInterface* table = accessible(window.jobTableView)->tableInterface();
        QCOMPARE(table->cellAt(0, JobTableModel::progressColumn)->text(QAccessible::Name), u"50%"_s);

        splits.coordinator->stopAll();
        QTRY_COMPARE(splits.finishes.size(), 1);
    }
};

QTEST_MAIN(RunOverviewTest)
#include "tst_RunOverview.moc"
