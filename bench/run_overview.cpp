#include "BenchApplication.h"
#include "RunOverview/RunOverview.h"
#include "RunOverview/RunOverviewWindow.h"
#include "SplitCoordinator/SplitCoordinator.h"

#include <QAbstractProxyModel>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QProcess>
#include <QProgressBar>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTableView>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <functional>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

using namespace Qt::StringLiterals;

/// The run overview put to the test, with real ffmpegs except for `window`:
///   clips N    N good clips of eight frame rates, with and without sound: how many are doubted
///   bad        bad clips of the same sources, planted in five ways: how many are marked
///   stops N    N stops of one job or all of them, at random moments: what is left behind
///   time       30 equal clips, three at a time: how far the time left is off
///   window     1,000 jobs on 12 workers: how late the event loop is
///   cost       12 workers that report: what the overview adds to the program's share of the CPU
namespace {

/// This program as ffmpeg: a banner and progress in the usual half seconds, for as long as the clip is.
int reportProgress(int argc, char* argv[])
{
    const auto* const duration =
        std::find_if(argv, argv + argc - 1, [](const char* word) { return qstrcmp(word, "-t") == 0; });
    const int halves = 2 * QByteArray(duration[1]).toInt();
    std::fputs("Output #0, mp4, to 'o':\n  Stream #0:0: Video: h264, 25 fps, 12800 tbn\n", stderr);
    for (int half = 0; half <= halves; ++half) {
        std::fprintf(stderr, "frame=%d\nfps=25\nout_time_us=%d\nspeed=1x\nprogress=%s\n", half * 12, half * 500'000,
                     half == halves ? "end" : "continue");
        if (half < halves)
            ::usleep(500'000);
    }
    return 0;
}

/// What all processes that this one started and that have ended took of the processors.
double processorSecondsOfChildren()
{
    rusage usage = {};
    ::getrusage(RUSAGE_CHILDREN, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

class Run final : public SplitCoordinatorDelegate
{
public:
    RunOverview overview;
    std::shared_ptr<SplitCoordinator> coordinator;
    int finishes = 0;
    int completed = 0;
    int failed = 0;
    QList<double> processorSeconds; ///< of all jobs so far, each time that one has ended

    void start(const QList<FFmpegJob>& jobs, int concurrency, const FileURL& ffmpeg, bool watched = true)
    {
        finishes = 0;
        coordinator =
            std::make_shared<SplitCoordinator>(jobs, concurrency, RuntimeConfiguration{ffmpeg, ffmpeg, ffmpeg});
        coordinator->delegate = this;
        if (watched)
            overview.watch(jobs, concurrency, coordinator);
        std::shared_ptr(coordinator)->start();
    }
    void waitForFinish()
    {
        if (finishes == 0)
            m_loop.exec();
        QCoreApplication::processEvents();
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (window != overview.window())
                window->close();
        }
    }

    void splitCoordinatorDidStart(int, int) override {}
    void splitCoordinatorDidUpdate(int, int, int) override { processorSeconds.append(processorSecondsOfChildren()); }
    void splitCoordinatorDidFinish(int completedJobs, int failedJobs, int) override
    {
        ++finishes;
        completed = completedJobs;
        failed = failedJobs;
        coordinator.reset();
        overview.splitDidFinish();
        m_loop.quit();
    }

    [[nodiscard]] const QList<JobRow>& rows() const
    {
        const auto* sorted = qobject_cast<const QAbstractProxyModel*>(overview.window()->jobTableView->model());
        return static_cast<const JobTableModel*>(sorted->sourceModel())->rows();
    }

private:
    QEventLoop m_loop;
};

FileURL realFFmpeg()
{
    return FileURL(QStandardPaths::findExecutable(u"ffmpeg"_s));
}

bool succeeds(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(-1);
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

QString makeVideo(const QTemporaryDir& folder, const QString& name, const QString& rate, int seconds, bool hasSound)
{
    QStringList arguments = {u"-v"_s, u"error"_s,
                             u"-f"_s, u"lavfi"_s,
                             u"-i"_s, u"testsrc2=size=128x72:rate=%1:duration=%2"_s.arg(rate).arg(seconds)};
    if (hasSound)
        arguments << u"-f"_s << u"lavfi"_s << u"-i"_s << u"sine=duration=%1"_s.arg(seconds);
    arguments << u"-g"_s << u"100"_s << u"-movflags"_s << u"+faststart"_s;
    QString path = folder.filePath(name);
    if (!succeeds(u"ffmpeg"_s, arguments << path))
        qFatal("cannot make %s", qPrintable(path));
    return path;
}

constexpr int sourceSeconds = 30;

QStringList makeSources(const QTemporaryDir& folder)
{
    QStringList sources;
    for (const char* rate : {"24000/1001", "24", "25", "30000/1001", "30", "50", "60000/1001", "60"}) {
        for (const bool hasSound : {false, true})
            sources << makeVideo(folder, u"%1.mp4"_s.arg(sources.size()), QString::fromLatin1(rate), sourceSeconds,
                                 hasSound);
    }
    return sources;
}

void goodClips(int count)
{
    const QTemporaryDir folder;
    QRandomGenerator random(7);
    const QStringList sources = makeSources(folder);
    QList<FFmpegJob> jobs;
    for (int number = 1; number <= count; ++number) {
        const double duration = 0.2 + random.bounded(2000) / 1000.0;
        const double lastStart = sourceSeconds - duration;
        const double start = number % 10 == 0 ? lastStart : random.bounded(int(lastStart * 1000)) / 1000.0;
        jobs << FFmpegJob{number,
                          FileURL(sources.at(number % sources.size())),
                          FileURL(folder.filePath(u"clip-%1.mp4"_s.arg(number))),
                          start,
                          duration,
                          std::nullopt};
    }
    Run run;
    run.start(jobs, 2, realFFmpeg());
    run.waitForFinish();
    int doubted = 0;
    for (const JobRow& row : run.rows()) {
        if (row.state != JobState::completed) {
            ++doubted;
            std::printf("  start %.3f duration %.3f source %s: %s\n", row.job.start, row.job.duration,
                        qPrintable(row.job.inputURL.lastPathComponent()), qPrintable(row.remark));
        }
    }
    std::printf("clips: %d of %d good clips are not shown as completed\n", doubted, count);
}

QString copyWith(const QString& path, const QString& name, const std::function<void(QByteArray&)>& change)
{
    QFile original(path);
    QFile copy(QFileInfo(path).path() + u'/' + name + QFileInfo(path).fileName());
    if (!original.open(QIODevice::ReadOnly) || !copy.open(QIODevice::WriteOnly))
        qFatal("cannot copy %s", qPrintable(path));
    QByteArray content = original.readAll();
    change(content);
    copy.write(content);
    return copy.fileName();
}

QList<pid_t> runningFFmpegs()
{
    QProcess children;
    children.start(u"pgrep"_s, {u"-P"_s, QString::number(::getpid()), u"ffmpeg"_s});
    children.waitForFinished(-1);
    QList<pid_t> pids;
    for (const QByteArray& pid : children.readAllStandardOutput().simplified().split(' ')) {
        if (!pid.isEmpty())
            pids << pid.toInt();
    }
    return pids;
}

void runBadJobs(const char* kind, const QStringList& sources, double start, double duration, const QString& outputs)
{
    QList<FFmpegJob> jobs;
    for (const QString& source : sources)
        jobs << FFmpegJob{jobs.size() + 1, FileURL(source), FileURL(outputs + u"/clip-%1.mp4"_s.arg(jobs.size() + 1)),
                          start,           duration,        std::nullopt};
    Run run;
    run.start(jobs, 2, realFFmpeg());
    run.waitForFinish();
    int doubtful = 0;
    int failed = 0;
    for (const JobRow& row : run.rows()) {
        doubtful += row.state == JobState::doubtful ? 1 : 0;
        failed += row.state == JobState::failed ? 1 : 0;
    }
    std::printf("bad: %s: %d of %d marked (%d doubtful, %d failed), \"%s\"\n", kind, doubtful + failed,
                int(jobs.size()), doubtful, failed, qPrintable(run.rows().constFirst().remark));
}

void badClips()
{
    const QTemporaryDir folder;
    const QStringList sources = makeSources(folder);
    QStringList truncated;
    QStringList damaged;
    for (const QString& source : sources) {
        truncated << copyWith(source, u"truncated-"_s, [](QByteArray& content) { content.chop(content.size() / 2); });
        damaged << copyWith(source, u"damaged-"_s, [](QByteArray& content) {
            for (qsizetype i = content.size() / 2; i < content.size() * 11 / 20; ++i)
                content[i] = static_cast<char>(i * 7919 >> 3);
        });
    }
    runBadJobs("beyond the end", sources, sourceSeconds + 1, 2, folder.path());
    runBadJobs("across a truncation", truncated, 5, sourceSeconds - 5, folder.path());
    runBadJobs("after a truncation", truncated, sourceSeconds - 3, 2, folder.path());
    runBadJobs("damaged middle", damaged, 5, sourceSeconds - 10, folder.path());

    QTimer killing;
    QObject::connect(&killing, &QTimer::timeout, &killing, [] {
        for (const pid_t pid : runningFFmpegs())
            ::kill(pid, SIGKILL);
    });
    killing.start(100);
    runBadJobs("killed", sources, 0, sourceSeconds, folder.path());
    killing.stop();

    const QString disk = folder.filePath(u"disk"_s);
    QDir().mkdir(disk);
    if (succeeds(u"mount"_s, {u"-t"_s, u"tmpfs"_s, u"-o"_s, u"size=64k"_s, u"none"_s, disk})) {
        runBadJobs("disk full", sources, 0, sourceSeconds, disk);
        succeeds(u"umount"_s, {disk});
    } else {
        std::printf("bad: disk full: not tried, only root can mount a small disk\n");
    }
}

void randomStops(int count)
{
    const QTemporaryDir folder;
    const FileURL source(makeVideo(folder, u"source.mp4"_s, u"25"_s, 30, true));
    QRandomGenerator random(11);
    int wrongTotals = 0;
    int wrongFinishes = 0;
    int leftBehind = 0;
    int unplayable = 0;
    int intact = 0;
    for (int made = 0; made < count;) {
        constexpr int jobCount = 4;
        QList<FFmpegJob> jobs;
        for (int number = 1; number <= jobCount; ++number) {
            const FileURL output(folder.filePath(u"clip-%1.mp4"_s.arg(number)));
            QFile::remove(output.path());
            jobs << FFmpegJob{number, source, output, number * 4.0, 6, std::nullopt};
        }
        Run run;
        run.start(jobs, 2, realFFmpeg());
        const int stops = std::min(1 + int(random.bounded(6)), count - made);
        for (int stop = 0; stop < stops; ++stop, ++made) {
            const int job = int(random.bounded(jobCount + 1)); // the last number: all
            QTimer::singleShot(int(random.bounded(1200)), &run, [&run, job] {
                if (const auto coordinator = run.coordinator; coordinator && job == jobCount)
                    coordinator->stopAll();
                else if (coordinator)
                    coordinator->stop(job);
            });
        }
        run.waitForFinish();
        wrongFinishes += run.finishes != 1 ? 1 : 0;
        wrongTotals += run.completed + run.failed != jobCount ? 1 : 0;
        int completedRows = 0;
        for (const JobRow& row : run.rows()) {
            const bool isComplete = row.state == JobState::completed;
            completedRows += isComplete ? 1 : 0;
            const QString path = row.job.outputURL.path();
            if (!isComplete)
                leftBehind += QFile::exists(path) ? 1 : 0;
            else if (succeeds(u"ffmpeg"_s,
                              {u"-v"_s, u"error"_s, u"-xerror"_s, u"-i"_s, path, u"-f"_s, u"null"_s, u"-"_s}))
                ++intact;
            else
                ++unplayable;
        }
        wrongTotals += completedRows != run.completed ? 1 : 0;
    }
    QEventLoop loop;
    QTimer::singleShot(4000, &loop, &QEventLoop::quit);
    loop.exec();
    std::printf("stops: %d stops; runs with wrong totals %d, without exactly one finish %d; stopped clips left behind "
                "%d; finished clips intact %d, unplayable %d; ffmpegs 4 s later: %d\n",
                count, wrongTotals, wrongFinishes, leftBehind, intact, unplayable, int(runningFFmpegs().size()));
}

/// Nothing where the window shows words instead of a number.
std::optional<double> shownTimeLeft(const RunOverviewWindow* window)
{
    const QString text = window->remainingLabel->text();
    const QStringList pieces = text.section(u' ', 1).split(u':');
    if (!text.startsWith(u"剩余约 ") || pieces.size() != 2)
        return std::nullopt;
    return pieces.at(0).toInt() * 60.0 + pieces.at(1).toInt();
}

/// An ffmpeg that reads its source no faster than it plays, so that other work on the machine does not change the
/// truth.
FileURL pacedFFmpeg(const QTemporaryDir& folder)
{
    const QString path = folder.filePath(u"ffmpeg"_s);
    QFile script(path);
    if (!script.open(QIODevice::WriteOnly))
        qFatal("cannot write the script");
    script.write("#!/bin/sh\nexec " + realFFmpeg().path().toUtf8() + " -re \"$@\"\n");
    script.setPermissions(script.permissions() | QFile::ExeUser);
    return FileURL(path);
}

/// 30 equal clips, either paced or as fast as the machine can. At full speed the processor time of the clips tells
/// whether the machine itself kept its speed: what nobody can foresee is no fault of the estimate.
void timeLeft(bool isPaced, int lanes)
{
    const QTemporaryDir folder;
    const double clipSeconds = isPaced ? 5 : 200;
    const FileURL source(makeVideo(folder, u"source.mp4"_s, u"25"_s, 220, true));
    QList<FFmpegJob> jobs;
    for (int number = 1; number <= 30; ++number)
        jobs << FFmpegJob{number,       source,      FileURL(folder.filePath(u"%1.mp4"_s.arg(number))),
                          number / 2.0, clipSeconds, {}};
    Run run;
    QElapsedTimer clock;
    clock.start();
    QList<std::pair<double, double>> shown;
    std::optional<double> nearEnd;
    QTimer sampler;
    QObject::connect(&sampler, &QTimer::timeout, &run, [&] {
        const RunOverviewWindow* window = run.overview.window();
        const bool pastTenth = window->totalProgressBar->value() >= 100;
        const double moment = double(clock.elapsed()) / 1000;
        if (const auto left = shownTimeLeft(window); left && pastTenth)
            shown.append({moment, *left});
        if (!nearEnd && window->remainingLabel->text() == u"剩余不到 15 秒"_s)
            nearEnd = moment;
    });
    sampler.start(500);
    run.start(jobs, lanes, isPaced ? pacedFFmpeg(folder) : realFFmpeg());
    run.waitForFinish();
    const double end = double(clock.elapsed()) / 1000;
    double largestError = 0;
    double largestJump = 0;
    double worstMoment = 0;
    for (qsizetype i = 0; i < shown.size(); ++i) {
        const double truth = end - shown[i].first;
        const double error = std::abs(shown[i].second - truth) / truth;
        if (error > largestError) {
            largestError = error;
            worstMoment = shown[i].first;
        }
        if (i > 0)
            largestJump = std::max(largestJump, std::abs(shown[i].second - shown[i - 1].second) / shown[i - 1].second);
    }
    std::printf(
        "time: %s, %d workers: %.1f s in all; from 10 %% on the time left is off by at most %.1f %% (at %.1f s) "
        "and changes by at most %.0f %% between two updates (%lld samples); less than 15 s left are told %.1f "
        "s before the end\n",
        isPaced ? "paced" : "at full speed", lanes, end, largestError * 100, worstMoment, largestJump * 100,
        static_cast<long long>(shown.size()), end - nearEnd.value_or(end));
    std::printf("      processor time of a clip, by rounds of all workers:");
    for (qsizetype i = lanes; i < run.processorSeconds.size(); i += lanes)
        std::printf(" %.2f", (run.processorSeconds.at(i) - run.processorSeconds.at(i - lanes)) / lanes);
    std::printf(" s\n");
}

/// Jobs of this program as ffmpeg.
QList<FFmpegJob> reportingJobs(const QTemporaryDir& folder, int count, double seconds)
{
    const FileURL self(QCoreApplication::applicationFilePath());
    QList<FFmpegJob> jobs;
    for (int number = 1; number <= count; ++number)
        jobs << FFmpegJob{number, self, FileURL(folder.filePath(QString::number(number))), 0, seconds, std::nullopt};
    return jobs;
}

void windowLoad()
{
    const QTemporaryDir folder;
    Run run;
    std::vector<double> gaps;
    QElapsedTimer sinceBeat;
    QTimer beat;
    QObject::connect(&beat, &QTimer::timeout, &run, [&] {
        gaps.push_back(double(sinceBeat.nsecsElapsed()) / 1e6);
        sinceBeat.start();
    });
    sinceBeat.start();
    beat.start(1);
    run.start(reportingJobs(folder, 1000, 1), 12, FileURL(QCoreApplication::applicationFilePath()));
    run.waitForFinish();
    std::sort(gaps.begin(), gaps.end());
    std::printf("window: 1,000 jobs on 12 workers: between two beats of the event loop p99 %.1f ms, worst %.1f ms\n",
                gaps.at(gaps.size() * 99 / 100), gaps.back());
}

/// Per cent of a core, without what starting and ending the jobs takes.
double cpuShareOfReports(bool watched)
{
    constexpr int from = 2;
    constexpr int to = 14;
    const QTemporaryDir folder;
    Run run;
    std::clock_t before = 0;
    std::clock_t after = 0;
    QTimer::singleShot(from * 1000, &run, [&] { before = std::clock(); });
    QTimer::singleShot(to * 1000, &run, [&] { after = std::clock(); });
    run.start(reportingJobs(folder, 12, to + 1), 12, FileURL(QCoreApplication::applicationFilePath()), watched);
    run.waitForFinish();
    return double(after - before) / CLOCKS_PER_SEC / (to - from) * 100;
}

void overviewCost()
{
    constexpr int rounds = 4;
    double with = 0;
    double without = 0;
    for (int round = 0; round < rounds; ++round) {
        without += cpuShareOfReports(false) / rounds;
        with += cpuShareOfReports(true) / rounds;
    }
    std::printf("cost: 12 workers: %.2f %% of a core with the overview, %.2f %% without: %.2f %% more\n", with, without,
                with - without);
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc > 2 && qstrcmp(argv[1], "-y") == 0)
        return reportProgress(argc, argv);
    const BenchApplication application(argc, argv);
    const QByteArray what = argc > 1 ? argv[1] : "";
    const int count = argc > 2 ? QByteArray(argv[2]).toInt() : 0;
    if (what.isEmpty() || what == "clips")
        goodClips(count > 0 ? count : 1000);
    if (what.isEmpty() || what == "bad")
        badClips();
    if (what.isEmpty() || what == "stops")
        randomStops(count > 0 ? count : 500);
    if (what.isEmpty() || what == "time") {
        timeLeft(true, 3);
        for (const int lanes : {3, 4, 12})
            timeLeft(false, lanes);
    }
    if (what.isEmpty() || what == "window")
        windowLoad();
    if (what.isEmpty() || what == "cost")
        overviewCost();
    return 0;
}
