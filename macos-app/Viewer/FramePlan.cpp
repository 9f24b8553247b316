#include "Viewer/FramePlan.h"

#include <algorithm>

namespace {

using Role = PlannedFrame::Role;

/// A detector's times are rounded to milliseconds, so a frame may lie this little before the time that names it.
constexpr qint64 toleranceMicroseconds = 500;
constexpr double soonSeconds = 1;
/// How many steps of an edge are looked ahead.
constexpr int framesNearby = 3;

bool makesClip(const EditableSegment& segment)
{
    return segment.isEnabled && segment.duration() > 0;
}

struct TransitionFrames
{
    FrameAnswer first;
    FrameAnswer middle;
    FrameAnswer last;
};

/// The frames from the transition's start on and before its end; a hard cut has none.
TransitionFrames transitionFrames(FrameSearch& search, const TransitionEvent& event)
{
    const VideoClock& clock = search.clock();
    const qint64 start = microsecondsOf(event.start);
    const qint64 end = microsecondsOf(event.end);
    TransitionFrames found;
    found.first = search.firstFrom(clock.ticksAt(std::max<qint64>(start - toleranceMicroseconds, 0)));
    found.last = search.lastBefore(clock.ticksAt(std::max<qint64>(end - toleranceMicroseconds, 0)));
    found.middle = search.lastBefore(clock.ticksAt((start + end) / 2) + 1);
    const bool isEmpty = found.first.state == FrameAnswer::State::none ||
                         (found.first.isKnown() && found.last.isKnown() && found.last.ticks < found.first.ticks);
    if (isEmpty)
        return {noFrame, noFrame, noFrame};
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

FramePlan planTransition(const ViewerContent& content, const TransitionEvent& event, FrameSearch& search)
{
    const TransitionFrames inside = transitionFrames(search, event);
    const Neighbours clips = neighbours(content.segments, event);
    // Looking where a clip ends that goes on for long would decode another part of the video for nothing.
    const bool afterEndsSoon = clips.after && clips.after->end - event.end < soonSeconds;
    const CutFrames before = clipFrames(search, clips.before, CutEdges::endOnly);
    const CutFrames after = clipFrames(search, clips.after, afterEndsSoon ? CutEdges::both : CutEdges::startOnly);

    FrameAnswer lastKept = before.last;
    if (clips.before && clips.before->end > event.start && inside.first.isKnown())
        lastKept = search.preceding(inside.first); // the clip goes on into the transition
    FrameAnswer firstKept = after.first;
    if (clips.after && clips.after->start < event.end && inside.last.isKnown())
        firstKept = search.following(inside.last);

    const auto isKept = [&](const FrameAnswer& frame) {
        const bool isInBefore = isFrom(frame, before.first) && isFrom(before.last, frame);
        const bool isInAfter = isFrom(frame, after.first) && (!afterEndsSoon || isFrom(after.last, frame));
        return isInBefore || isInAfter;
    };
    FramePlan plan;
    plan.frames = {{Role::lastKeptBefore, lastKept, true},
                   {Role::firstOfTransition, inside.first, isKept(inside.first)},
                   {Role::middleOfTransition, inside.middle, isKept(inside.middle)},
                   {Role::lastOfTransition, inside.last, isKept(inside.last)},
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

} // namespace

FramePlan planFrames(const ViewerContent& content, const ViewerSubject& subject, const FrameIndex& index,
                     const VideoClock& clock)
{
    FrameSearch search(index, clock);
    FramePlan plan;
    if (subject.kind == ViewerSubject::Kind::transition && subject.row >= 0 && subject.row < content.events.size())
        plan = planTransition(content, content.events[subject.row], search);
    else if (subject.kind == ViewerSubject::Kind::segment && subject.row >= 0 && subject.row < content.segments.size())
        plan = planSegment(content.segments[subject.row], search);
    plan.needs = search.needs();
    return plan;
}
