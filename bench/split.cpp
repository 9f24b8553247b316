#include "BenchApplication.h"
#include "SplitCoordinator/SplitCoordinator.h"

#include <QApplication>
#include <QClipboard>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QPlainTextEdit>
#include <QProcess>
#include <QScrollBar>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTextBlock>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <functional>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int fillingSeconds = 20;
constexpr int floodMegabytes = 50;

/// The lines of ffmpeg between two statistics, as it writes them with -progress.
QByteArray progressLines(int frame)
{
    const QByteArray number = QByteArray::number(frame);
    return "frame=" + number + " fps= 25 q=28.0 size=    2048kB time=00:00:04.92 bitrate=1705.0kbits/s speed=1.23x\r" +
           "frame=" + number + "\nfps=25.00\nstream_0_0_q=28.0\nbitrate=1705.0kbits/s\ntotal_size=2097152\n" +
           "out_time_us=4920000\nout_time=00:00:04.920000\ndup_frames=0\ndrop_frames=0\nspeed=1.23x\nprogress="
           "continue\n";
}

/// What this program prints when it stands for ffmpeg, by the name of the output.
const QList<std::pair<QString, QByteArray>> floods = {
    {u"progress"_s, progressLines(12345)},
    {u"short lines"_s, "y\n"},
    {u"no line feeds"_s, "0123456789abcdef"},
    {u"statistics that end in carriage returns"_s, progressLines(12345).left(90) + '\r'},
    {u"nothing but carriage returns"_s, "\r"},
};

/// 50 MB as fast as they are taken.
int floodTheLog(const QByteArray& text)
{
    const QByteArray portion = text.repeated(65'536 / text.size());
    for (qsizetype written = 0; written < floodMegabytes * 1'000'000LL; written += portion.size()) {
        if (::write(STDERR_FILENO, portion.constData(), size_t(portion.size())) < 0)
            return 1;
    }
    return 0;
}

/// 1 MB of ffmpeg's lines a second, in fifty portions.
int fillTheLog()
{
    QByteArray portion;
    for (int frame = 0; portion.size() < 1'000'000 / 50; ++frame)
        portion += progressLines(frame);
    auto due = std::chrono::steady_clock::now();
    for (int i = 0; i < fillingSeconds * 50; ++i) {
        if (::write(STDERR_FILENO, portion.constData(), size_t(portion.size())) < 0)
            return 1;
        due += std::chrono::milliseconds(20);
        std::this_thread::sleep_until(due);
    }
    return 0;
}

int standInForFFmpeg(const QString& output)
{
    for (const auto& [name, text] : floods) {
        if (QFileInfo(output).fileName() == name)
            return floodTheLog(text);
    }
    return fillTheLog();
}

/// Ends the event loop with the run. The windows stay open.
class RunToEnd final : public SplitCoordinatorDelegate
{
public:
    void run(const QList<FFmpegJob>& jobs, int concurrency, const FileURL& ffmpegURL)
    {
        const auto coordinator = std::make_shared<SplitCoordinator>(
            jobs, concurrency, RuntimeConfiguration{ffmpegURL, ffmpegURL, ffmpegURL});
        coordinator->delegate = this;
        coordinator->start();
        m_loop.exec();
        if (m_failed > 0)
            qFatal("%d jobs failed", m_failed);
    }

    void splitCoordinatorDidStart(int, int) override {}
    void splitCoordinatorDidUpdate(int, int, int) override {}
    void splitCoordinatorDidFinish(int, int failed, int) override
    {
        m_failed = failed;
        m_loop.quit();
    }

private:
    QEventLoop m_loop;
    int m_failed = 0;
};

double threadMilliseconds()
{
    timespec time = {};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return double(time.tv_sec) * 1e3 + double(time.tv_nsec) / 1e6;
}

double quantile(std::vector<double> values, double share)
{
    const auto place = values.begin() + std::ptrdiff_t(share * double(values.size() - 1));
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

/// Beats every 5 ms, and notes how late.
class Heartbeat final
{
public:
    Heartbeat()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] {
            delays.push_back(std::max(0.0, double(m_sinceBeat.nsecsElapsed()) / 1e6 - m_timer.interval()));
            m_sinceBeat.start();
            computing.push_back(threadMilliseconds() - m_computedBefore);
            m_computedBefore += computing.back();
        });
        m_timer.start(5);
        m_sinceBeat.start();
    }

    std::vector<double> delays;
    std::vector<double> computing; ///< of this thread between two beats: what the delay is on an idle machine

private:
    QTimer m_timer;
    QElapsedTimer m_sinceBeat;
    double m_computedBefore = threadMilliseconds();
};

void measureResponsiveness(const QTemporaryDir& folder)
{
    const QList<FFmpegJob> jobs(12, {1, {}, FileURL(folder.filePath(u"out"_s)), 0, 1, std::nullopt});
    const Heartbeat heartbeat;
    RunToEnd().run(jobs, 12, FileURL(QCoreApplication::applicationFilePath()));
    std::printf("12 workers, 1 MB/s of log each, %d s: heartbeat of 5 ms late by %.1f ms (p50), %.1f ms (p99, at most "
                "16.7); computing between two beats %.1f ms (p50), %.1f ms (p99)\n",
                fillingSeconds, quantile(heartbeat.delays, 0.5), quantile(heartbeat.delays, 0.99),
                quantile(heartbeat.computing, 0.5), quantile(heartbeat.computing, 0.99));
    QApplication::closeAllWindows();
}

QPlainTextEdit* openLog()
{
    for (const QWidget* window : QApplication::topLevelWidgets()) {
        if (auto* log = window->findChild<QPlainTextEdit*>(u"textView"_s); log && window->isVisible())
            return log;
    }
    qFatal("no log");
}

double residentMegabytes()
{
    QFile file(u"/proc/self/statm"_s);
    return file.open(QIODevice::ReadOnly) ? file.readAll().split(' ').at(1).toDouble() * double(::getpagesize()) / 1e6
                                          : 0;
}

/// 50 MB as one job's output. The text that is shown when all has arrived is copied, and its end must be the job's.
void measureFlood(const QTemporaryDir& folder, const QString& name)
{
    const double before = residentMegabytes();
    QElapsedTimer timer;
    timer.start();
    Heartbeat heartbeat;
    RunToEnd().run({{1, {}, FileURL(folder.filePath(name)), 0, 1, std::nullopt}}, 1,
                   FileURL(QCoreApplication::applicationFilePath()));
    QPlainTextEdit* log = openLog();
    double memory = residentMegabytes() - before;
    while (log->document()->lastBlock().previous().text() != u">>> 完成") {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        memory = std::max(memory, residentMegabytes() - before);
    }
    const double seconds = double(timer.elapsed()) / 1e3;
    const double slowest = quantile(heartbeat.delays, 1);
    const double slowestComputing = quantile(heartbeat.computing, 1);
    const auto milliseconds = [&timer](const auto& work) {
        timer.start();
        work();
        return double(timer.nsecsElapsed()) / 1e6;
    };
    const double scrolling = milliseconds([log] {
        log->verticalScrollBar()->setValue(log->verticalScrollBar()->maximum() / 2);
        QCoreApplication::processEvents();
    });
    const double copying = milliseconds([log] {
        log->selectAll();
        log->copy();
    });
    const auto copied = QGuiApplication::clipboard()->text().size();
    QGuiApplication::clipboard()->clear();
    const double closing = milliseconds([] {
        QApplication::closeAllWindows();
        QCoreApplication::processEvents();
    });
    std::printf("%d MB, %s: shown after %.1f s, heartbeat late by at most %.0f ms (at most 100; computing %.0f ms), "
                "memory %.1f times the text (at most 12); then scrolling to the middle %.0f ms, copying all %lld "
                "characters %.0f ms, closing %.0f ms\n",
                floodMegabytes, qPrintable(name), seconds, slowest, slowestComputing, memory / floodMegabytes,
                scrolling, static_cast<long long>(copied), copying, closing);
}

double cpuSeconds(int who)
{
    rusage usage = {};
    ::getrusage(who, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

struct Cost
{
    double wallSeconds;
    double ownSeconds; ///< CPU of this process
    double cpuSeconds; ///< CPU of this process and all its children
};

Cost costOf(const std::function<void()>& work)
{
    const double ownBefore = cpuSeconds(RUSAGE_SELF);
    const double childrenBefore = cpuSeconds(RUSAGE_CHILDREN);
    QElapsedTimer timer;
    timer.start();
    work();
    const double wall = double(timer.nsecsElapsed()) / 1e9;
    const double own = cpuSeconds(RUSAGE_SELF) - ownBefore;
    return {wall, own, own + cpuSeconds(RUSAGE_CHILDREN) - childrenBefore};
}

QByteArray xargsInput(const QList<FFmpegJob>& jobs)
{
    QByteArray words;
    for (const FFmpegJob& job : jobs) {
        for (const QString& word : job.executionArguments())
            words += QFile::encodeName(word) + '\0';
    }
    return words;
}

/// The same command lines on the same video, by turns through the coordinator and through `xargs -P`.
void compareWithXargs(const QTemporaryDir& folder)
{
    constexpr int workers = 3;
    constexpr int rounds = 9;
    const QString ffmpeg = QStandardPaths::findExecutable(u"ffmpeg"_s);
    const QString video = folder.filePath(u"video.mp4"_s);
    QProcess::execute(ffmpeg, {u"-v"_s, u"error"_s, u"-f"_s, u"lavfi"_s, u"-i"_s,
                               u"testsrc2=size=1280x720:rate=25:duration=40"_s, u"-pix_fmt"_s, u"yuv420p"_s, video});
    QList<FFmpegJob> jobs;
    for (int i = 0; i < 9; ++i)
        jobs << FFmpegJob{i + 1, FileURL(video), FileURL(folder.filePath(u"%1.mp4"_s.arg(i))), i * 4.0, 2, {}};
    const QByteArray words = xargsInput(jobs);
    const auto throughXargs = [&] {
        QProcess xargs;
        xargs.setProcessChannelMode(QProcess::SeparateChannels);
        xargs.setStandardOutputFile(QProcess::nullDevice());
        xargs.setStandardErrorFile(QProcess::nullDevice());
        xargs.start(u"xargs"_s, {u"-0"_s, u"-n"_s, QString::number(jobs.first().executionArguments().size()), u"-P"_s,
                                 QString::number(workers), ffmpeg});
        xargs.write(words);
        xargs.closeWriteChannel();
        xargs.waitForFinished(-1);
        if (xargs.exitCode() != 0)
            qFatal("xargs failed");
    };
    std::vector<double> cpuRatios;
    std::vector<double> wallRatios;
    for (int round = 0; round < rounds; ++round) {
        Cost ours = {};
        const auto runOurs = [&] {
            ours = costOf([&] { RunToEnd().run(jobs, workers, FileURL(ffmpeg)); });
            QApplication::closeAllWindows();
        };
        if (round % 2 == 0)
            runOurs();
        const Cost theirs = costOf(throughXargs);
        if (round % 2 == 1)
            runOurs();
        std::printf("  round %d: %.2f s wall, %.2f s CPU (ffmpeg aside %.2f); xargs %.2f s, %.2f s\n", round + 1,
                    ours.wallSeconds, ours.cpuSeconds, ours.ownSeconds, theirs.wallSeconds, theirs.cpuSeconds);
        cpuRatios.push_back(ours.cpuSeconds / theirs.cpuSeconds);
        wallRatios.push_back(ours.wallSeconds / theirs.wallSeconds);
    }
    std::printf("9 cuts by %d workers against xargs -P %d, median of %d turns: CPU %.3f times (at most 1.02), wall "
                "%.3f times (at most 1.03)\n",
                workers, workers, rounds, quantile(cpuRatios, 0.5), quantile(wallRatios, 0.5));
}

} // namespace

/// Measures the split: what is named on the command line ("heartbeat", "flood" or one of the floods, "xargs"), or
/// everything.
int main(int argc, char* argv[])
{
    if (argc > 1 && qstrcmp(argv[1], "-y") == 0)
        return standInForFFmpeg(QFile::decodeName(argv[argc - 1]));
    const BenchApplication application(argc, argv);
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    const QStringList wanted = QCoreApplication::arguments().mid(1);
    const auto isWanted = [&](const QString& name) { return wanted.isEmpty() || wanted.contains(name); };
    const QTemporaryDir folder;
    if (isWanted(u"heartbeat"_s))
        measureResponsiveness(folder);
    for (const auto& [name, text] : floods) {
        if (isWanted(u"flood"_s) || wanted.contains(name))
            measureFlood(folder, name);
    }
    if (isWanted(u"xargs"_s))
        compareWithXargs(folder);
    return 0;
}
