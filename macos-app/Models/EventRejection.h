#pragma once

#include "Models/EditableSegment.h"

#include <QHash>

/// What the user makes of a transition that is none: the clip before it goes on to the end of the clip after it.

/// The ends that segments had before they were joined over an event, by the index of the segment that was switched off
/// for it. Only what makes restoring exact; whether an event is rejected is told by the segments alone.
using EndsBeforeJoin = QHash<qint64, double>;

/// Whether an enabled segment plays through the event although the detector proposed a cut there.
[[nodiscard]] bool isRejected(const TransitionEvent& event, const QList<EditableSegment>& segments,
                              const QList<KeepSegment>& keepSegments);

/// The same for all events of a list at once, in their order.
[[nodiscard]] QList<bool> rejections(const QList<TransitionEvent>& events, const QList<EditableSegment>& segments,
                                     const QList<KeepSegment>& keepSegments);

/// Gives the segment before the event the end of the one after it, which is switched off. Neighbours are found by
/// time; segments that are switched off within an enabled one do not count. Where there is nothing to join, why, in
/// words for the user; nothing is changed then.
[[nodiscard]] std::optional<QString> rejectEvent(const TransitionEvent& event, QList<EditableSegment>& segments,
                                                 EndsBeforeJoin& endsBeforeJoin);

/// Takes a rejection back: the segment that plays through the event ends before it again, and the one after it is
/// switched on and goes on to where the first one went. Why not, in words for the user, where no segment is left to
/// switch on.
[[nodiscard]] std::optional<QString> restoreEvent(const TransitionEvent& event, QList<EditableSegment>& segments,
                                                  EndsBeforeJoin& endsBeforeJoin,
                                                  const QList<KeepSegment>& keepSegments);
