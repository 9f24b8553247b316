// Whether the window for checking shows the pictures that it names, in eight containers: those beside a transition are
// compared by their content with the ends of the clips that ffmpeg writes, those inside with its own decoding; twice,
// the second time from what was kept on disk, without ffmpeg.
//
//   review_pictures [TRANSITIONS-PER-CONTAINER]
//
// Prints a line for each container and for each transition that differs; the status is 0 when none does.

#include "../tests/NumberedVideo.h"
#include "../tests/TestFiles.h"
#include "Models/JobBuilder.h"
#include "Review/ReviewTable.h"
#include "Review/ReviewWindow.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>

using namespace Qt::StringLiterals;

namespace {

struct Container
{
    const char* name;
    const char* fileName;
    const char* options; ///< ffmpeg's, for the output
    bool isTurned = false;
    bool isSoughtLate = false; ///< -ss lands behind its time; clips are taken from the decoding
};

const Container containers[] = {
    {"H.264 with B pictures", "b.mp4", "-c:v libx264 -preset veryfast -bf 3 -pix_fmt yuv420p"},
    {"variable rate", "variable.mkv",
     "-c:v libx264 -preset veryfast -pix_fmt yuv420p -vf select='gt(mod(n,7),0)*gt(mod(n,11),0)' -fps_mode "
     "passthrough"},
    {"transport stream, late", "late.ts", "-c:v libx264 -preset veryfast -pix_fmt yuv420p -g 25 -output_ts_offset 37.5",
     false, true},
    {"WebM", "v.webm", "-c:v libvpx -deadline realtime -b:v 1M"},
    {"negative start", "before.mkv",
     "-c:v libx264 -preset veryfast -pix_fmt yuv420p -vf setpts=PTS-1/TB -avoid_negative_ts disabled"},
    {"turned", "turned.mp4", "-c:v libx264 -preset veryfast -pix_fmt yuv420p", true},
    {"10 bit", "ten.mkv", "-c:v libx264 -preset veryfast -pix_fmt yuv420p10le"},
    {"odd size", "odd.mp4", "-c:v libx264 -preset veryfast -vf scale=319:179 -pix_fmt yuv444p"},
};

constexpr int perSecond = 25;
constexpr int patience = 60'000;

/// Tells players to turn an MP4's pictures by a right angle: the matrix in the header of its one track.
void turn(const QString& path)
{
    QByteArray bytes = readFile(path);
    const auto matrix = QByteArray::fromHex("000000000001000000000000ffff00000000000000000000");
    writeFile(path, bytes.replace(bytes.lastIndexOf("tkhd") + 44, matrix.size(), matrix));
}

/// Clips of 8 to 24 frames, between them cuts and, one of four, gradual transitions of 6 to 14.
SegmentList randomList(std::mt19937& random, int transitions)
{
    const auto frames = [&random](int least, int most) {
        return std::uniform_int_distribution(least, most)(random) / double(perSecond);
    };
    const auto rounded = [](double seconds) { return std::round(seconds * 1000) / 1000; };
    SegmentList list;
    list.payload = DetectorPayload{u"v"_s, perSecond, 0, false, {}, {}, {}};
    double start = 0;
    for (int row = 0; row <= transitions; ++row) {
        const double end = rounded(start + frames(8, 24));
        list.payload->keepSegments.append({row, start, end, end - start});
        start = row % 4 == 3 ? rounded(end + frames(6, 14)) : end;
        if (row < transitions)
            list.payload->events.append(
                {row, start > end ? u"fade"_s : u"cut"_s, end, start, start - end, 1.0, u"t"_s});
    }
    list.payload->duration = start + 1;
    list.segments = buildEditableSegments(*list.payload);
    return list;
}

QByteArray probe(const QString& path, const char* entries)
{
    QProcess process;
    process.start(u"ffprobe"_s, {u"-v"_s, u"error"_s, u"-select_streams"_s, u"v:0"_s, u"-show_entries"_s,
                                 QString::fromLatin1(entries), u"-of"_s, u"csv=p=0"_s, path});
    process.waitForFinished(-1);
    return process.readAllStandardOutput();
}

/// What ffmpeg itself makes of a video.
struct Truth
{
    QList<double> times; ///< of all frames, from the start of the container
    QList<int> numbers;  ///< what these show
    QList<QList<int>> clips;

    [[nodiscard]] QList<int> framesWithin(double start, double end) const
    {
        QList<int> found;
        for (qsizetype i = 0; i < times.size(); ++i) {
            if (times[i] >= start - 0.0005 && times[i] < end - 0.0005)
                found.append(numbers[i]);
        }
        return found;
    }

    /// The numbers of the pictures that belong to a transition.
    [[nodiscard]] QList<int> picturesOf(const TransitionEvent& event, int row) const
    {
        const QList<int>& before = clips[row];
        const QList<int>& after = clips[row + 1];
        if (before.size() < 2 || after.size() < 2)
            qFatal("a clip that is too short");
        if (event.start == event.end)
            return {before[before.size() - 2], before.last(), after[0], after[1]};
        const QList<int> inside = framesWithin(event.start, event.end);
        const QList<int> firstHalf = framesWithin(event.start, (event.start + event.end) / 2 + 0.001);
        return {before.last(), inside.first(), firstHalf.last(), inside.last(), after[0]};
    }
};

Truth truthOf(const Container& container, const FileURL& video, const SegmentList& list, const QString& folder)
{
    Truth truth;
    const double start = probe(video.path(), "format=start_time").trimmed().toDouble();
    for (const QByteArray& line : probe(video.path(), "frame=best_effort_timestamp_time").split('\n')) {
        if (!line.trimmed().isEmpty())
            truth.times.append(line.split(',').first().toDouble() - start);
    }
    truth.numbers = NumberedVideo::numbers(video.path());
    if (truth.times.size() != truth.numbers.size())
        qFatal("%lld times of %lld frames", static_cast<long long>(truth.times.size()),
               static_cast<long long>(truth.numbers.size()));
    for (const FFmpegJob& job : buildJobs(list.segments, video, FileURL(folder), u"clip"_s, {})) {
        if (container.isSoughtLate) {
            truth.clips.append(truth.framesWithin(job.start, job.start + job.duration));
            continue;
        }
        QProcess ffmpeg;
        ffmpeg.start(u"ffmpeg"_s, job.executionArguments());
        ffmpeg.waitForFinished(-1);
        QList<int> clip = NumberedVideo::numbers(job.outputURL.path());
        clip.erase(std::unique(clip.begin(), clip.end()), clip.end()); // gaps are filled with what was shown last
        truth.clips.append(clip);
        QFile::remove(job.outputURL.path());
    }
    return truth;
}

/// Steps through all rows; how many transitions have the pictures of the truth.
int countEqual(const Container& container, const SegmentList& list, const Truth& truth, const FileURL& ffmpeg)
{
    ReviewWindow review(nullptr);
    auto* table = review.findChild<ReviewTable*>();
    review.setRuntime(RuntimeConfiguration{{}, {}, ffmpeg});
    review.show();
    review.setContent(list, ViewerContent::of(list));
    int equal = 0;
    for (int row = 0; row < list.events().size(); ++row) {
        QElapsedTimer timer;
        timer.start();
        while (!review.pictures().isComplete(row) && timer.elapsed() < patience)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
        QList<int> shown;
        for (const ReviewPicture& picture : review.pictures().picturesOf(row))
            shown.append(picture.image.isNull() ? -1 : NumberedVideo::number(picture.image));
        const QList<int> real = truth.picturesOf(list.events()[row], row);
        equal += shown == real ? 1 : 0;
        if (shown != real)
            qInfo().nospace() << container.name << " " << list.events()[row].start << " s: shown " << shown << ", real "
                              << real;
        QKeyEvent down(QEvent::KeyPress, Qt::Key_Down, Qt::NoModifier);
        QCoreApplication::sendEvent(table, &down);
    }
    return equal;
}

} // namespace

int main(int argc, char* argv[])
{
    const QTemporaryDir folder;
    qputenv("XDG_CACHE_HOME", QFile::encodeName(folder.filePath(u"cache"_s)));
    const QApplication application(argc, argv);
    const int transitions = argc > 1 ? QByteArray(argv[1]).toInt() : 63;
    std::mt19937 random(20261122);
    int all = 0;
    int allEqual = 0;
    for (const Container& container : containers) {
        SegmentList list = randomList(random, transitions);
        const FileURL video(folder.filePath(QString::fromLatin1(container.fileName)));
        list.videoURL = video;
        if (!NumberedVideo::make(video.path(), QString::number(perSecond), int(list.payload->duration * perSecond),
                                 QString::fromLatin1(container.options).split(u' ')))
            qFatal("%s could not be made", container.name);
        if (container.isTurned)
            turn(video.path());
        const Truth truth = truthOf(container, video, list, folder.path());
        const int equal = countEqual(container, list, truth, FileURL(QStandardPaths::findExecutable(u"ffmpeg"_s)));
        const int equalAgain = countEqual(container, list, truth, FileURL(u"/nonexistent/ffmpeg"_s));
        std::printf("%-24s %d transitions, %d equal, %d from disk\n", container.name, transitions, equal, equalAgain);
        std::fflush(stdout);
        all += 2 * transitions;
        allEqual += equal + equalAgain;
    }
    return all == allEqual ? 0 : 1;
}
