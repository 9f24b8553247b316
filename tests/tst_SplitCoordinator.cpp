#include "FakeFFmpeg.h"
#include "RealFFmpeg.h"
#include "SplitCoordinator/SplitCoordinator.h"

#include <QApplication>
#include <QLabel>
#include <QPlainTextEdit>
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

    /// Five clips by three workers.
    void cutsARealVideo()
    {
        const QTemporaryDir folder;
        const QString video = folder.filePath(u"输入 视频.mp4"_s);
        runFFmpeg(u"-f lavfi -i testsrc=size=64x48:rate=25:duration=9"_s, video);
        QList<FFmpegJob> jobs;
        for (int number = 1; number <= 5; ++number) {
            const FileURL clip(folder.filePath(u"片段-0%1.mp4"_s.arg(number)));
            jobs << FFmpegJob{number, FileURL(video), clip, number * 1.5, 0.5, std::nullopt};
        }
        const FileURL ffmpeg(QStandardPaths::findExecutable(u"ffmpeg"_s));
        start(jobs, 3, {ffmpeg, ffmpeg, ffmpeg});

        QCOMPARE(m_coordinator->unfinishedJobs(), 5);
        QTRY_VERIFY_WITH_TIMEOUT(m_reports.finished(), patience);
        QCOMPARE(m_reports.lines, QStringList({u"start 5 3"_s, u"update 1 0 5"_s, u"update 2 0 5"_s, u"update 3 0 5"_s,
                                               u"update 4 0 5"_s, u"update 5 0 5"_s, u"finish 5 0 5"_s}));
        QVERIFY(workerWindows().size() == 3 && allIdle(workerWindows()));
        QString logs;
        for (const QWidget* window : workerWindows())
            logs += logOf(window);
        for (const FFmpegJob& job : jobs)
            QVERIFY(logs.contains(u">>> "_s + job.commandPreview() + u'\n') && QFile::exists(job.outputURL.path()));
    }

    void nextJobGoesToTheWorkerThatEnded()
    {
        const FakeFFmpeg tool("read line < \"$output-gate\"");
        for (int number = 1; number <= 5; ++number)
            tool.makeGate(u"%1-gate"_s.arg(number));
        start(tool.jobs(5), 3, tool.runtime());
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

    void launchFailuresAreWorkedThroughAtOnce()
    {
        const FakeFFmpeg tool(":");
        start({}, 3, tool.runtime());
        QCOMPARE(m_reports.lines, QStringList{u"finish 0 0 0"_s});
        QVERIFY(workerWindows().isEmpty());
        for (const int jobs : {5, 100'000}) {
            m_reports.lines.clear();
            m_reports.inside = [&](const QString& line) {
                if (jobs == 5 && line.startsWith(u"finish"))
                    m_coordinator.reset();
            };
            start(QList<FFmpegJob>(jobs, tool.job(u"missing/out"_s)), 3, tool.runtime());
            QCOMPARE(m_reports.lines.at(1), u"update 0 1 %1"_s.arg(jobs));
            QCOMPARE(m_reports.lines.last(), u"finish 0 %1 %1"_s.arg(jobs));
            QCOMPARE(m_reports.lines.size(), 1 + jobs + 1);
            const QList<QWidget*> windows = workerWindows();
            QTRY_COMPARE_WITH_TIMEOUT(logOf(windows.at(0)).count(u"启动失败："_s), jobs, patience);
            QVERIFY(logOf(windows.at(2)).isEmpty() && allIdle(windows));
            for (QWidget* window : windows)
                window->close();
            m_coordinator.reset();
            QTRY_VERIFY(workerWindows().isEmpty());
        }
    }

    void runGoesOnWithoutDelegate()
    {
        const FakeFFmpeg tool("echo whole > \"$output\"");
        auto reports = std::make_unique<Reports>();
        m_coordinator = std::make_shared<SplitCoordinator>(tool.jobs(2), 1, tool.runtime());
        m_coordinator->delegate = reports.get();
        m_coordinator->start();
        reports.reset();
        QTRY_COMPARE_WITH_TIMEOUT(m_coordinator->unfinishedJobs(), 0, patience);
        QVERIFY(tool.exists(u"2"_s));
    }
};

QTEST_MAIN(SplitCoordinatorTest)
#include "tst_SplitCoordinator.moc"
