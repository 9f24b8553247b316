#include "Review/ReviewOrder.h"

#include <algorithm>
#include <limits>
#include <tuple>

namespace {

double shortestNeighbour(const NeighbourLengths& lengths)
{
    constexpr double none = std::numeric_limits<double>::infinity();
    return std::min(lengths.before.value_or(none), lengths.after.value_or(none));
}

} // namespace

ReviewFacts::ReviewFacts(const SegmentList& list)
    : events(list.events())
    , states(eventStates(list))
    , ranks(certaintyRanks(events))
    , neighbours(neighbourLengths(list))
{}

QList<int> reviewedEvents(const ReviewFacts& facts, ReviewOrder order, const ReviewFilter& filter)
{
    QList<int> shown;
    for (int event = 0; event < facts.events.size(); ++event) {
        const bool isOpen = !filter.isUncheckedOnly || facts.states[event] == EventState::unchecked;
        const bool isBesideShort = !filter.shortestNeighbourBelow ||
                                   shortestNeighbour(facts.neighbours[event]) < *filter.shortestNeighbourBelow;
        if (isOpen && isBesideShort)
            shown.append(event);
    }
    std::stable_sort(shown.begin(), shown.end(), [&](int left, int right) {
        const TransitionEvent& one = facts.events[left];
        const TransitionEvent& other = facts.events[right];
        switch (order) {
        case ReviewOrder::byTime:
            break;
        case ReviewOrder::leastCertainFirst:
            return facts.ranks[left] > facts.ranks[right];
        case ReviewOrder::shortestFirst:
            return std::tuple(one.duration, shortestNeighbour(facts.neighbours[left]), one.start) <
                   std::tuple(other.duration, shortestNeighbour(facts.neighbours[right]), other.start);
        case ReviewOrder::byKind:
            return std::tie(one.type, one.start) < std::tie(other.type, other.start);
        }
        return one.start < other.start;
    });
    return shown;
}

QList<int> leastCertainUnchecked(const ReviewFacts& facts, int count)
{
    QList<int> found;
    for (int event = 0; event < facts.events.size(); ++event) {
        if (facts.ranks[event] > facts.events.size() - count && facts.states[event] == EventState::unchecked)
            found.append(event);
    }
    return found;
}
