#include "Models/EditReapplying.h"

#include "Models/EventReview.h"
#include "Models/TimeText.h"

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

/// How long one picture is, and a little more for times that are rounded.
double pictureSeconds(const DetectorPayload& payload)
{
    constexpr double usualRate = 25;
    return 1 / (payload.fps > 0 ? payload.fps : usualRate) + 0.0015;
}

/// The row of what is nearest to a time within one picture; -1 where nothing is.
template<typename Item, typename Distance>
int nearestRow(const QList<Item>& items, double most, Distance distance)
{
    int found = -1;
    double nearest = most;
    for (int row = 0; row < items.size(); ++row) {
        if (const double away = distance(items[row]); away <= nearest) {
            nearest = away;
            found = row;
        }
    }
    return found;
}

/// The segments as they would be without any rejection.
QList<EditableSegment> withoutRejections(SegmentList list, const QList<EventState>& states)
{
    for (qsizetype row = 0; row < states.size(); ++row) {
        if (states[row] == EventState::rejected)
            std::ignore = restoreEvent(list.payload->events.at(row), list.segments, list.endsBeforeJoin,
                                       list.payload->keepSegments);
    }
    return list.segments;
}

class Reapplying final
{
public:
    Reapplying(const SegmentList& parsed, const SegmentList& edited)
        : m_result{parsed, 0, {}}
        , m_edited(edited)
        , m_states(eventStates(edited))
        , m_tolerance(pictureSeconds(*parsed.payload))
    {}

    ReappliedEdits run()
    {
        const QList<EditableSegment> segments = withoutRejections(m_edited, m_states);
        for (const KeepSegment& keep : m_edited.payload->keepSegments) {
            const auto segment = std::find_if(segments.begin(), segments.end(), [&](const EditableSegment& candidate) {
                return !candidate.isManual && candidate.index == keep.index;
            });
            if (segment == segments.end())
                continue;
            move(&EditableSegment::start, keep.start, segment->start);
            move(&EditableSegment::end, keep.end, segment->end);
        }
        decide(EventState::confirmed);
        decide(EventState::rejected);
        return m_result;
    }

private:
    /// The edge that the detector has put at `detected` once more goes to where it had been moved.
    void move(double EditableSegment::*edge, double detected, double moved)
    {
        if (moved == detected)
            return;
        QList<EditableSegment>& segments = m_result.list.segments;
        const int row = nearestRow(segments, m_tolerance,
                                   [&](const EditableSegment& segment) { return std::abs(segment.*edge - detected); });
        EditableSegment changed = segments.value(row);
        changed.*edge = moved;
        if (row < 0 || changed.duration() <= 0) {
            m_result.withoutPartner << u"改时间 "_s + formatShownTime(detected);
            return;
        }
        segments[row] = changed;
        ++m_result.count;
    }

    void decide(EventState state)
    {
        const QList<TransitionEvent>& parsed = m_result.list.payload->events;
        for (qsizetype row = 0; row < m_states.size(); ++row) {
            if (m_states[row] != state)
                continue;
            const TransitionEvent& event = m_edited.payload->events.at(row);
            const int partner = nearestRow(parsed, m_tolerance, [&](const TransitionEvent& candidate) {
                return std::max(std::abs(candidate.start - event.start), std::abs(candidate.end - event.end));
            });
            const auto make = state == EventState::rejected ? rejectEvents : confirmEvents;
            if (partner >= 0 && !make(m_result.list, {partner}))
                ++m_result.count;
            else
                m_result.withoutPartner << u"换场 %1（%2）"_s.arg(event.index).arg(formatShownTime(event.start));
        }
    }

    ReappliedEdits m_result;
    const SegmentList& m_edited;
    const QList<EventState> m_states;
    const double m_tolerance;
};

} // namespace

ReappliedEdits reapplyEdits(const SegmentList& parsed, const SegmentList& edited)
{
    if (!parsed.payload || !edited.payload)
        return {parsed, 0, {}};
    return Reapplying(parsed, edited).run();
}
