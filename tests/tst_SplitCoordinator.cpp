#include "FakeFFmpeg.h"
#include "SplitCoordinator/SplitCoordinator.h"

#include <QApplication>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

/// Writes down every report, and lets a test act inside one.
class Reports final : public SplitCoordinatorDelegate
{
public:
    QStringList lines;
    std::function<void(const QString&)> inside;

    void splitCoordinatorDidStart(int total, int workers) override { add(u"start %1 %2"_s.arg(total).arg(workers)); }
    void splitCoordinatorDidUpdate(int completed, int failed, int total) override
    {
        add(u"update %1 %2 %3"_s.arg(completed).arg(failed).arg(total));
    }
    void splitCoordinatorDidFinish(int completed, int failed, int total) override
    {
        add(u"finish %1 %2 %3"_s.arg(completed).arg(failed).arg(total));
    }

    [[nodiscard]] bool finished() const { return !lines.isEmpty() && lines.last().startsWith(u"finish"); }

private:
    void add(const QString& line)
    {
        lines << line;
        if (inside)
            inside(line);
    }
};

/// The shown worker windows in the order of their numbers.
QList<QWidget*> workerWindows()
{
    QMap<int, QWidget*> byNumber;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->isVisible() && window->windowTitle().startsWith(u"分解任务 "))
            byNumber[window->windowTitle().section(u' ', 1).section(u'/', 0, 0).toInt()] = window;
    }
    return byNumber.values();
}

QString logOf(const QWidget* window)
{
    return window->findChild<QPlainTextEdit*>(u"textView"_s)->toPlainText();
}

bool allIdle(const QList<QWidget*>& windows)
{
    return std::all_of(windows.begin(), windows.end(), [](const QWidget* window) {
        return window->findChild<QLabel*>(u"statusLabel"_s)->text() == u"空闲" &&
               window->findChild<QLabel*>(u"detailLabel"_s)->text() == u"当前没有待处理任务";
    });
}

QByteArray outputOf(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(-1);
    return process.readAllStandardOutput().trimmed();
}

} // namespace

class SplitCoordinatorTest final : public QObject
{
    Q_OBJECT

    Reports m_reports;
    std::shared_ptr<SplitCoordinator> m_coordinator;

    void start(const QList<FFmpegJob>& jobs, int concurrency, const RuntimeConfiguration& runtime)
    {
        m_coordinator = std::make_shared<SplitCoordinator>(jobs, concurrency, runtime);
        m_coordinator->delegate = &m_reports;
        m_coordinator->start();
    }

    static QList<FFmpegJob> jobsOf(const FakeFFmpeg& tool, int count)
    {
        QList<FFmpegJob> jobs;
        for (int number = 1; number <= count; ++number)
            jobs << tool.job(QString::number(number));
        return jobs;
    }

private Q_SLOTS:
    void init()
    {
        m_reports.lines.clear();
        m_reports.inside = {};
    }

    void cleanup()
    {
        m_coordinator.reset();
        for (QWidget* window : workerWindows())
            window->close();
        QTRY_VERIFY_WITH_TIMEOUT(workerWindows().isEmpty() && !givenUpJobsRun(), patience);
    }

    /// Five clips by three workers, every other one cropped.
    void cutsARealVideo()
    {
        const QTemporaryDir folder;
        const QString video = folder.filePath(u"输入 视频.mp4"_s);
        outputOf(u"ffmpeg"_s, {u"-v"_s, u"error"_s, u"-f"_s, u"lavfi"_s, u"-i"_s,
                               u"testsrc=size=320x180:rate=25:duration=9"_s, u"-pix_fmt"_s, u"yuv420p"_s, video});
        const QList<double> durations = {1, 1.25, 0.5, 2.04, 0.88};
        QList<FFmpegJob> jobs;
        for (const double duration : durations) {
            const auto number = jobs.size() + 1;
            jobs << FFmpegJob{number,
                              FileURL(video),
                              FileURL(folder.filePath(u"片段-0%1.mp4"_s.arg(number))),
                              double(jobs.size()) * 1.5,
                              duration,
                              number % 2 == 0 ? std::optional(CropParameters{160, 120, 32, 8}) : std::nullopt};
        }
        const FileURL ffmpeg(QStandardPaths::findExecutable(u"ffmpeg"_s));
        start(jobs, 3, {ffmpeg, ffmpeg, ffmpeg});

        QCOMPARE(m_coordinator->unfinishedJobs(), 5);
        QTRY_VERIFY_WITH_TIMEOUT(m_reports.finished(), patience);
        QCOMPARE(m_reports.lines, QStringList({u"start 5 3"_s, u"update 1 0 5"_s, u"update 2 0 5"_s, u"update 3 0 5"_s,
                                               u"update 4 0 5"_s, u"update 5 0 5"_s, u"finish 5 0 5"_s}));
        QCOMPARE(workerWindows().size(), 3);
        QVERIFY(allIdle(workerWindows()));
        QString logs;
        for (const QWidget* window : workerWindows())
            logs += logOf(window);
        QCOMPARE(logs.count(u"\n>>> 完成\n"_s), 5);
        QCOMPARE(logs.count(u"\nprogress=end\n"_s), 5);
        for (const FFmpegJob& job : jobs) {
            QVERIFY(logs.contains(u">>> "_s + job.commandPreview() + u'\n'));
            const QList<QByteArray> probed =
                outputOf(u"ffprobe"_s, {u"-v"_s, u"error"_s, u"-of"_s, u"csv=p=0:s=x"_s, u"-show_entries"_s,
                                        u"stream=width,height,duration"_s, job.outputURL.path()})
                    .split('x');
            QCOMPARE(probed.value(0) + 'x' + probed.value(1), job.crop ? "160x120" : "320x180");
            QVERIFY2(std::abs(probed.value(2).toDouble() - job.duration) <= 0.041, probed.join('x'));
        }
    }

    void nextJobGoesToTheWorkerThatEnded()
    {
        const FakeFFmpeg tool("read line < \"$output-gate\"");
        for (int number = 1; number <= 5; ++number)
            tool.makeGate(u"%1-gate"_s.arg(number));
        start(jobsOf(tool, 5), 3, tool.runtime());
        int ended = 0;
        for (const auto& number : {u"2"_s, u"1"_s, u"4"_s, u"5"_s, u"3"_s}) {
            tool.openGate(number + u"-gate"_s);
            ++ended;
            QTRY_VERIFY_WITH_TIMEOUT(m_reports.lines.contains(u"update %1 0 5"_s.arg(ended)), patience);
        }
        QCOMPARE(m_reports.lines.last(), u"finish 5 0 5"_s);
        const QStringList expectedOutputs = {u"1 5"_s, u"2 4"_s, u"3"_s};
        for (int worker = 0; worker < 3; ++worker) {
            QStringList outputs;
            for (const QString& line : logOf(workerWindows().at(worker)).split(u'\n')) {
                if (line.startsWith(u">>> ffmpeg"))
                    outputs << FileURL(line).lastPathComponent();
            }
            QCOMPARE(outputs.join(u' '), expectedOutputs.at(worker));
        }
    }

    void noJobsFinishAtOnce()
    {
        start({}, 3, FakeFFmpeg(":").runtime());
        QCOMPARE(m_reports.lines, QStringList{u"finish 0 0 0"_s});
        QVERIFY(workerWindows().isEmpty());
    }

    void launchFailuresAreWorkedThroughAtOnce_data()
    {
        QTest::addColumn<int>("jobs");
        QTest::addColumn<bool>("releasedInside");
        QTest::newRow("a few") << 5 << false;
        QTest::newRow("released in the finish report") << 5 << true;
        QTest::newRow("a hundred thousand") << 100'000 << false;
    }

    void launchFailuresAreWorkedThroughAtOnce()
    {
        QFETCH(int, jobs);
        QFETCH(bool, releasedInside);
        const FakeFFmpeg tool(":");
        m_reports.inside = [&](const QString& line) {
            if (releasedInside && line.startsWith(u"finish"))
                m_coordinator.reset();
        };
        start(QList<FFmpegJob>(jobs, tool.job(u"missing/out"_s)), 3, tool.runtime());

        QCOMPARE(m_reports.lines.at(1), u"update 0 1 %1"_s.arg(jobs));
        QCOMPARE(m_reports.lines.last(), u"finish 0 %1 %1"_s.arg(jobs));
        QTRY_COMPARE_WITH_TIMEOUT(logOf(workerWindows().at(0)).count(u"启动失败："_s), jobs, patience);
        QVERIFY(logOf(workerWindows().at(2)).isEmpty());
        QVERIFY(allIdle(workerWindows()));
        QCOMPARE(m_reports.lines.size(), 1 + jobs + 1);
    }

    /// The outcome of each job is drawn beforehand, so the totals are known.
    void everyJobIsCountedOnce()
    {
        const FakeFFmpeg tool(
            "case \"$output\" in\n"
            "*exit) exit 3;; *kill) kill -KILL $$;; *burst) yes progress=continue | head -c 100000;; esac");
        const QStringList outcomes = {u"exit"_s, u"kill"_s, u"missing/out"_s, u"burst"_s, u"quiet"_s};
        QRandomGenerator random(20260101);
        QList<FFmpegJob> jobs;
        int good = 0;
        for (int number = 0; number < 1000; ++number) {
            const int outcome = random.bounded(5);
            good += outcome >= 3 ? 1 : 0;
            jobs << tool.job(outcomes.at(outcome));
        }
        start(jobs, 12, tool.runtime());
        QTRY_VERIFY_WITH_TIMEOUT(m_reports.finished(), patience);
        QCOMPARE(m_reports.lines.size(), 1 + 1000 + 1);
        QCOMPARE(m_reports.lines.last(), u"finish %1 %2 1000"_s.arg(good).arg(1000 - good));
        QVERIFY(allIdle(workerWindows()));
    }

    void runGoesOnWithoutDelegateAndWithClosedWindow()
    {
        const FakeFFmpeg tool("read line < gate; echo whole > \"$output\"");
        tool.makeGate(u"gate"_s);
        auto reports = std::make_unique<Reports>();
        m_coordinator = std::make_shared<SplitCoordinator>(jobsOf(tool, 2), 1, tool.runtime());
        m_coordinator->delegate = reports.get();
        m_coordinator->start();
        workerWindows().first()->close();
        reports.reset();
        tool.openGate(u"gate"_s);
        QTRY_COMPARE_WITH_TIMEOUT(m_coordinator->unfinishedJobs(), 1, patience);
        tool.openGate(u"gate"_s);
        QTRY_COMPARE_WITH_TIMEOUT(m_coordinator->unfinishedJobs(), 0, patience);
        QVERIFY(tool.exists(u"2"_s));
    }
};

QTEST_MAIN(SplitCoordinatorTest)
#include "tst_SplitCoordinator.moc"
