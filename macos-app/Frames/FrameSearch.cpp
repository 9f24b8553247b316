#include "Frames/FrameSearch.h"

#include <algorithm>

namespace {

/// How far around a place frames are asked for, in frames: enough to step a few times before asking again.
constexpr double framesAround = 9.5;
/// A gap without frames is searched in strides that grow by this factor.
constexpr int strideGrowth = 4;

} // namespace

FrameSearch::FrameSearch(const FrameIndex& index, const VideoClock& clock, double picturesAround)
    : m_index(index)
    , m_clock(clock)
    , m_frameSeconds(1 / std::clamp(clock.framesPerSecond(), 5.0, 240.0))
    , m_picturesAround(picturesAround)
{}

FrameAnswer FrameSearch::firstFrom(qint64 ticks, FrameUse use)
{
    const FrameAnswer answer = m_index.firstFrom(ticks);
    if (answer.state == FrameAnswer::State::unknown) {
        const double asked = m_clock.secondsAt(ticks);
        const double known = m_clock.secondsAt(answer.ticks);
        const double margin = framesAround * m_frameSeconds;
        const double pictures = m_picturesAround * m_frameSeconds;
        FrameNeed need = {answer.ticks == ticks ? known - margin : known, known + margin};
        if (use == FrameUse::shown) {
            need.picturesFrom = asked - pictures;
            need.picturesTo = known + pictures;
        }
        note(need);
    }
    return answer;
}

FrameAnswer FrameSearch::lastBefore(qint64 ticks)
{
    const FrameAnswer answer = m_index.lastBefore(ticks);
    if (answer.state == FrameAnswer::State::unknown) {
        const double asked = m_clock.secondsAt(ticks);
        const double known = m_clock.secondsAt(answer.ticks);
        const double margin = framesAround * m_frameSeconds;
        const double pictures = m_picturesAround * m_frameSeconds;
        note({known - std::max(margin, strideGrowth * (asked - known)), answer.ticks == ticks ? known + margin : known,
              known - pictures, asked + pictures});
    }
    return answer;
}

FrameAnswer FrameSearch::following(const FrameAnswer& frame)
{
    return frame.isKnown() ? firstFrom(frame.ticks + 1) : frame;
}

FrameAnswer FrameSearch::preceding(const FrameAnswer& frame)
{
    return frame.isKnown() ? lastBefore(frame.ticks) : frame;
}

FrameNeed FrameSearch::pictureNeed(const VideoClock& clock, qint64 ticks)
{
    const double at = clock.secondsAt(ticks);
    const double half = 0.5 / std::clamp(clock.framesPerSecond(), 5.0, 240.0);
    return {at, at + half, at - half, at + half, true};
}

void FrameSearch::note(const FrameNeed& need)
{
    if (!m_needs.contains(need))
        m_needs.append(need);
}
