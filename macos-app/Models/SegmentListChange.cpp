#include "Models/SegmentListChange.h"

#include <utility>

SegmentListChange::KeptList::KeptList(const SegmentList& list)
    : videoURL(list.videoURL)
    , payload(list.payload)
    , edits(SegmentRowsChange::between(detectedList(list), list))
{}

SegmentList SegmentListChange::KeptList::list() const
{
    SegmentList list = detectedList({videoURL, payload, {}, {}});
    edits.applyTo(list);
    return list;
}

SegmentListChange SegmentListChange::between(const SegmentList& before, const SegmentList& after)
{
    SegmentListChange change;
    change.m_change = SegmentRowsChange::between(before, after);
    return change;
}

SegmentListChange SegmentListChange::replacement(const SegmentList& before, const SegmentList& after)
{
    SegmentListChange change;
    change.m_change = Replacement(before, after);
    return change;
}

bool SegmentListChange::isNothing() const
{
    if (const auto* change = rows())
        return change->isNothing();
    const auto& [before, after] = std::get<Replacement>(m_change);
    return before.list() == after.list();
}

SegmentListChange SegmentListChange::inverted() const
{
    SegmentListChange change;
    if (const auto* made = rows()) {
        change.m_change = made->inverted();
    } else {
        const auto& [before, after] = std::get<Replacement>(m_change);
        change.m_change = Replacement(after, before);
    }
    return change;
}

bool SegmentListChange::absorb(const SegmentListChange& next)
{
    auto* change = std::get_if<SegmentRowsChange>(&m_change);
    if (change && next.rows())
        return change->absorb(*next.rows());
    if (change || next.rows())
        return false;
    std::get<Replacement>(m_change).second = std::get<Replacement>(next.m_change).second;
    return true;
}

void SegmentListChange::shareWith(DetectorPayload& payload) const
{
    const auto* lists = std::get_if<Replacement>(&m_change);
    if (!lists)
        return;
    for (const KeptList* kept : {&lists->first, &lists->second}) {
        if (!kept->payload)
            continue;
        if (kept->payload->events == payload.events)
            payload.events = kept->payload->events;
        if (kept->payload->keepSegments == payload.keepSegments)
            payload.keepSegments = kept->payload->keepSegments;
    }
}
