#include "Frames/CutFrames.h"

#include "Models/NumberText.h"
#include "Models/TimeText.h"

#include <QList>

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

namespace {

/// How far back from its end a clip is followed to know the numbers that its last frames get.
constexpr int framesFollowed = 6;

/// The microseconds that ffmpeg reads from the word that a job passes for that time.
qint64 wordMicroseconds(double seconds)
{
    const auto word = parseDecimal(formatSecondsArgument(std::min(seconds, longestVideoSeconds)));
    return std::llround(word.value_or(0) * 1000) * 1000;
}

/// The numbers that ffmpeg gives to a clip's frames before it encodes them: it counts in steps of the frame rate, fills
/// gaps by repeating a frame, leaves out one that comes too early for its step, and ends the file with the first number
/// that the duration no longer covers. This follows do_video_out() in release 5.1 of ffmpeg, whose arithmetic is that
/// of video_sync_process() since release 6.0, in its modes for a constant rate.
class FrameNumbering final
{
public:
    enum class Fate {
        written,
        leftOut,
        pastEnd
    };

    FrameNumbering(const VideoClock& clock, qint64 clipStartTicks, qint64 durationMicroseconds)
        : m_clock(clock)
        , m_clipStartTicks(clipStartTicks)
        , m_durationMicroseconds(durationMicroseconds)
    {}

    /// Joins in the middle, at a frame that is taken to get the number of its time.
    void joinAt(qint64 ticks)
    {
        m_next = std::llrint(position(ticks));
        m_isFirst = false;
    }

    Fate take(qint64 ticks)
    {
        const double at = position(ticks);
        double early = at - static_cast<double>(m_next);
        double due = early + 1;
        if (early < 0 && due > 0)
            early = 0;
        const bool isFirst = std::exchange(m_isFirst, false);
        if (isFirst && m_clock.hasOneStream && early >= 0.5) {
            m_next = std::llrint(at);
            due = 1;
            early = 0;
        }
        if (due < -1.1)
            return Fate::leftOut;
        const qint64 all = due > 1.1 ? std::llrint(due) : 1;
        const qint64 repeatsOfPrevious = !isFirst && early > 1.1 ? std::llrint(early - 0.6) : 0;
        m_next += repeatsOfPrevious;
        if (m_clock.isOver(m_durationMicroseconds, m_next))
            return Fate::pastEnd;
        m_next += all - repeatsOfPrevious;
        return Fate::written;
    }

private:
    /// Where a frame stands in steps of the frame rate, with the rounding of adjust_frame_pts_to_encoder_tb() in ffmpeg
    /// 5.1 on the way.
    [[nodiscard]] double position(qint64 ticks) const
    {
        const int log2 = std::bit_width(static_cast<quint64>(m_clock.rateNumerator)) - 1;
        const int extraBits = std::clamp(29 - log2, 0, 16);
        const qint64 fine =
            rescaled(ticks - m_clipStartTicks, m_clock.tickNumerator * (m_clock.rateNumerator << extraBits),
                     m_clock.rateDenominator * m_clock.tickDenominator);
        const double steps = static_cast<double>(fine) / static_cast<double>(1 << extraBits);
        return steps + static_cast<double>((steps > 0) - (steps < 0)) / (1 << 17);
    }

    const VideoClock& m_clock;
    qint64 m_clipStartTicks;
    qint64 m_durationMicroseconds;
    qint64 m_next = 0;
    bool m_isFirst = true;
};

/// The known frames from `first` on that end right before `limit`, at most `framesFollowed`; empty while unknown.
QList<qint64> framesUpTo(FrameSearch& search, qint64 first, qint64 limit)
{
    QList<qint64> frames;
    FrameAnswer frame = search.lastBefore(limit);
    while (frame.isKnown() && frame.ticks >= first && frames.size() < framesFollowed) {
        frames.prepend(frame.ticks);
        frame = search.preceding(frame);
    }
    return frame.state == FrameAnswer::State::unknown ? QList<qint64>() : frames;
}

void findEnd(FrameSearch& search, CutFrames& cut, FrameNumbering numbering, qint64 limit)
{
    const FrameAnswer beyond = search.firstFrom(limit);
    const QList<qint64> frames = framesUpTo(search, cut.first.ticks, limit);
    if (frames.isEmpty() || beyond.state == FrameAnswer::State::unknown)
        return;
    if (frames.first() != cut.first.ticks)
        numbering.joinAt(frames.first());
    cut.lastButOne = cut.last = noFrame;
    cut.after = beyond;
    for (const qint64 ticks : frames) {
        const auto fate = numbering.take(ticks);
        if (fate == FrameNumbering::Fate::written) {
            cut.lastButOne = cut.last;
            cut.last = {FrameAnswer::State::known, ticks};
        }
    }
    cut.after = cut.last.isKnown() ? search.following(cut.last) : cut.first;
}

void findSecond(FrameSearch& search, CutFrames& cut, FrameNumbering numbering, qint64 limit)
{
    numbering.take(cut.first.ticks);
    cut.second = search.following(cut.first);
    while (cut.second.isKnown() && cut.second.ticks < limit &&
           numbering.take(cut.second.ticks) == FrameNumbering::Fate::leftOut)
        cut.second = search.following(cut.second);
    const bool outside = cut.second.isKnown() && cut.last.isKnown() && cut.second.ticks > cut.last.ticks;
    if (outside || (cut.second.isKnown() && cut.second.ticks >= limit))
        cut.second = noFrame;
}

} // namespace

CutFrames cutFrames(FrameSearch& search, const EditableSegment& segment, CutEdges edges)
{
    const VideoClock& clock = search.clock();
    const qint64 start = wordMicroseconds(segment.start);
    const qint64 duration = wordMicroseconds(segment.duration());
    const qint64 startTicks = clock.ticksAt(start);

    CutFrames cut;
    cut.first = search.firstFrom(startTicks, edges == CutEdges::endOnly ? FrameUse::timeOnly : FrameUse::shown);
    if (edges != CutEdges::endOnly)
        cut.before = search.lastBefore(startTicks);
    if (cut.first.state == FrameAnswer::State::unknown) {
        // The end counts from the first frame; what is likely to be wanted there can be fetched meanwhile.
        if (edges != CutEdges::startOnly)
            static_cast<void>(search.firstFrom(clock.ticksAt(start + duration)));
        return cut;
    }
    if (cut.first.state == FrameAnswer::State::none) {
        cut.second = cut.lastButOne = cut.last = cut.after = noFrame;
        return cut;
    }
    const FrameNumbering numbering(clock, startTicks, duration);
    // The duration counts from the first frame; but a first frame long after the start has used up some of its numbers.
    const qint64 twoSteps = clock.ticksIn(2'000'000 * clock.rateDenominator / clock.rateNumerator);
    const qint64 limit =
        std::max(cut.first.ticks + 1, std::min(cut.first.ticks, startTicks + twoSteps) + clock.ticksIn(duration));
    if (edges != CutEdges::startOnly)
        findEnd(search, cut, numbering, limit);
    if (FrameNumbering(numbering).take(cut.first.ticks) != FrameNumbering::Fate::written) {
        cut.second = cut.lastButOne = cut.last = noFrame;
        cut.after = std::exchange(cut.first, noFrame);
    } else if (edges != CutEdges::endOnly) {
        findSecond(search, cut, numbering, limit);
    }
    return cut;
}

std::optional<double> edgeOneFrameOn(FrameSearch& search, const EditableSegment& segment, SegmentEdge edge,
                                     int direction)
{
    const CutFrames cut = cutFrames(search, segment);
    if (edge == SegmentEdge::start) {
        const FrameAnswer target = direction > 0 ? search.following(cut.first) : cut.before;
        if (!target.isKnown())
            return std::nullopt;
        return static_cast<double>(search.clock().millisecondsUpTo(target.ticks)) / 1000;
    }

    const FrameAnswer target = direction > 0 ? cut.after : cut.lastButOne;
    if (!target.isKnown() || !cut.first.isKnown())
        return std::nullopt;
    const FrameAnswer beyond = search.following(target);
    if (beyond.state == FrameAnswer::State::unknown)
        return std::nullopt;
    const double frameSeconds = 1 / search.clock().framesPerSecond();
    const double firstSeconds = search.clock().secondsAt(cut.first.ticks);
    const double shortest = search.clock().secondsAt(target.ticks) - firstSeconds;
    const double longest =
        beyond.isKnown() ? search.clock().secondsAt(beyond.ticks) - firstSeconds : shortest + frameSeconds;
    // The latest end that still leaves the next frame out. Ticks and numbers both have a say, and a clip that begins
    // between two frames may end a frame later than its length tells, so ends are tried: a later one never ends
    // earlier.
    const auto endsAt = [&](qint64 milliseconds) {
        EditableSegment moved = segment;
        moved.end = static_cast<double>(milliseconds) / 1000;
        return cutFrames(search, moved, CutEdges::endOnly).last;
    };
    auto end = static_cast<qint64>(std::floor((segment.start + shortest) * 1000));
    auto tooLate = static_cast<qint64>(std::floor((segment.start + longest + frameSeconds) * 1000)) + 2;
    while (tooLate - end > 1) {
        const qint64 middle = end + (tooLate - end) / 2;
        const FrameAnswer last = endsAt(middle);
        const bool isEarlyEnough = last == noFrame || (last.isKnown() && last.ticks <= target.ticks);
        (isEarlyEnough ? end : tooLate) = middle;
    }
    return endsAt(end) == target ? std::optional(static_cast<double>(end) / 1000) : std::nullopt;
}
