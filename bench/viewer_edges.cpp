// Whether the viewer shows what a split cuts: for random segments of videos of many rates, the pictures at both edges
// are compared by their content with the first and the last frame of the clip that ffmpeg then writes; and so is the
// last frame kept before a transition that follows the segment.
//
//   viewer_edges [SEGMENTS-PER-VIDEO [VIDEO]]
//
// Prints a line for each video and each edge that differs; the status is 0 when none does.

#include "../tests/NumberedVideo.h"
#include "BenchApplication.h"
#include "Models/FFmpegJob.h"
#include "Viewer/ViewerWindow.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>

using namespace Qt::StringLiterals;

namespace {

struct Video
{
    const char* name;
    const char* rate;
    const char* fileName;
    const char* options;
    const char* secondOptions; ///< a second pass that copies, for what only a container can say
};

constexpr double seconds = 16;

const Video videos[] = {
    {"23.976", "24000/1001", "a.mp4", "-c:v libx264 -preset veryfast", nullptr},
    {"24", "24", "b.mp4", "-c:v libx264 -preset veryfast -g 48", nullptr},
    {"25", "25", "c.mp4", "-c:v libx264 -preset veryfast", nullptr},
    {"29.97", "30000/1001", "d.mp4", "-c:v libx264 -preset veryfast", nullptr},
    {"50", "50", "e.mp4", "-c:v libx264 -preset veryfast -g 500", nullptr},
    {"59.94", "60000/1001", "f.mp4", "-c:v libx264 -preset veryfast", nullptr},
    {"variable", "60", "g.mp4",
     "-c:v libx264 -preset veryfast -vf "
     "select='if(lt(mod(n,120),60),1,not(mod(n,3)))*gt(mod(n,17),0)*gt(mod(n,97),30)' -vsync vfr",
     nullptr},
    {"variable, sound", "60", "m.mp4",
     "-c:v libx264 -preset veryfast -vf select='if(lt(mod(n,120),60),1,not(mod(n,3)))*gt(mod(n,17),0)' -vsync vfr",
     "-f lavfi -t 16 -i sine -c:a aac"},
    {"rotated", "30", "h.mp4", "-c:v libx264 -preset veryfast", "-metadata:s:v rotate=90"},
    {"25 in mkv", "25", "i.mkv", "-c:v libx264 -preset veryfast", nullptr},
    {"29.97 late start", "30000/1001", "j.mp4", "-c:v libx264 -preset veryfast", "-output_ts_offset 1.4"},
    {"29.97 mov", "30000/1001", "l.mov", "-c:v mpeg4 -q:v 3", nullptr},
};

QStringList words(const char* text)
{
    return QString::fromUtf8(text).split(u' ', Qt::SkipEmptyParts);
}

bool makeVideo(const Video& video, const QString& path)
{
    const QStringList rate = QString::fromUtf8(video.rate).split(u'/');
    const double perSecond = rate.first().toDouble() / (rate.size() > 1 ? rate.last().toDouble() : 1);
    const QString first = video.secondOptions ? path + u".first.mp4"_s : path;
    if (!NumberedVideo::make(first, QString::fromUtf8(video.rate), int(std::lround(seconds * perSecond)),
                             words(video.options) + QStringList{u"-pix_fmt"_s, u"yuv420p"_s}))
        return false;
    if (!video.secondOptions)
        return true;
    return QProcess::execute(u"ffmpeg"_s, QStringList{u"-v"_s, u"error"_s, u"-y"_s, u"-i"_s, first} +
                                              words(video.secondOptions) + QStringList{u"-c:v"_s, u"copy"_s, path}) ==
           0;
}

/// Half of the times are those of frames, rounded as a detector rounds them; the others lie anywhere.
double randomTime(std::mt19937& random, const VideoClock& clock, double low, double high)
{
    double time = std::uniform_real_distribution<double>(low, high)(random);
    switch (random() % 4) {
    case 0:
        return time;
    case 1:
        return std::round(time * 1000) / 1000;
    default:
        time = std::round(time * clock.framesPerSecond()) / clock.framesPerSecond();
        return std::round(time * 1000) / 1000;
    }
}

bool isComplete(const ViewerWindow& viewer)
{
    const FramePlan& plan = viewer.plan();
    return !plan.frames.isEmpty() &&
           std::all_of(plan.frames.begin(), plan.frames.end(), [&](const PlannedFrame& planned) {
               return planned.frame.state == FrameAnswer::State::none ||
                      (planned.frame.isKnown() && viewer.source().picture(planned.frame.ticks));
           });
}

/// The number in the picture at one of the places, or nothing.
std::optional<int> shownNumber(const ViewerWindow& viewer, PlannedFrame::Role role)
{
    for (const PlannedFrame& planned : viewer.plan().frames) {
        const FramePicture* picture = planned.frame.isKnown() ? viewer.source().picture(planned.frame.ticks) : nullptr;
        if (planned.role == role && picture)
            return NumberedVideo::number(picture->image);
    }
    return std::nullopt;
}

template<typename Condition>
bool waitFor(Condition condition)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition() && timer.elapsed() < 30'000)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
    return condition();
}

QString text(const std::optional<int>& number)
{
    return number ? QString::number(*number) : u"-"_s;
}

struct Comparison
{
    int edges = 0;
    int equal = 0;
    int neighboursEqual = 0;
    int transitionsEqual = 0;
};

/// Two viewers, so that the one for transitions has to find out by itself where the segment begins.
Comparison compare(const Video& video, ViewerWindow& viewer, ViewerWindow& transitionViewer, const QString& folder,
                   int segmentCount)
{
    const FileURL url(folder + u'/' + QString::fromUtf8(video.fileName));
    if (!makeVideo(video, url.path()))
        qFatal("%s could not be made", video.name);
    const QList<int> all = NumberedVideo::numbers(url.path());
    std::mt19937 random(20240229);
    Comparison result;
    for (int i = 0; i < segmentCount; ++i) {
        const double start = randomTime(random, viewer.source().clock(), 0, seconds - 2);
        const double longest = i % 3 == 0 ? 7 : 1.6;
        const double end = start + std::max(0.002, randomTime(random, viewer.source().clock(), 0.03, longest));
        ViewerContent content;
        content.videoURL = url;
        content.duration = seconds;
        content.framesPerSecond = 25;
        content.segments = {{1, true, start, end, false}};
        content.events = {{1, u"cut"_s, end, end + 0.2, 0.2, 1, {}}};
        viewer.setContent(content);
        viewer.setSubject({ViewerSubject::Kind::segment, 0});
        transitionViewer.setContent(content);
        transitionViewer.setSubject({ViewerSubject::Kind::transition, 0});
        if (!waitFor([&] { return isComplete(viewer) && isComplete(transitionViewer); }))
            std::printf("  %s %.6f-%.6f: incomplete\n", video.name, start, end);

        const FFmpegJob job{1, url, FileURL(folder + u"/clip."_s + url.pathExtension()), start, end - start, {}};
        QFile::remove(job.outputURL.path());
        QProcess ffmpeg;
        ffmpeg.start(u"ffmpeg"_s, job.executionArguments());
        ffmpeg.waitForFinished(-1);
        const QList<int> clip = NumberedVideo::numbers(job.outputURL.path());
        const std::optional<int> first = clip.isEmpty() ? std::nullopt : std::optional(clip.first());
        const std::optional<int> last = clip.isEmpty() ? std::nullopt : std::optional(clip.last());
        const auto neighbour = [&all](const std::optional<int>& number, int step) -> std::optional<int> {
            const qsizetype at = number ? all.indexOf(*number) + step : -1;
            return at >= 0 && at < all.size() ? std::optional(all[at]) : std::nullopt;
        };
        const auto check = [&](const char* edge, PlannedFrame::Role inside, const std::optional<int>& real,
                               PlannedFrame::Role outside, const std::optional<int>& realOutside) {
            ++result.edges;
            const bool isEqual = shownNumber(viewer, inside) == real;
            const bool isOutsideEqual = !real || shownNumber(viewer, outside) == realOutside;
            result.equal += isEqual ? 1 : 0;
            result.neighboursEqual += isOutsideEqual ? 1 : 0;
            if (!isEqual || !isOutsideEqual)
                std::printf("  %s %.6f-%.6f %s: shown %s outside %s, cut %s outside %s\n", video.name, start, end, edge,
                            qPrintable(text(shownNumber(viewer, inside))),
                            qPrintable(text(shownNumber(viewer, outside))), qPrintable(text(real)),
                            qPrintable(text(realOutside)));
        };
        check("start", PlannedFrame::Role::firstInside, first, PlannedFrame::Role::beforeStart, neighbour(first, -1));
        check("end", PlannedFrame::Role::lastInside, last, PlannedFrame::Role::afterEnd, neighbour(last, 1));
        const std::optional<int> lastKept = shownNumber(transitionViewer, PlannedFrame::Role::lastKeptBefore);
        result.transitionsEqual += lastKept == last ? 1 : 0;
        if (lastKept != last)
            std::printf("  %s %.6f-%.6f: before the transition %s, cut %s\n", video.name, start, end,
                        qPrintable(text(lastKept)), qPrintable(text(last)));
    }
    return result;
}

void print(const char* name, const Comparison& result)
{
    std::printf("%-18s %6d %6d %10d %12d %6d\n", name, result.edges, result.equal, result.neighboursEqual,
                result.edges / 2, result.transitionsEqual);
}

} // namespace

int main(int argc, char* argv[])
{
    const BenchApplication application(argc, argv);
    const int segmentCount = argc > 1 ? QByteArray(argv[1]).toInt() : 12;
    const QByteArray only = argc > 2 ? argv[2] : "";
    QTemporaryDir folder;
    ViewerWindow viewer(nullptr);
    ViewerWindow transitionViewer(nullptr);
    for (ViewerWindow* window : {&viewer, &transitionViewer}) {
        window->setRuntime(RuntimeConfiguration{{}, {}, FileURL(u"/usr/bin/ffmpeg"_s)});
        window->open();
    }
    Comparison sum;
    std::printf("%-18s %6s %6s %10s %12s %6s\n", "video", "edges", "equal", "outside", "transitions", "equal");
    for (const Video& video : videos) {
        if (!QByteArray(video.name).contains(only))
            continue;
        const Comparison result = compare(video, viewer, transitionViewer, folder.path(), segmentCount);
        print(video.name, result);
        std::fflush(stdout);
        sum.edges += result.edges;
        sum.equal += result.equal;
        sum.neighboursEqual += result.neighboursEqual;
        sum.transitionsEqual += result.transitionsEqual;
    }
    print("all", sum);
    const bool isRight =
        sum.equal == sum.edges && sum.neighboursEqual == sum.edges && 2 * sum.transitionsEqual == sum.edges;
    return isRight ? 0 : 1;
}
