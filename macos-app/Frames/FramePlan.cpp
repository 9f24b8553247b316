#include "Frames/FramePlan.h"

#include <algorithm>

namespace {

using Role = PlannedFrame::Role;

constexpr qint64 toleranceMicroseconds = 500;
constexpr double soonSeconds = 1;
/// How many steps of an edge are looked ahead.
constexpr int framesNearby = 3;
/// A transition is not moved: no more pictures around a place than it shows.
constexpr double picturesByTransition = 2.2;

bool makesClip(const EditableSegment& segment)
{
    return segment.isEnabled && segment.duration() > 0;
}

/// The frames of a transition itself. A hard cut has none.
struct TransitionFrames
{
    FrameAnswer first;
    FrameAnswer middle;
    FrameAnswer last;
    bool isCut = false;
};

/// A detector's times are rounded to milliseconds, so a frame may lie this little before the time that names it.
qint64 ticksNamed(const VideoClock& clock, double seconds)
{
    return clock.ticksAt(std::max<qint64>(microsecondsOf(seconds) - toleranceMicroseconds, 0));
}

/// The frames from the transition's start on and before its end.
TransitionFrames transitionFrames(FrameSearch& search, const TransitionEvent& event)
{
    const VideoClock& clock = search.clock();
    const qint64 middle = (microsecondsOf(event.start) + microsecondsOf(event.end)) / 2;
    TransitionFrames found;
    found.first = search.firstFrom(ticksNamed(clock, event.start));
    found.last = search.lastBefore(ticksNamed(clock, event.end));
    found.middle = search.lastBefore(clock.ticksAt(middle) + 1);
    if (found.first == noFrame)
        return {noFrame, noFrame, noFrame};
    const bool isKnown = found.first.isKnown() && found.last.state != FrameAnswer::State::unknown;
    found.isCut = isKnown ? found.last == noFrame || found.last.ticks < found.first.ticks
                          : event.end - event.start < 1 / clock.framesPerSecond(); // very likely
    if (found.first.isKnown() && found.middle.isKnown())
        found.middle.ticks = std::max(found.middle.ticks, found.first.ticks);
    return found;
}

/// The clip that reaches nearest to a transition from before it, and the one from after it.
struct Neighbours
{
    const EditableSegment* before = nullptr;
    const EditableSegment* after = nullptr;
};

Neighbours neighbours(const QList<EditableSegment>& segments, const TransitionEvent& event)
{
    Neighbours found;
    for (const EditableSegment& segment : segments) {
        if (!makesClip(segment))
            continue;
        if (segment.start < event.start && (!found.before || segment.end > found.before->end))
            found.before = &segment;
        if (segment.end > event.end && (!found.after || segment.start < found.after->start))
            found.after = &segment;
    }
    return found;
}

/// The frames at the edges of a clip; without a clip none.
CutFrames clipFrames(FrameSearch& search, const EditableSegment* clip, CutEdges edges)
{
    return clip ? cutFrames(search, *clip, edges) : CutFrames{noFrame, noFrame, noFrame, noFrame, noFrame, noFrame};
}

bool isFrom(const FrameAnswer& frame, const FrameAnswer& first)
{
    return frame.isKnown() && first.isKnown() && frame.ticks >= first.ticks;
}

/// What is kept around a transition.
struct Surroundings
{
    Surroundings(FrameSearch& search, const QList<EditableSegment>& segments, const TransitionEvent& event)
        : clips(neighbours(segments, event))
        , afterEndsSoon(clips.after && clips.after->end - event.end < soonSeconds)
        , before(clipFrames(search, clips.before, CutEdges::endOnly))
        , after(clipFrames(search, clips.after, afterEndsSoon ? CutEdges::both : CutEdges::startOnly))
    {}

    [[nodiscard]] bool isKept(const FrameAnswer& frame) const
    {
        const bool isInBefore = isFrom(frame, before.first) && isFrom(before.last, frame);
        const bool isInAfter = isFrom(frame, after.first) && (!afterEndsSoon || isFrom(after.last, frame));
        return isInBefore || isInAfter;
    }

    Neighbours clips;
    bool afterEndsSoon; ///< looking where a clip ends that goes on for long would decode another part for nothing
    CutFrames before;
    CutFrames after;
};

/// The last two frames before a cut and the first two after it: of the clips, or where none ends or begins there, of
/// the video.
FramePlan planCut(const Surroundings& around, const TransitionEvent& event, FrameSearch& search)
{
    const bool endsBefore = around.clips.before && around.clips.before->end <= event.start;
    const bool startsAfter = around.clips.after && around.clips.after->start >= event.end;
    const FrameAnswer last =
        endsBefore ? around.before.last : search.lastBefore(ticksNamed(search.clock(), event.start));
    const FrameAnswer first =
        startsAfter ? around.after.first : search.firstFrom(ticksNamed(search.clock(), event.end));
    const FrameAnswer lastButOne = endsBefore ? around.before.lastButOne : search.preceding(last);
    const FrameAnswer second = startsAfter ? around.after.second : search.following(first);
    FramePlan plan;
    plan.frames = {{Role::lastButOneBeforeCut, lastButOne, around.isKept(lastButOne)},
                   {Role::lastBeforeCut, last, around.isKept(last)},
                   {Role::firstAfterCut, first, around.isKept(first)},
                   {Role::secondAfterCut, second, around.isKept(second)}};
    return plan;
}

FramePlan planTransition(const ViewerContent& content, const TransitionEvent& event, FrameSearch& search)
{
    const TransitionFrames inside = transitionFrames(search, event);
    const Surroundings around(search, content.segments, event);
    if (inside.isCut)
        return planCut(around, event, search);

    FrameAnswer lastKept = around.before.last;
    if (around.clips.before && around.clips.before->end > event.start && inside.first.isKnown())
        lastKept = search.preceding(inside.first); // the clip goes on into the transition
    FrameAnswer firstKept = around.after.first;
    if (around.clips.after && around.clips.after->start < event.end && inside.last.isKnown())
        firstKept = search.following(inside.last);
    FramePlan plan;
    plan.frames = {{Role::lastKeptBefore, lastKept, true},
                   {Role::firstOfTransition, inside.first, around.isKept(inside.first)},
                   {Role::middleOfTransition, inside.middle, around.isKept(inside.middle)},
                   {Role::lastOfTransition, inside.last, around.isKept(inside.last)},
                   {Role::firstKeptAfter, firstKept, true}};
    return plan;
}

/// The frames that come next when an edge is moved that way.
void addNearby(FrameSearch& search, FrameAnswer frame, FrameAnswer (FrameSearch::*next)(const FrameAnswer&),
               FramePlan& plan)
{
    for (int i = 0; i < framesNearby; ++i) {
        frame = (search.*next)(frame);
        if (frame.isKnown())
            plan.nearby.append(frame.ticks);
    }
}

FramePlan planSegment(const EditableSegment& segment, FrameSearch& search)
{
    const CutFrames cut = cutFrames(search, segment);
    FramePlan plan;
    plan.frames = {{Role::beforeStart, cut.before, false}, {Role::firstInside, cut.first, true},
                   {Role::secondInside, cut.second, true}, {Role::lastButOneInside, cut.lastButOne, true},
                   {Role::lastInside, cut.last, true},     {Role::afterEnd, cut.after, false}};
    addNearby(search, cut.before, &FrameSearch::preceding, plan);
    addNearby(search, cut.second, &FrameSearch::following, plan);
    addNearby(search, cut.lastButOne, &FrameSearch::preceding, plan);
    addNearby(search, cut.after, &FrameSearch::following, plan);
    return plan;
}

FramePlan planPlace(const EditableSegment& segment, double place, FrameSearch& search)
{
    const VideoClock& clock = search.clock();
    const FrameAnswer at = search.firstFrom(clock.ticksAt(microsecondsOf(place)));
    const FrameAnswer before = search.lastBefore(clock.ticksAt(microsecondsOf(place)));
    const FrameAnswer after = search.following(at);
    FramePlan plan;
    plan.frames = {{Role::twoBeforePlace, search.preceding(before)},
                   {Role::oneBeforePlace, before},
                   {Role::atPlace, at},
                   {Role::oneAfterPlace, after},
                   {Role::twoAfterPlace, search.following(after)}};
    const qint64 start = clock.ticksAt(microsecondsOf(segment.start));
    const qint64 end = clock.ticksAt(microsecondsOf(segment.end));
    for (PlannedFrame& planned : plan.frames)
        planned.isKept = planned.frame.ticks >= start && planned.frame.ticks < end;
    addNearby(search, plan.frames.first().frame, &FrameSearch::preceding, plan);
    addNearby(search, plan.frames.last().frame, &FrameSearch::following, plan);
    return plan;
}

} // namespace

FramePlan planFrames(const ViewerContent& content, const ViewerSubject& subject, const std::optional<double>& place,
                     const FrameIndex& index, const VideoClock& clock)
{
    const bool isTransition = subject.kind == ViewerSubject::Kind::transition;
    FrameSearch search(index, clock, isTransition ? picturesByTransition : FrameSearch::picturesByEdge);
    FramePlan plan;
    if (isTransition && subject.row >= 0 && subject.row < content.events.size())
        plan = planTransition(content, content.events[subject.row], search);
    else if (subject.kind == ViewerSubject::Kind::segment && subject.row >= 0 && subject.row < content.segments.size())
        plan = place ? planPlace(content.segments[subject.row], *place, search)
                     : planSegment(content.segments[subject.row], search);
    plan.needs = search.needs();
    return plan;
}
