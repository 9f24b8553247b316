#include "Frames/FramePlan.h"
#include "Frames/FrameReplyReader.h"

#include <QTest>

#include <tuple>

using namespace Qt::StringLiterals;

namespace {

using State = FrameAnswer::State;

/// A clock and an index that knows all frames of a minute.
struct Video
{
    VideoClock clock;
    FrameIndex index;
};

Video constantRate(qint64 ticksPerSecond, qint64 rateNumerator, qint64 rateDenominator)
{
    Video video;
    video.clock = {1, ticksPerSecond, rateNumerator, rateDenominator, 0};
    QList<qint64> frames;
    for (qint64 n = 0; n * rateDenominator < 60 * rateNumerator; ++n)
        frames.append(rescaled(n, ticksPerSecond * rateDenominator, rateNumerator));
    video.index.learn(FrameIndex::beginning, FrameIndex::end, frames);
    return video;
}

EditableSegment segment(double start, double end)
{
    return {1, true, start, end, false};
}

/// Frames as their numbers, -1 where there is none and -2 where it is unknown.
qint64 number(const VideoClock& clock, const FrameAnswer& frame)
{
    if (!frame.isKnown())
        return frame.state == State::none ? -1 : -2;
    return qRound64(clock.secondsAt(frame.ticks) * clock.framesPerSecond());
}

/// What is asked of ffmpeg, and the numbers of the clip's first and last frame.
struct Cut
{
    double start;
    double duration;
    qint64 first;
    qint64 last;
};

void verifyCuts(const Video& video, const QList<Cut>& cuts)
{
    for (const auto& [start, duration, first, last] : cuts) {
        FrameSearch search(video.index, video.clock);
        const CutFrames cut = cutFrames(search, segment(start, start + duration));
        QCOMPARE(number(video.clock, cut.first), first);
        QCOMPARE(number(video.clock, cut.last), last);
        QVERIFY(search.needs().isEmpty());
    }
}

void verifySteps(const Video& video, SegmentEdge edge, int direction)
{
    FrameSearch search(video.index, video.clock);
    EditableSegment row = segment(20.0137, 31.4159);
    const auto edgeFrame = [&] {
        const CutFrames cut = cutFrames(search, row);
        return number(video.clock, edge == SegmentEdge::start ? cut.first : cut.last);
    };
    for (int i = 0; i < 100; ++i) {
        const qint64 before = edgeFrame();
        const auto moved = edgeOneFrameOn(search, row, edge, direction);
        QVERIFY(moved);
        (edge == SegmentEdge::start ? row.start : row.end) = *moved;
        QCOMPARE(edgeFrame() - before, qint64(direction));
    }
}

} // namespace

class ViewerFramesTest final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void indexKnowsItsLimits()
    {
        FrameIndex index;
        index.learn(100, 200, {100, 140, 180});
        index.learn(300, FrameIndex::end, {300});
        QCOMPARE(index.firstFrom(101), (FrameAnswer{State::known, 140}));
        QCOMPARE(index.firstFrom(181), (FrameAnswer{State::unknown, 200}));
        QCOMPARE(index.firstFrom(301), (FrameAnswer{State::none, 0}));
        QCOMPARE(index.lastBefore(200), (FrameAnswer{State::known, 180}));
        QCOMPARE(index.lastBefore(100), (FrameAnswer{State::unknown, 100}));
        QCOMPARE(index.lastBefore(250), (FrameAnswer{State::unknown, 250}));

        index.learn(200, 300, {220}); // closes the gap
        QCOMPARE(index.firstFrom(181), (FrameAnswer{State::known, 220}));
        QCOMPARE(index.lastBefore(300), (FrameAnswer{State::known, 220}));
        index.learn(FrameIndex::beginning, 100, {});
        QCOMPARE(index.lastBefore(100), (FrameAnswer{State::none, 0}));
    }

    /// Numbers of frames as ffmpeg was seen to cut them.
    void cuts()
    {
        const QList<Cut> cuts = {
            {3.0, 2.0, 75, 124},     {3.0, 2.001, 75, 125},
            {3.001, 2.0, 76, 124},                             // a millisecond late loses the first frame
            {3.001, 2.04, 76, 125},  {3.03, 2.001, 76, 126},   // between frames the clip is longer
            {3.039, 2.041, 76, 127}, {3.0004, 2.0, 75, 124},   // less than half a millisecond is rounded away
            {3.0, 0.001, 75, 75},    {3.01, 0.03, -1, -1},     // too short for a frame's number
            {3.0, 0.0004, -1, -1},   {59.0, 30.0, 1475, 1499}, // past the video's end
            {70.0, 1.0, -1, -1},
        };
        verifyCuts(constantRate(12800, 25, 1), cuts);
        QCOMPARE(rescaled(-3, 1, 2), -2);                                    // halves away from zero, as ffmpeg rounds
        verifyCuts(constantRate(90000, 60000, 1001), {{0.0, 9e8, 0, 3596}}); // longer than 64 bits can reckon
    }

    /// A second without frames, 50 to 74: the first frame inside gets the number of its time, so the clip ends earlier.
    void cutsThatBeginInAGap()
    {
        Video video;
        video.clock = {1, 12800, 25, 1, 0};
        QList<qint64> frames;
        for (qint64 n = 0; n < 200; ++n) {
            if (n < 50 || n > 74)
                frames.append(n * 512);
        }
        video.index.learn(FrameIndex::beginning, FrameIndex::end, frames);
        verifyCuts(video, {{2.5, 1.0, 75, 86}, {2.5, 2.0, 75, 111}, {2.6, 0.3, -1, -1}});
    }

    /// A hundred steps from a time on no frame, each seen through the words that ffmpeg gets.
    void aStepMovesTheCutByOneFrame()
    {
        for (const Video& video : {constantRate(24000, 24000, 1001), constantRate(12800, 25, 1),
                                   constantRate(1000, 30000, 1001), constantRate(90000, 60000, 1001)}) {
            for (const SegmentEdge edge : {SegmentEdge::start, SegmentEdge::end}) {
                for (const int direction : {1, -1})
                    verifySteps(video, edge, direction);
            }
        }
    }

    void anUnknownPlaceIsAskedFor()
    {
        Video video;
        video.clock = {1, 12800, 25, 1, 0};
        FrameSearch search(video.index, video.clock);
        QCOMPARE(cutFrames(search, segment(10, 300)).first.state, State::unknown);
        const auto isAsked = [&search](double seconds) {
            return std::any_of(search.needs().begin(), search.needs().end(), [seconds](const FrameNeed& need) {
                return need.from < seconds && need.to > seconds && need.picturesFrom < seconds &&
                       need.picturesTo > seconds;
            });
        };
        QVERIFY(isAsked(10));
        QVERIFY(isAsked(300));

        // A gap without frames is searched in growing strides, and down to the video's beginning.
        constexpr qint64 end = qint64(100) * 12800;
        double from = 100;
        for (int strides = 0; from > 0; ++strides) {
            QVERIFY(strides < 10);
            video.index.learn(from > 0 ? qint64(from * 12800) : FrameIndex::beginning, end, {});
            FrameSearch gap(video.index, video.clock);
            QCOMPARE(gap.lastBefore(end).state, State::unknown);
            QVERIFY(gap.needs().first().from < from);
            from = gap.needs().first().from;
        }
    }

    /// The frames around and in a transition from 10 s on, and which of the transition's own are kept.
    void transitions()
    {
        EditableSegment disabled = segment(5, 10);
        disabled.isEnabled = false;
        using Rows =
            QList<std::tuple<QList<EditableSegment>, double, QString>>; // and the frames, kept ones with a plus
        const Video video = constantRate(12800, 25, 1);
        for (const auto& [segments, end, frames] :
             Rows{{{segment(0, 10), segment(11, 20), segment(20, 30)}, 11, u"249+ 250 262 274 275+"_s},
                  {{segment(0, 9.88), segment(11.24, 20)}, 11, u"246+ 250 262 274 281+"_s},
                  // A hard cut has no frames of its own: the last two before it and the first two after it.
                  {{segment(0, 10), segment(10, 20)}, 10, u"248+ 249+ 250+ 251+"_s},
                  {{segment(0, 9.8), segment(10, 10.04)}, 10, u"243+ 244+ 250+ -1"_s},
                  {{segment(0, 20)}, 10, u"248+ 249+ 250+ 251+"_s},
                  {{disabled}, 10, u"248 249 250 251"_s},
                  {{}, 11, u"-1+ 250 262 274 -1+"_s},
                  {{segment(0, 10.5), segment(11, 20)}, 11, u"249+ 250+ 262+ 274 275+"_s},
                  {{segment(0, 4), disabled, segment(11, 20)}, 11, u"99+ 250 262 274 275+"_s}}) {
            ViewerContent content;
            content.events = {{1, u"fade"_s, 10, end, end - 10, 1, {}}};
            content.segments = segments;
            const FramePlan plan =
                planFrames(content, {ViewerSubject::Kind::transition, 0}, {}, video.index, video.clock);
            QStringList planned;
            for (const PlannedFrame& frame : plan.frames)
                planned += QString::number(number(video.clock, frame.frame)) + (frame.isKept ? u"+"_s : QString());
            QCOMPARE(planned.join(u' '), frames);
        }
    }

    void repliesArriveInPieces()
    {
        FrameReplyReader reader(FrameQuery::forNeeds({{2, 3, 2, 3}}, {4, 4}, std::nullopt));
        const QByteArray log = R"(Input #0, mov,mp4,m4a,3gp,3g2,mj2, from '/v.mp4':
  Duration: 00:00:09.97, start: 0.016016, bitrate: 20 kb/s
  Stream #0:0[0x1](und): Video: h264
  Stream #0:1[0x2](und): Audio: aac
[Parsed_showinfo_1 @ 0x55] config in time_base: 1/15360, frame_rate: 60/1
[Parsed_showinfo_4 @ 0x56] config in time_base: 1/15360, frame_rate: 60/1
[Parsed_showinfo_1 @ 0x55] n:   0 pts:  30976 pts_time:2.01667 pos: 68 fmt:yuv420p sar:1/1 s:320x180 i:P
[Parsed_showinfo_1 @ 0x55] n:   1 pts:  31232 pts_time:2.03333 pos: 69 fmt:yuv420p sar:1/1 s:320x180 i:P
[Parsed_showinfo_1 @ 0x55] n:   2 pts:  31232 pts_time:2.03333 pos: 69 fmt:yuv420p sar:1/1 s:320x180 i:P
[Parsed_showinfo_4 @ 0x56] n:   0 pts:  NOPTS pts_time:NOPTS pos: 69 fmt:rgb24 sar:1/1 s:2x1 i:P
[Parsed_showinfo_4 @ 0x56] n:   1 pts:  31232 pts_time:2.03333 pos: 69 fmt:rgb24 sar:1/1 s:2x1 i:P
[Parsed_showinfo_4 @ 0x56] n:   2 pts:  31232 pts_time:2.03333 pos: 69 fmt:rgb24 sar:1/1 s:2x1 i:P
)";
        for (const QByteArray& line : log.split('\n'))
            reader.readLine(line);
        const QByteArray red("P6\n2 1\n255\n\xff\x00\x00\xff\x00\x00", 17);
        const QByteArray green("P6\n2 1\n255\n\xff\x00\x00\x00\xff\x00", 17);
        for (const char byte : red + green + red + red.first(12))
            reader.readPictures(QByteArray(1, byte));

        const auto reply = reader.reply();
        QVERIFY(reply);
        QCOMPARE(reply->clock, (VideoClock{1, 15360, 60, 1, 16016, false, true}));
        QCOMPARE(reply->frames, (QList<qint64>{30976, 31232, 31232}));
        QCOMPARE(reply->from, 30966); // 2.016016 s
        QCOMPARE(reply->to, 30976 + 15360);
        QCOMPARE(reply->pictures.size(), 1);
        QCOMPARE(reply->pictures.first().ticks, 31232);
        QCOMPARE(reply->pictures.first().sourceSize, QSize(320, 180));
        QCOMPARE(reply->pictures.first().image.pixel(1, 0), qRgb(0, 255, 0));
    }
};

QTEST_GUILESS_MAIN(ViewerFramesTest)
#include "tst_ViewerFrames.moc"
