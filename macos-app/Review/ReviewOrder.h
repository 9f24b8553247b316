#pragma once

#include "Models/EventReview.h"

/// What the window for checking knows of each transition, in the order of the events.
struct ReviewFacts
{
    ReviewFacts() = default;
    explicit ReviewFacts(const SegmentList& list);

    QList<TransitionEvent> events;
    QList<EventState> states;
    QList<int> ranks;
    QList<NeighbourLengths> neighbours;
};

enum class ReviewOrder {
    byTime,
    leastCertainFirst,
    shortestFirst, ///< of equally short ones that beside the shortest clip
    byKind
};

struct ReviewFilter
{
    bool isUncheckedOnly = false;
    std::optional<double> shortestNeighbourBelow; ///< seconds

    friend bool operator==(const ReviewFilter&, const ReviewFilter&) = default;
};

/// The events to be shown, as places in the list of events. Equal ones are in the order of time.
[[nodiscard]] QList<int> reviewedEvents(const ReviewFacts& facts, ReviewOrder order, const ReviewFilter& filter);

/// The events that pruning the `count` least certain ones is about: those among them that are unchecked.
[[nodiscard]] QList<int> leastCertainUnchecked(const ReviewFacts& facts, int count);
