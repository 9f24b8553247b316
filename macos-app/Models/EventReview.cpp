#include "Models/EventReview.h"

#include <algorithm>
#include <iterator>
#include <numeric>

using namespace Qt::StringLiterals;

namespace {

/// An edge of a clip, and how far the clip reaches beyond it.
struct Reach
{
    double edge;   ///< seconds
    double other;  ///< the clip's other edge
    double length; ///< of the clip
};

/// Sorts by the edge, and gives each the clip that reaches farthest so far.
template<typename Farther>
void keepFarthest(QList<Reach>& reaches, Farther isFarther)
{
    for (qsizetype i = 1; i < reaches.size(); ++i) {
        if (!isFarther(reaches[i].other, reaches[i - 1].other)) {
            reaches[i].other = reaches[i - 1].other;
            reaches[i].length = reaches[i - 1].length;
        }
    }
}

} // namespace

QList<EventState> eventStates(const SegmentList& list)
{
    QList<EventState> states;
    if (!list.payload)
        return states;
    const QList<TransitionEvent>& events = list.payload->events;
    const QList<bool> rejected = rejections(events, list.segments, list.payload->keepSegments);
    states.reserve(events.size());
    for (qsizetype row = 0; row < events.size(); ++row) {
        const bool isConfirmed = list.confirmedEvents.contains(events[row].index);
        states.append(rejected[row] ? EventState::rejected
                      : isConfirmed ? EventState::confirmed
                                    : EventState::unchecked);
    }
    return states;
}

QList<int> certaintyRanks(const QList<TransitionEvent>& events)
{
    QList<int> rows(events.size());
    std::iota(rows.begin(), rows.end(), 0);
    std::stable_sort(rows.begin(), rows.end(),
                     [&](int left, int right) { return events[left].score > events[right].score; });
    QList<int> ranks(events.size());
    for (qsizetype place = 0; place < rows.size(); ++place)
        ranks[rows[place]] = static_cast<int>(place) + 1;
    return ranks;
}

QList<NeighbourLengths> neighbourLengths(const SegmentList& list)
{
    QList<Reach> byStart;
    QList<Reach> byEnd;
    for (const EditableSegment& segment : list.segments) {
        if (!segment.isEnabled || segment.duration() <= 0)
            continue;
        byStart.append({segment.start, segment.end, segment.duration()});
        byEnd.append({segment.end, segment.start, segment.duration()});
    }
    std::sort(byStart.begin(), byStart.end(), [](const Reach& a, const Reach& b) { return a.edge < b.edge; });
    std::sort(byEnd.begin(), byEnd.end(), [](const Reach& a, const Reach& b) { return a.edge > b.edge; });
    keepFarthest(byStart, std::greater());
    keepFarthest(byEnd, std::less());

    QList<NeighbourLengths> lengths;
    for (const TransitionEvent& event : list.events()) {
        const auto before =
            std::partition_point(byStart.begin(), byStart.end(), [&](const Reach& r) { return r.edge < event.start; });
        const auto after =
            std::partition_point(byEnd.begin(), byEnd.end(), [&](const Reach& r) { return r.edge > event.end; });
        NeighbourLengths found;
        if (before != byStart.begin() && std::prev(before)->other <= event.end)
            found.before = std::prev(before)->length;
        if (after != byEnd.begin() && std::prev(after)->other >= event.start)
            found.after = std::prev(after)->length;
        lengths.append(found);
    }
    return lengths;
}

std::optional<QString> confirmEvents(SegmentList& list, const QList<int>& rows)
{
    const QList<EventState> states = eventStates(list);
    SegmentList changed = list;
    for (const int row : rows) {
        const TransitionEvent& event = list.payload->events.at(row);
        if (states[row] == EventState::rejected) {
            if (auto reason =
                    restoreEvent(event, changed.segments, changed.endsBeforeJoin, changed.payload->keepSegments))
                return reason;
        }
        changed.confirmedEvents.insert(event.index);
    }
    list = changed;
    return std::nullopt;
}

std::optional<QString> rejectEvents(SegmentList& list, const QList<int>& rows)
{
    const QList<EventState> states = eventStates(list);
    std::optional<QString> reason = u"没有可否决的换场。"_s;
    bool hasRejected = false;
    // From the last one on: what an earlier one joins is not yet switched off then, and need not be looked through.
    QList<int> latestFirst = rows;
    std::sort(latestFirst.begin(), latestFirst.end(), [&](int left, int right) {
        return list.payload->events.at(left).start > list.payload->events.at(right).start;
    });
    for (const int row : std::as_const(latestFirst)) {
        if (states[row] == EventState::rejected)
            continue;
        const TransitionEvent& event = list.payload->events.at(row);
        auto refusal = rejectEvent(event, list.segments, list.endsBeforeJoin);
        if (!refusal)
            list.confirmedEvents.remove(event.index);
        hasRejected = hasRejected || !refusal;
        if (refusal)
            reason = refusal;
    }
    return hasRejected ? std::nullopt : reason;
}
