#pragma once

#include "Models/SegmentList.h"

/// What the user has made of the transitions so far, and what can be made of several at once. Rows are places in the
/// list of events.

enum class EventState {
    unchecked,
    confirmed,
    rejected ///< derived from the segments, whatever was confirmed
};

/// In the order of the events.
[[nodiscard]] QList<EventState> eventStates(const SegmentList& list);

/// In the order of the events: 1 for the one of which the detector is most certain. Of equal scores the earlier event
/// comes first.
[[nodiscard]] QList<int> certaintyRanks(const QList<TransitionEvent>& events);

/// How long the clips beside an event are, in seconds; nothing where there is none, or where one plays through it.
struct NeighbourLengths
{
    std::optional<double> before;
    std::optional<double> after;
};

/// In the order of the events.
[[nodiscard]] QList<NeighbourLengths> neighbourLengths(const SegmentList& list);

/// Confirms these events; those that were rejected are transitions again. Why one of those could not be restored, in
/// words for the user; nothing is changed then.
[[nodiscard]] std::optional<QString> confirmEvents(SegmentList& list, const QList<int>& rows);

/// Rejects these events, of which those that are rejected already and those that have nothing to join stay as they are.
/// Why none was rejected, in words for the user.
[[nodiscard]] std::optional<QString> rejectEvents(SegmentList& list, const QList<int>& rows);
