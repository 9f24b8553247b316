// How long the viewer takes, on ten minutes of 1280x720 H.264 with a key frame every ten seconds:
//
//   strip, cold      from choosing a transition nobody has looked at until its five pictures are there
//   strip, cached    the same for one looked at before, painting included
//   main thread      the longest stretch that the event loop was busy, on the clock and in processor time
//   arrow held       300 rows at 30 rows a second: processes at a time, and the time until the last row is there
//
//   viewer [VIDEO]   the video is made (and kept there) when it does not exist

#include "BenchApplication.h"
#include "Viewer/ViewerWindow.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <random>

using namespace Qt::StringLiterals;

namespace {

constexpr double videoSeconds = 600;
constexpr int coldStrips = 40;

void makeVideo(const QString& path)
{
    const QString minute = path + u".minute.mp4"_s;
    const QStringList quiet = {u"-v"_s, u"error"_s, u"-y"_s};
    const int made =
        QProcess::execute(u"ffmpeg"_s, quiet + QStringList{u"-f"_s,
                                                           u"lavfi"_s,
                                                           u"-t"_s,
                                                           u"60"_s,
                                                           u"-i"_s,
                                                           u"testsrc2=size=1280x720:rate=25,noise=alls=8:allf=t"_s,
                                                           u"-c:v"_s,
                                                           u"libx264"_s,
                                                           u"-preset"_s,
                                                           u"veryfast"_s,
                                                           u"-b:v"_s,
                                                           u"4M"_s,
                                                           u"-g"_s,
                                                           u"250"_s,
                                                           u"-keyint_min"_s,
                                                           u"250"_s,
                                                           u"-sc_threshold"_s,
                                                           u"0"_s,
                                                           u"-pix_fmt"_s,
                                                           u"yuv420p"_s,
                                                           minute});
    const int joined = QProcess::execute(
        u"ffmpeg"_s, quiet + QStringList{u"-stream_loop"_s, u"9"_s, u"-i"_s, minute, u"-c"_s, u"copy"_s, path});
    QFile::remove(minute);
    if (made != 0 || joined != 0)
        qFatal("the video could not be made");
}

/// Transitions of 0.3 to 1.5 seconds all over the video, the rest kept.
ViewerContent makeContent(const FileURL& video, int transitions)
{
    ViewerContent content;
    content.videoURL = video;
    content.duration = videoSeconds;
    content.framesPerSecond = 25;
    std::mt19937 random(1);
    std::uniform_int_distribution<int> length(8, 38);
    std::uniform_int_distribution<int> jitter(0, 120);
    double kept = 0;
    for (int i = 0; i < transitions; ++i) {
        const double place = (i + 0.3) * videoSeconds / transitions;
        const double start = std::floor(place * 25) / 25 + jitter(random) % int(videoSeconds / transitions * 12) / 25.0;
        const double end = start + length(random) / 25.0;
        content.events.append(
            {i + 1, u"fade"_s, start, std::min(end, place + videoSeconds / transitions * 0.65), 0, 1, {}});
        content.segments.append({i + 1, true, kept, start, false});
        kept = content.events.last().end;
    }
    content.segments.append({transitions + 1, true, kept, videoSeconds, false});
    return content;
}

/// How long the event loop works between two waits.
class BusyMeter final : public QObject
{
public:
    BusyMeter()
    {
        const auto* dispatcher = QAbstractEventDispatcher::instance();
        connect(dispatcher, &QAbstractEventDispatcher::awake, this, [this] { begin(); });
        connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this, [this] { end(); });
        begin();
    }

    double longestMilliseconds = 0;
    double longestProcessorMilliseconds = 0;

private:
    static double processorMilliseconds()
    {
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
    }

    void begin()
    {
        m_timer.start();
        m_processor = processorMilliseconds();
    }

    void end()
    {
        if (!m_timer.isValid())
            return;
        longestMilliseconds = std::max(longestMilliseconds, double(m_timer.nsecsElapsed()) / 1e6);
        longestProcessorMilliseconds = std::max(longestProcessorMilliseconds, processorMilliseconds() - m_processor);
        m_timer.invalidate();
    }

    QElapsedTimer m_timer;
    double m_processor = 0;
};

bool isComplete(const ViewerWindow& viewer)
{
    const QList<PlannedFrame>& frames = viewer.plan().frames;
    return !frames.isEmpty() && std::all_of(frames.begin(), frames.end(), [&](const PlannedFrame& planned) {
        return planned.frame.state == FrameAnswer::State::none ||
               (planned.frame.isKnown() && viewer.source().picture(planned.frame.ticks));
    });
}

double millisecondsUntilComplete(ViewerWindow& viewer, int row)
{
    QElapsedTimer timer;
    timer.start();
    viewer.setSubject({ViewerSubject::Kind::transition, row});
    while (!isComplete(viewer) && timer.elapsed() < 20'000)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    viewer.repaint();
    return double(timer.nsecsElapsed()) / 1e6;
}

void rest(int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < milliseconds)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

void print(const char* name, QList<double> milliseconds)
{
    std::sort(milliseconds.begin(), milliseconds.end());
    const auto at = [&](double part) { return milliseconds[qsizetype(part * double(milliseconds.size() - 1))]; };
    std::printf("%-14s median %7.1f ms   p95 %7.1f ms   longest %7.1f ms   (%lld strips)\n", name, at(0.5), at(0.95),
                milliseconds.last(), static_cast<long long>(milliseconds.size()));
}

void measureStrips(ViewerWindow& viewer)
{
    QList<int> rows;
    for (int i = 0; i < coldStrips; ++i)
        rows.append(i);
    std::shuffle(rows.begin(), rows.end(), std::mt19937(7));
    QList<double> cold;
    for (const int row : rows) {
        viewer.setSubject({});
        rest(100); // nothing is fetched ahead for no row
        cold.append(millisecondsUntilComplete(viewer, row));
    }
    QList<double> cached;
    for (const int row : rows) {
        viewer.setSubject({});
        rest(20);
        cached.append(millisecondsUntilComplete(viewer, row));
    }
    print("strip, cold", cold);
    print("strip, cached", cached);
}

void holdTheArrow(ViewerWindow& viewer)
{
    int most = 0;
    for (int row = 0; row < 300; ++row) {
        viewer.setSubject({ViewerSubject::Kind::transition, row});
        rest(33);
        most = std::max(most, viewer.source().processCount());
    }
    const double last = millisecondsUntilComplete(viewer, 299);
    rest(3000); // the neighbours are fetched
    std::printf("%-14s at most %d processes at a time, the last row after %.0f ms, %d processes left\n", "arrow held",
                most, last, viewer.source().processCount());
}

} // namespace

int main(int argc, char* argv[])
{
    const BenchApplication application(argc, argv);
    QTemporaryDir folder;
    const FileURL video =
        argc > 1 ? FileURL::fromUserPath(QString::fromLocal8Bit(argv[1])) : FileURL(folder.filePath(u"v.mp4"_s));
    if (!QFileInfo::exists(video.path()))
        makeVideo(video.path());

    BusyMeter meter;
    ViewerWindow viewer(nullptr);
    viewer.setRuntime(RuntimeConfiguration{{}, {}, FileURL(u"/usr/bin/ffmpeg"_s)});
    viewer.open();
    viewer.setContent(makeContent(video, coldStrips));
    measureStrips(viewer);
    viewer.setContent(makeContent(video, 300));
    holdTheArrow(viewer);
    std::printf("%-14s busy for at most %.1f ms, %.1f ms of processor time\n", "main thread", meter.longestMilliseconds,
                meter.longestProcessorMilliseconds);
    return 0;
}
