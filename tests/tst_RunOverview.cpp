#include "FakeFFmpeg.h"
#include "RunOverview/RunOverview.h"
#include "RunOverview/RunOverviewWindow.h"
#include "SplitCoordinator/SplitCoordinator.h"

#include <QAbstractItemModelTester>
#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QProcess>
#include <QProgressBar>
#include <QStandardPaths>
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

    void splitCoordinatorDidStart(int, int) override {}
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
    [[nodiscard]] QString states() const { return column(RunTableModel::stateColumn); }
    void select(int row) const { overview.window()->jobTableView->selectRow(row); }

private:
    void makeCoordinator(const QList<FFmpegJob>& jobs)
    {
        coordinator = std::make_shared<SplitCoordinator>(jobs, m_concurrency, m_runtime);
        coordinator->delegate = this;
    }

    RuntimeConfiguration m_runtime;
    int m_concurrency;
};

RuntimeConfiguration realFFmpeg()
{
    const FileURL ffmpeg(QStandardPaths::findExecutable(u"ffmpeg"_s));
    return {ffmpeg, ffmpeg, ffmpeg};
}

void runTool(const QStringList& arguments)
{
    QProcess process;
    process.start(u"ffmpeg"_s, QStringList{u"-v"_s, u"error"_s, u"-y"_s} + arguments);
    QVERIFY(process.waitForFinished(-1) && process.exitCode() == 0);
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
}

} // namespace

class RunOverviewTest final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;

    [[nodiscard]] FFmpegJob job(const QString& source, double start, double duration, const QString& output) const
    {
        return {1, FileURL(m_folder.filePath(source)), FileURL(m_folder.filePath(output)), start, duration, {}};
    }

private Q_SLOTS:
    void initTestCase()
    {
        const QString good = m_folder.filePath(u"good.mp4"_s);
        runTool({u"-f"_s, u"lavfi"_s, u"-i"_s, u"testsrc2=size=320x180:rate=25:duration=12"_s, u"-f"_s, u"lavfi"_s,
                 u"-i"_s, u"sine=duration=12"_s, u"-g"_s, u"100"_s, u"-movflags"_s, u"+faststart"_s, good});
        QByteArray content = contentOf(good);
        writeFile(m_folder.filePath(u"truncated.mp4"_s), content.first(content.size() * 6 / 10));
        for (qsizetype i = content.size() / 2; i < content.size() / 2 + 20'000; ++i)
            content[i] = static_cast<char>(i * 7919 >> 3);
        writeFile(m_folder.filePath(u"damaged.mp4"_s), content);
        runTool({u"-f"_s, u"lavfi"_s, u"-i"_s, u"testsrc2=size=160x90:rate=25:duration=12"_s, u"-vf"_s,
                 u"select=lt(t\\,6)+not(mod(n\\,12))"_s, u"-vsync"_s, u"vfr"_s, m_folder.filePath(u"varying.mp4"_s)});
        runTool({u"-i"_s, good, u"-c:v"_s, u"mpeg2video"_s, u"-c:a"_s, u"mp2"_s, m_folder.filePath(u"good.mpg"_s)});
        runTool({u"-i"_s, good, u"-an"_s, u"-c"_s, u"copy"_s, m_folder.filePath(u"silent.ts"_s)});
    }

    void cleanup()
    {
        for (QWidget* window : QApplication::topLevelWidgets())
            window->close();
        QTRY_VERIFY(qApp->findChildren<QProcess*>().isEmpty());
    }

    void realClipsAreVerified_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<double>("start");
        QTest::addColumn<double>("duration");
        QTest::addColumn<QString>("output");
        QTest::addColumn<QString>("state");
        QTest::addColumn<QString>("remark");
        QTest::newRow("whole") << u"good.mp4"_s << 1.33 << 2.5 << u"o.mp4"_s << u"完成"_s << u""_s;
        QTest::newRow("up to the end") << u"good.mp4"_s << 11.0 << 5.0 << u"o.mp4"_s << u"完成"_s << u""_s;
        QTest::newRow("varying frame rate without sound")
            << u"varying.mp4"_s << 6.5 << 4.0 << u"o.mp4"_s << u"完成"_s << u""_s;
        QTest::newRow("sound cut by the seek")
            << u"good.mpg"_s << 4.9 << 1.1 << u"o.mpg"_s << u"完成"_s << u"Error while decoding stream"_s;
        QTest::newRow("a stream from its beginning")
            << u"silent.ts"_s << 0.0 << 3.0 << u"o.mp4"_s << u"完成"_s << u""_s;
        QTest::newRow("pictures lost by the seek")
            << u"silent.ts"_s << 5.0 << 5.0 << u"o.mp4"_s << u"可疑"_s << u"，应为 5.000s"_s;
        QTest::newRow("beyond the end") << u"good.mp4"_s << 20.0 << 2.0 << u"o.mp4"_s << u"可疑"_s
                                        << u"没有写出任何画面"_s;
        QTest::newRow("across the truncation")
            << u"truncated.mp4"_s << 5.0 << 9.0 << u"o.mp4"_s << u"可疑"_s << u"，应为 7.0"_s;
        QTest::newRow("after the truncation")
            << u"truncated.mp4"_s << 10.0 << 1.0 << u"o.mp4"_s << u"可疑"_s << u"没有写出任何画面"_s;
        QTest::newRow("damaged middle") << u"damaged.mp4"_s << 4.0 << 5.0 << u"o.mp4"_s << u"可疑"_s
                                        << u"ffmpeg 报告了错误："_s;
        QTest::newRow("no such source") << u"none.mp4"_s << 0.0 << 1.0 << u"o.mp4"_s << u"失败"_s
                                        << u"No such file or directory"_s;
        QTest::newRow("no file to read") << u"good.mp4"_s << 0.0 << 1.0 << u"null.mp4"_s << u"可疑"_s
                                         << u"输出文件不存在或无法读取"_s;
    }

    void realClipsAreVerified()
    {
        QFETCH(QString, source);
        QFETCH(double, start);
        QFETCH(double, duration);
        QFETCH(QString, output);
        QFETCH(QString, remark);
        QFile::link(u"/dev/null"_s, m_folder.filePath(u"null.mp4"_s));
        Splits splits(realFFmpeg(), 1);
        splits.run({job(source, start, duration, output)});
        QTRY_COMPARE_WITH_TIMEOUT(splits.finishes.size(), 1, 60'000);
        QTEST(splits.states(), "state");
        const QString shown = splits.column(RunTableModel::remarkColumn);
        QVERIFY2(remark.isEmpty() ? shown.isEmpty() : shown.contains(remark), qPrintable(shown));
        QVERIFY(splits.finishes.first().startsWith(splits.states() == u"失败" ? u"0 1" : u"1 0"));
    }

    /// One lane. Job 1 is stopped while it runs, 2 dies, 3 is stopped before its launch, 4 ends well.
    void stoppedAndFailedJobsRunAgainInTheirRows()
    {
        const FakeFFmpeg tool(
            "case \"$output\" in *1) test -e again || { echo part > \"$output\"; read line < gate; };;"
            " *2) test -e again || kill -KILL $$;; esac\necho whole > \"$output\"\n"
            "printf 'frame=25\\nout_time_us=1000000\\nspeed=2.4x\\nprogress=end\\n'");
        tool.makeGate(u"gate"_s);
        QList<FFmpegJob> jobs;
        for (int number = 1; number <= 4; ++number) {
            jobs << tool.job(QString::number(number));
            jobs.last().index = number;
        }
        Splits splits(tool.runtime(), 1);
        const QAbstractItemModelTester tester(splits.overview.window()->jobTableView->model());
        const RunOverviewWindow& window = *splits.overview.window();
        QWidget other;
        other.show();
        splits.run(jobs);
        QVERIFY(window.isVisible() && !window.testAttribute(Qt::WA_QuitOnClose));
        QCOMPARE(splits.states(), u"运行中 等待 等待 等待"_s);
        QVERIFY(window.stopAllAction->isEnabled() && !window.retryAction->isEnabled());
        QVERIFY(!window.stopSelectedAction->isEnabled());

        splits.select(2);
        window.stopSelectedAction->trigger();
        QCOMPARE(splits.states(), u"运行中 等待 已停止 等待"_s);
        QCOMPARE(splits.coordinator->unfinishedJobs(), 4);
        QVERIFY(!window.stopSelectedAction->isEnabled());
        QTRY_VERIFY(tool.exists(u"1"_s));
        splits.select(0);
        window.stopSelectedAction->trigger();
        QTRY_COMPARE(splits.finishes, QStringList{u"1 3 4"_s});
        QCOMPARE(splits.states(), u"已停止 失败 已停止 完成"_s);
        QVERIFY(splits.column(RunTableModel::remarkColumn).contains(u"ffmpeg 意外结束"_s));
        QVERIFY(!tool.exists(u"1"_s) && !tool.exists(u"3"_s) && tool.exists(u"4"_s));
        QCOMPARE(window.totalProgressBar->value(), window.totalProgressBar->maximum());
        QVERIFY(!window.stopAllAction->isEnabled() && window.retryAction->isEnabled());

        tool.write(u"again"_s, "");
        window.retryAction->trigger();
        QCOMPARE(splits.states(), u"运行中 等待 等待 完成"_s);
        QTRY_COMPARE(splits.finishes, QStringList({u"1 3 4"_s, u"3 0 3"_s}));
        QCOMPARE(splits.states(), u"完成 完成 完成 完成"_s);
        QCOMPARE(splits.column(RunTableModel::numberColumn), u"1 2 3 4"_s);
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
        QTest::keyClick(window->jobTableView, Qt::Key_Period, Qt::ControlModifier);
        QTRY_COMPARE(splits.finishes, QStringList{u"0 3 3"_s});
        QCOMPARE(splits.states(), u"已停止 已停止 已停止"_s);
        for (const QWidget* control : window->findChildren<QWidget*>()) {
            const bool takesFocus = control->focusPolicy() & Qt::TabFocus;
            QVERIFY2(!takesFocus || !control->accessibleName().isEmpty(), control->metaObject()->className());
        }
        window->close();
        QWidget other;
        other.show();
        QVERIFY(QTest::qWaitForWindowActive(&other));
        QTest::keySequence(&other, window->showAction->shortcut());
        QVERIFY(window->isVisible());
    }

    void rowsFollowTheReports()
    {
        const FakeFFmpeg tool(
            R"(printf 'frame=6\nout_time_us=250000\nprogress=continue\n'; sleep 0.1
               printf 'frame=12\nout_time_us=500000\nspeed=2.4x\nprogress=continue\n'; read line < gate)");
        tool.makeGate(u"gate"_s);
        Splits splits(tool.runtime(), 1);
        splits.run({tool.job(u"1"_s), tool.job(u"2"_s)});
        QTRY_COMPARE(splits.column(RunTableModel::progressColumn), u"50% 0%"_s);
        QCOMPARE(splits.column(RunTableModel::speedColumn).trimmed(), u"2.4x"_s);
        const RunOverviewWindow& window = *splits.overview.window();
        QTRY_COMPARE(window.totalProgressBar->value(), 250);
        QTRY_COMPARE(window.remainingLabel->text(), u"剩余不到 15 秒"_s);

        // What a screen reader finds
        const auto accessible = [](QWidget* widget) { return QAccessible::queryAccessibleInterface(widget); };
        QCOMPARE(accessible(window.totalProgressBar)->text(QAccessible::Name), u"总进度"_s);
        QCOMPARE(accessible(window.totalProgressBar)->valueInterface()->currentValue().toInt(), 250);
        for (QLabel* label : {window.elapsedLabel, window.remainingLabel})
            QCOMPARE(accessible(label)->text(QAccessible::Name), label->text());
        QAccessibleTableInterface* table = accessible(window.jobTableView)->tableInterface();
        QCOMPARE(table->columnDescription(RunTableModel::progressColumn), u"进度"_s);
        QCOMPARE(table->cellAt(0, RunTableModel::stateColumn)->text(QAccessible::Name), u"运行中"_s);
        QCOMPARE(table->cellAt(0, RunTableModel::progressColumn)->text(QAccessible::Name), u"50%"_s);

        splits.coordinator->stopAll();
        QTRY_COMPARE(splits.finishes.size(), 1);
    }
};

QTEST_MAIN(RunOverviewTest)
#include "tst_RunOverview.moc"
