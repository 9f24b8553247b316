#include "BenchApplication.h"
#include "RunOverview/RunOverview.h"
#include "RunOverview/RunOverviewWindow.h"
#include "SplitCoordinator/SplitCoordinator.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
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
#include <cstdio>
#include <ctime>
#include <functional>
#include <unistd.h>

using namespace Qt::StringLiterals;

/// The run overview put to the test, with real ffmpegs except for `window`:
///   clips N    N good clips of eight frame rates, with and without sound: how many are doubted
///   stops N    N stops of one job or all of them, at random moments: what is left behind
///   time       30 equal clips, three at a time: how far the time left is off
///   window     1,000 jobs on 12 workers: how late the event loop is, and the overview's share of the CPU
namespace {

/// This program as ffmpeg: a banner and progress for a second, in the usual half seconds.
int reportProgress()
{
    std::fputs("Output #0, mp4, to 'o':\n  Stream #0:0: Video: h264, 25 fps, 12800 tbn\n", stderr);
    for (int half = 0; half <= 2; ++half) {
        std::fprintf(stderr, "frame=%d\nfps=25\nout_time_us=%d\nspeed=1x\nprogress=%s\n", half * 12, half * 500'000,
                     half == 2 ? "end" : "continue");
        if (half < 2)
            ::usleep(500'000);
    }
    return 0;
}

class Run final : public SplitCoordinatorDelegate
{
public:
    RunOverview overview;
    std::shared_ptr<SplitCoordinator> coordinator;
    int finishes = 0;
    int completed = 0;
    int failed = 0;

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
    void splitCoordinatorDidUpdate(int, int, int) override {}
    void splitCoordinatorDidFinish(int completedJobs, int failedJobs, int) override
    {
        ++finishes;
        completed = completedJobs;
        failed = failedJobs;
        coordinator.reset();
        overview.runDidFinish();
        m_loop.quit();
    }

    [[nodiscard]] const QList<RunRow>& rows() const
    {
        return static_cast<const RunTableModel*>(overview.window()->jobTableView->model())->rows();
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
    const QString path = folder.filePath(name);
    if (!succeeds(u"ffmpeg"_s, arguments << path))
        qFatal("cannot make %s", qPrintable(path));
    return path;
}

void goodClips(int count)
{
    const QTemporaryDir folder;
    constexpr int sourceSeconds = 30;
    QRandomGenerator random(7);
    QStringList sources;
    for (const char* rate : {"24000/1001", "24", "25", "30000/1001", "30", "50", "60000/1001", "60"}) {
        for (const bool hasSound : {false, true})
            sources << makeVideo(folder, u"%1.mp4"_s.arg(sources.size()), QString::fromLatin1(rate), sourceSeconds,
                                 hasSound);
    }
    QList<FFmpegJob> jobs;
    for (int number = 1; number <= count; ++number) {
        const double duration = 0.2 + random.bounded(2000) / 1000.0;
        const double start = random.bounded(int((sourceSeconds - duration) * 1000)) / 1000.0;
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
    for (const RunRow& row : run.rows()) {
        if (row.state != RunState::completed) {
            ++doubted;
            std::printf("  start %.3f duration %.3f source %s: %s\n", row.job.start, row.job.duration,
                        qPrintable(row.job.inputURL.lastPathComponent()), qPrintable(row.remark));
        }
    }
    std::printf("clips: %d of %d good clips are not shown as completed\n", doubted, count);
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
        constexpr int jobCount = 6;
        QList<FFmpegJob> jobs;
        for (int number = 1; number <= jobCount; ++number) {
            const FileURL output(folder.filePath(u"clip-%1.mp4"_s.arg(number)));
            QFile::remove(output.path());
            jobs << FFmpegJob{number, source, output, number * 2.0, 8, std::nullopt};
        }
        Run run;
        run.start(jobs, 3, realFFmpeg());
        const int stops = std::min(1 + int(random.bounded(4)), count - made);
        for (int stop = 0; stop < stops; ++stop, ++made) {
            const int job = int(random.bounded(jobCount + 1)); // the last number: all
            QTimer::singleShot(int(random.bounded(1500)), &run, [&run, job] {
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
        for (const RunRow& row : run.rows()) {
            const bool isComplete = row.state == RunState::completed;
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
    QProcess children;
    children.start(u"pgrep"_s, {u"-P"_s, QString::number(::getpid()), u"ffmpeg"_s});
    children.waitForFinished(-1);
    std::printf("stops: %d stops; runs with wrong totals %d, without exactly one finish %d; stopped clips left behind "
                "%d; finished clips intact %d, unplayable %d; ffmpegs 4 s later: %d\n",
                count, wrongTotals, wrongFinishes, leftBehind, intact, unplayable,
                int(children.readAllStandardOutput().count('\n')));
}

std::optional<double> shownTimeLeft(const RunOverviewWindow* window)
{
    const QString text = window->remainingLabel->text();
    const QStringList pieces = text.section(u' ', 1).split(u':');
    if (!text.startsWith(u"剩余约 ") || pieces.size() != 2)
        return std::nullopt;
    return pieces.at(0).toInt() * 60.0 + pieces.at(1).toInt();
}

/// The source is read no faster than it plays, so that other work on the machine does not change the truth.
void timeLeft()
{
    const QTemporaryDir folder;
    const FileURL source(makeVideo(folder, u"source.mp4"_s, u"25"_s, 30, true));
    const QString paced = folder.filePath(u"ffmpeg"_s);
    QFile script(paced);
    if (!script.open(QIODevice::WriteOnly))
        qFatal("cannot write the script");
    script.write("#!/bin/sh\nexec " + realFFmpeg().path().toUtf8() + " -re \"$@\"\n");
    script.setPermissions(script.permissions() | QFile::ExeUser);
    script.close();
    QList<FFmpegJob> jobs;
    for (int number = 1; number <= 30; ++number)
        jobs << FFmpegJob{number, source, FileURL(folder.filePath(u"%1.mp4"_s.arg(number))), number / 2.0, 5, {}};
    Run run;
    QElapsedTimer clock;
    clock.start();
    QList<std::pair<double, double>> shown;
    QTimer sampler;
    QObject::connect(&sampler, &QTimer::timeout, &run, [&] {
        const bool pastTenth = run.overview.window()->totalProgressBar->value() >= 100;
        if (const auto left = shownTimeLeft(run.overview.window()); left && pastTenth)
            shown.append({double(clock.elapsed()) / 1000, *left});
    });
    sampler.start(500);
    run.start(jobs, 3, FileURL(paced));
    run.waitForFinish();
    const double end = double(clock.elapsed()) / 1000;
    double largestError = 0;
    double largestJump = 0;
    for (qsizetype i = 0; i < shown.size(); ++i) {
        const double truth = end - shown[i].first;
        if (truth > 4) // a whole second is shown
            largestError = std::max(largestError, std::abs(shown[i].second - truth) / truth);
        if (i > 0)
            largestJump = std::max(largestJump, std::abs(shown[i].second - shown[i - 1].second) / shown[i - 1].second);
    }
    std::printf("time: %.1f s in all; from 10 %% on the time left is off by at most %.1f %%, and changes by at most "
                "%.0f %% between two updates (%lld samples)\n",
                end, largestError * 100, largestJump * 100, static_cast<long long>(shown.size()));
}

struct Load
{
    double p99 = 0;
    double worst = 0;
    double cpuShare = 0;
};

Load runLoad(int jobCount, bool watched)
{
    const FileURL self(QCoreApplication::applicationFilePath());
    const QTemporaryDir folder;
    QList<FFmpegJob> jobs;
    for (int number = 1; number <= jobCount; ++number)
        jobs << FFmpegJob{number, self, FileURL(folder.filePath(QString::number(number))), 0, 1, std::nullopt};
    Run run;
    std::vector<double> gaps;
    QElapsedTimer sinceBeat;
    QTimer beat;
    QObject::connect(&beat, &QTimer::timeout, &run, [&] {
        gaps.push_back(double(sinceBeat.nsecsElapsed()) / 1e6);
        sinceBeat.start();
    });
    QElapsedTimer clock;
    clock.start();
    const std::clock_t cpu = std::clock();
    sinceBeat.start();
    beat.start(1);
    run.start(jobs, 12, self, watched);
    run.waitForFinish();
    std::sort(gaps.begin(), gaps.end());
    return {gaps.at(gaps.size() * 99 / 100), gaps.back(),
            double(std::clock() - cpu) / CLOCKS_PER_SEC / (double(clock.elapsed()) / 1000) * 100};
}

void windowLoad()
{
    for (int round = 1; round <= 2; ++round) {
        for (const bool watched : {false, true}) {
            const Load load = runLoad(watched && round == 1 ? 1000 : 240, watched);
            std::printf(
                "window: %s, 12 workers: event loop late by p99 %.1f ms, worst %.1f ms; CPU %.2f %% of a core\n",
                watched ? (round == 1 ? "1,000 jobs, with overview" : "240 jobs, with overview")
                        : "240 jobs, without overview",
                load.p99, load.worst, load.cpuShare);
        }
    }
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc > 2 && qstrcmp(argv[1], "-y") == 0)
        return reportProgress();
    const BenchApplication application(argc, argv);
    const QByteArray what = argc > 1 ? argv[1] : "";
    const int count = argc > 2 ? QByteArray(argv[2]).toInt() : 0;
    if (what.isEmpty() || what == "clips")
        goodClips(count > 0 ? count : 1000);
    if (what.isEmpty() || what == "stops")
        randomStops(count > 0 ? count : 500);
    if (what.isEmpty() || what == "time")
        timeLeft();
    if (what.isEmpty() || what == "window")
        windowLoad();
    return 0;
}
