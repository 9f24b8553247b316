#include "Viewer/PlaceInSegment.h"

#include <algorithm>

namespace {

std::optional<double> timeOf(const FrameAnswer& frame, const EditableSegment& segment, const VideoClock& clock)
{
    if (!frame.isKnown())
        return std::nullopt;
    const double seconds = static_cast<double>(clock.millisecondsUpTo(frame.ticks)) / 1000;
    return isInside(segment, seconds) ? std::optional(seconds) : std::nullopt;
}

} // namespace

std::optional<int> rowAround(const QList<EditableSegment>& segments, double seconds)
{
    const auto found = std::find_if(segments.begin(), segments.end(),
                                    [seconds](const EditableSegment& segment) { return isInside(segment, seconds); });
    return found == segments.end() ? std::nullopt : std::optional(static_cast<int>(found - segments.begin()));
}

bool isInside(const EditableSegment& segment, double seconds)
{
    return segment.start < seconds && seconds < segment.end;
}

std::optional<double> oneFrameOn(FrameSearch& search, const EditableSegment& segment, double seconds, int direction)
{
    const qint64 ticks = search.clock().ticksAt(microsecondsOf(seconds));
    const FrameAnswer next = direction > 0 ? search.following(search.firstFrom(ticks)) : search.lastBefore(ticks);
    return timeOf(next, segment, search.clock());
}

std::optional<double> splitTime(const FramePlan& plan, const EditableSegment& segment, const VideoClock& clock)
{
    const auto at = std::find_if(plan.frames.begin(), plan.frames.end(), [](const PlannedFrame& planned) {
        return planned.role == PlannedFrame::Role::atPlace;
    });
    return at == plan.frames.end() ? std::nullopt : timeOf(at->frame, segment, clock);
}
