#include "BenchApplication.h"
#include "SplitCoordinator/SplitCoordinator.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
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

constexpr int floodSeconds = 20;

/// The lines of ffmpeg between two statistics, as it writes them with -progress.
QByteArray progressLines(int frame)
{
    const QByteArray number = QByteArray::number(frame);
    return "frame=" + number + " fps= 25 q=28.0 size=    2048kB time=00:00:04.92 bitrate=1705.0kbits/s speed=1.23x\r" +
           "frame=" + number + "\nfps=25.00\nstream_0_0_q=28.0\nbitrate=1705.0kbits/s\ntotal_size=2097152\n" +
           "out_time_us=4920000\nout_time=00:00:04.920000\ndup_frames=0\ndrop_frames=0\nspeed=1.23x\nprogress="
           "continue\n";
}

/// This program as ffmpeg: 1 MB of such lines a second, in fifty portions.
int floodTheLog()
{
    QByteArray portion;
    for (int frame = 0; portion.size() < 1'000'000 / 50; ++frame)
        portion += progressLines(frame);
    auto due = std::chrono::steady_clock::now();
    for (int i = 0; i < floodSeconds * 50; ++i) {
        if (::write(STDERR_FILENO, portion.constData(), size_t(portion.size())) < 0)
            return 1;
        due += std::chrono::milliseconds(20);
        std::this_thread::sleep_until(due);
    }
    return 0;
}

/// Ends the event loop with the run.
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
        QApplication::closeAllWindows();
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

void measureResponsiveness(const QTemporaryDir& folder)
{
    const QList<FFmpegJob> jobs(12, {1, {}, FileURL(folder.filePath(u"out"_s)), 0, 1, std::nullopt});
    std::vector<double> delays;
    std::vector<double> computing; // of this thread between two beats: what the delay is on an idle machine
    QElapsedTimer sinceBeat;
    double computedBefore = threadMilliseconds();
    QTimer heartbeat;
    heartbeat.setTimerType(Qt::PreciseTimer);
    QObject::connect(&heartbeat, &QTimer::timeout, &heartbeat, [&] {
        delays.push_back(std::max(0.0, double(sinceBeat.nsecsElapsed()) / 1e6 - heartbeat.interval()));
        sinceBeat.start();
        computing.push_back(threadMilliseconds() - computedBefore);
        computedBefore += computing.back();
    });
    heartbeat.start(5);
    sinceBeat.start();
    RunToEnd().run(jobs, 12, FileURL(QCoreApplication::applicationFilePath()));
    std::printf("12 workers, 1 MB/s of log each, %d s: heartbeat of 5 ms late by %.1f ms (p50), %.1f ms (p99, at most "
                "16.7); computing between two beats %.1f ms (p50), %.1f ms (p99)\n",
                floodSeconds, quantile(delays, 0.5), quantile(delays, 0.99), quantile(computing, 0.5),
                quantile(computing, 0.99));
}

/// 10 to 30 kB as they are read from a pipe: lines of several widths, the last one seldom whole.
QString portionOfLog(int number)
{
    QByteArray lines;
    for (int frame = number; lines.size() < 30'000; frame = (frame * 31 + 7) % 65'537)
        lines += progressLines(frame);
    return QString::fromUtf8(lines).first(10'000 + number * 7919LL % 20'000);
}

/// Logs of several lengths and each time two short ones take the same text by turns. The ratio of the two short ones
/// shows how exact the other is.
void measureAppending()
{
    constexpr int rounds = 5;
    constexpr int turns = 100;
    const auto milliseconds = [](WorkerWindowController& controller, const QString& portion) {
        const double before = threadMilliseconds();
        controller.appendLog(portion);
        controller.completeLog();
        QCoreApplication::processEvents();
        return threadMilliseconds() - before;
    };
    WorkerWindowController longLog(3, 3);
    longLog.prepareForDisplay();
    int number = 0;
    for (const int megabytes : {2, 20, 75, 300}) {
        for (; number < megabytes * 50; ++number)
            milliseconds(longLog, portionOfLog(number));
        std::vector<double> ratios;
        std::vector<double> ratiosOfShortLogs;
        double allOfLongLog = 0;
        for (int round = 0; round < rounds; ++round) {
            WorkerWindowController shortLog(1, 3);
            WorkerWindowController otherShortLog(2, 3);
            shortLog.prepareForDisplay();
            otherShortLog.prepareForDisplay();
            milliseconds(shortLog, portionOfLog(0));
            milliseconds(otherShortLog, portionOfLog(0));
            double ofShortLog = 0;
            double ofLongLog = 0;
            double ofOtherShortLog = 0;
            for (int turn = 0; turn < turns; ++turn, ++number) {
                const QString portion = portionOfLog(number);
                ofShortLog += milliseconds(shortLog, portion);
                ofLongLog += milliseconds(longLog, portion);
                ofOtherShortLog += milliseconds(otherShortLog, portion);
            }
            shortLog.window()->close();
            otherShortLog.window()->close();
            ratios.push_back(ofLongLog / ofShortLog);
            ratiosOfShortLogs.push_back(ofOtherShortLog / ofShortLog);
            allOfLongLog += ofLongLog;
        }
        std::printf(
            "appending 20 kB to a log of %d to %d MB and painting: %.2f ms of processor, %.3f times that of a log "
            "of at most 2 MB, two of which %.3f times each other (means of %d turns, median of %d rounds)\n",
            megabytes, number / 50, allOfLongLog / rounds / turns, quantile(ratios, 0.5),
            quantile(ratiosOfShortLogs, 0.5), turns, rounds);
    }
    QApplication::closeAllWindows();
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
        const auto runOurs = [&] { ours = costOf([&] { RunToEnd().run(jobs, workers, FileURL(ffmpeg)); }); };
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

/// Measures the split: what is named on the command line ("heartbeat", "append", "xargs"), or everything.
int main(int argc, char* argv[])
{
    if (argc > 1 && qstrcmp(argv[1], "-y") == 0)
        return floodTheLog();
    const BenchApplication application(argc, argv);
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    const QStringList wanted = QCoreApplication::arguments().mid(1);
    const auto isWanted = [&](const QString& name) { return wanted.isEmpty() || wanted.contains(name); };
    const QTemporaryDir folder;
    if (isWanted(u"append"_s))
        measureAppending();
    if (isWanted(u"heartbeat"_s))
        measureResponsiveness(folder);
    if (isWanted(u"xargs"_s))
        compareWithXargs(folder);
    return 0;
}
