#include "Viewer/FramePlan.h"
#include "Viewer/FrameReplyReader.h"

#include <QTest>

using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(VideoClock)

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

TransitionEvent transition(double start, double end)
{
    return {1, u"fade"_s, start, end, end - start, 1, {}};
}

/// Frames as their numbers, -1 where there is none and -2 where it is unknown.
qint64 number(const VideoClock& clock, const FrameAnswer& frame)
{
    if (!frame.isKnown())
        return frame.state == State::none ? -1 : -2;
    return qRound64(clock.secondsAt(frame.ticks) * clock.framesPerSecond());
}

} // namespace

class tst_ViewerFrames : public QObject
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
    void cuts_data()
    {
        QTest::addColumn<double>("start");
        QTest::addColumn<double>("duration");
        QTest::addColumn<qint64>("first");
        QTest::addColumn<qint64>("last");
        QTest::newRow("on a frame") << 3.0 << 2.0 << 75LL << 124LL;
        QTest::newRow("a millisecond more takes a frame more") << 3.0 << 2.001 << 75LL << 125LL;
        QTest::newRow("a millisecond late loses the first frame") << 3.001 << 2.0 << 76LL << 124LL;
        QTest::newRow("just after a frame, rounded to the next number") << 3.001 << 2.04 << 76LL << 125LL;
        QTest::newRow("between frames the clip is longer") << 3.03 << 2.001 << 76LL << 126LL;
        QTest::newRow("just before a frame") << 3.039 << 2.041 << 76LL << 127LL;
        QTest::newRow("less than half a millisecond is rounded away") << 3.0004 << 2.0 << 75LL << 124LL;
        QTest::newRow("one frame") << 3.0 << 0.001 << 75LL << 75LL;
        QTest::newRow("too short for a frame's number") << 3.01 << 0.03 << -1LL << -1LL;
        QTest::newRow("no length") << 3.0 << 0.0004 << -1LL << -1LL;
        QTest::newRow("past the video's end") << 59.0 << 30.0 << 1475LL << 1499LL;
        QTest::newRow("behind the video") << 70.0 << 1.0 << -1LL << -1LL;
    }

    void cuts()
    {
        QFETCH(double, start);
        QFETCH(double, duration);
        const Video video = constantRate(12800, 25, 1);
        FrameSearch search(video.index, video.clock);
        const CutFrames cut = cutFrames(search, segment(start, start + duration));
        QTEST(number(video.clock, cut.first), "first");
        QTEST(number(video.clock, cut.last), "last");
        QVERIFY(search.needs().isEmpty());
        if (cut.first.isKnown())
            QCOMPARE(number(video.clock, cut.before), number(video.clock, cut.first) - 1);
    }

    /// A second without frames, 50 to 74: the first frame inside gets the number of its time, so the clip ends earlier.
    void cutsThatBeginInAGap_data()
    {
        QTest::addColumn<double>("start");
        QTest::addColumn<double>("duration");
        QTest::addColumn<qint64>("first");
        QTest::addColumn<qint64>("last");
        QTest::newRow("a second") << 2.5 << 1.0 << 75LL << 86LL;
        QTest::newRow("two seconds") << 2.5 << 2.0 << 75LL << 111LL;
        QTest::newRow("over before the first frame") << 2.6 << 0.3 << -1LL << -1LL;
    }

    void cutsThatBeginInAGap()
    {
        QFETCH(double, start);
        QFETCH(double, duration);
        Video video;
        video.clock = {1, 12800, 25, 1, 0};
        QList<qint64> frames;
        for (qint64 n = 0; n < 200; ++n) {
            if (n < 50 || n > 74)
                frames.append(n * 512);
        }
        video.index.learn(FrameIndex::beginning, FrameIndex::end, frames);
        FrameSearch search(video.index, video.clock);
        const CutFrames cut = cutFrames(search, segment(start, start + duration));
        QTEST(number(video.clock, cut.first), "first");
        QTEST(number(video.clock, cut.last), "last");
    }

    void aStepMovesTheCutByOneFrame_data()
    {
        QTest::addColumn<qint64>("ticks");
        QTest::addColumn<qint64>("rateNumerator");
        QTest::addColumn<qint64>("rateDenominator");
        QTest::newRow("23.976") << 24000LL << 24000LL << 1001LL;
        QTest::newRow("25") << 12800LL << 25LL << 1LL;
        QTest::newRow("29.97, coarse ticks") << 1000LL << 30000LL << 1001LL;
        QTest::newRow("59.94") << 90000LL << 60000LL << 1001LL;
    }

    /// A hundred steps from a time on no frame, each seen through the words that ffmpeg gets.
    void aStepMovesTheCutByOneFrame()
    {
        QFETCH(qint64, ticks);
        QFETCH(qint64, rateNumerator);
        QFETCH(qint64, rateDenominator);
        const Video video = constantRate(ticks, rateNumerator, rateDenominator);
        FrameSearch search(video.index, video.clock);
        for (const SegmentEdge edge : {SegmentEdge::start, SegmentEdge::end}) {
            for (const int direction : {1, -1}) {
                EditableSegment row = segment(20.0137, 31.4159);
                for (int i = 0; i < 100; ++i) {
                    const CutFrames before = cutFrames(search, row);
                    const auto moved = edgeOneFrameOn(search, row, edge, direction);
                    QVERIFY(moved);
                    (edge == SegmentEdge::start ? row.start : row.end) = *moved;
                    const CutFrames after = cutFrames(search, row);
                    const auto step = [&](const FrameAnswer& from, const FrameAnswer& to) {
                        return number(video.clock, to) - number(video.clock, from);
                    };
                    QCOMPARE(edge == SegmentEdge::start ? step(before.first, after.first)
                                                        : step(before.last, after.last),
                             qint64(direction));
                }
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
        double from = 100;
        for (int strides = 0; from > 0; ++strides) {
            QVERIFY(strides < 10);
            video.index.learn(from > 0 ? qint64(from * 12800) : FrameIndex::beginning, 100 * 12800, {});
            FrameSearch gap(video.index, video.clock);
            QCOMPARE(gap.lastBefore(100 * 12800).state, State::unknown);
            QVERIFY(gap.needs().first().from < from);
            from = gap.needs().first().from;
        }
    }

    void transitions_data()
    {
        QTest::addColumn<QList<EditableSegment>>("segments");
        QTest::addColumn<TransitionEvent>("event");
        QTest::addColumn<QList<qint64>>("frames");
        QTest::addColumn<QList<bool>>("kept");
        const QList<bool> clean = {true, false, false, false, true};
        QTest::newRow("between two segments") << QList{segment(0, 10), segment(11, 20)} << transition(10, 11)
                                              << QList<qint64>{249, 250, 262, 274, 275} << clean;
        QTest::newRow("padding on both sides") << QList{segment(0, 9.88), segment(11.24, 20)} << transition(10, 11)
                                               << QList<qint64>{246, 250, 262, 274, 281} << clean;
        QTest::newRow("a hard cut has no frame of its own")
            << QList{segment(0, 10), segment(10, 20)} << transition(10, 10) << QList<qint64>{249, -1, -1, -1, 250}
            << clean;
        QTest::newRow("nothing kept on either side")
            << QList<EditableSegment>() << transition(10, 11) << QList<qint64>{-1, 250, 262, 274, -1} << clean;
        QTest::newRow("a segment reaches into it")
            << QList{segment(0, 10.5), segment(11, 20)} << transition(10, 11) << QList<qint64>{249, 250, 262, 274, 275}
            << QList<bool>{true, true, true, false, true};
        EditableSegment disabled = segment(5, 10);
        disabled.isEnabled = false;
        QTest::newRow("a disabled segment is not kept")
            << QList{segment(0, 4), disabled, segment(11, 20)} << transition(10, 11)
            << QList<qint64>{99, 250, 262, 274, 275} << clean;
    }

    void transitions()
    {
        QFETCH(QList<EditableSegment>, segments);
        QFETCH(TransitionEvent, event);
        QFETCH(QList<qint64>, frames);
        const Video video = constantRate(12800, 25, 1);
        ViewerContent content;
        content.events = {event};
        content.segments = segments;
        const FramePlan plan = planFrames(content, {ViewerSubject::Kind::transition, 0}, video.index, video.clock);
        QList<qint64> numbers;
        QList<bool> kept;
        for (const PlannedFrame& planned : plan.frames) {
            numbers << number(video.clock, planned.frame);
            kept << planned.isKept;
        }
        QCOMPARE(numbers, frames);
        QTEST(kept, "kept");
    }

    void repliesArriveInPieces()
    {
        FrameReplyReader reader(FrameQuery::forNeeds({{2, 3, 2, 3}}, {4, 4}, std::nullopt));
        const QByteArray log = R"(Input #0, mov,mp4,m4a,3gp,3g2,mj2, from '/v.mp4':
      Duration: 00:00:09.97, start: 0.016016, bitrate: 20 kb/s
      Stream #0:0[0x1](und): Video: h264
      Stream #0:1[0x2](und): Audio: aac
    Stream mapping:
      Stream #0:0 -> #0:0 (h264 (native) -> ppm (native))
    [Parsed_showinfo_1 @ 0x55] config in time_base: 1/15360, frame_rate: 60/1
    [Parsed_showinfo_4 @ 0x56] config in time_base: 1/15360, frame_rate: 60/1
    [Parsed_showinfo_1 @ 0x55] n:   0 pts:  30976 pts_time:2.01667 pos: 68 fmt:yuv420p sar:1/1 s:320x180 i:P
    [Parsed_showinfo_1 @ 0x55] n:   1 pts:  31232 pts_time:2.03333 pos: 69 fmt:yuv420p sar:1/1 s:320x180 i:P
    [Parsed_showinfo_4 @ 0x56] n:   0 pts:  31232 pts_time:2.03333 pos: 69 fmt:rgb24 sar:1/1 s:2x1 i:P
    )";
        for (const QByteArray& line : log.split('\n'))
            reader.readLine(line);
        for (const char byte : QByteArray("P6\n2 1\n255\n\xff\x00\x00\x00\xff\x00P6\n2 1\n255\n\x01", 29))
            reader.readPictures(QByteArray(1, byte));

        const auto reply = reader.reply();
        QVERIFY(reply);
        QCOMPARE(reply->clock, (VideoClock{1, 15360, 60, 1, 16016, false, true}));
        QCOMPARE(reply->frames, (QList<qint64>{30976, 31232}));
        QCOMPARE(reply->from, 30966); // 2.016016 s
        QCOMPARE(reply->to, 30976 + 15360);
        QCOMPARE(reply->pictures.size(), 1);
        QCOMPARE(reply->pictures.first().ticks, 31232);
        QCOMPARE(reply->pictures.first().sourceSize, QSize(320, 180));
        QCOMPARE(reply->pictures.first().image.pixel(1, 0), qRgb(0, 255, 0));
    }
};

QTEST_GUILESS_MAIN(tst_ViewerFrames)
#include "tst_ViewerFrames.moc"
