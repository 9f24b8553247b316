#pragma once

#include "Models/EditableSegment.h"

/// The rules of the segment table as functions over values.

enum class SegmentEdge {
    start,
    end
};

/// Moves one edge of a segment to the time that `text` names. The message for the user when the text is no time or
/// would turn the segment round; the segment is unchanged then.
[[nodiscard]] std::optional<QString> retimeSegment(EditableSegment& segment, SegmentEdge edge, const QString& text);

/// The row that "追加行" adds: enabled, one second long from the end of the last row, cut off at the payload's duration
/// when there is a payload, and a millisecond long when nothing is left before that.
[[nodiscard]] EditableSegment makeManualSegment(const QList<EditableSegment>& segments,
                                                const std::optional<DetectorPayload>& payload);

/// The indices of the keep segments that touch an event (within half a millisecond); when none does, those of the
/// nearest segment before it and of the nearest after it. Of equally near ones the earlier in the list is taken.
[[nodiscard]] QList<qint64> relatedKeepSegmentIndices(const TransitionEvent& event,
                                                      const QList<KeepSegment>& keepSegments);

/// What the box over all rows shows.
enum class MasterState {
    unavailable, ///< there are no rows
    off,
    mixed,
    on
};

[[nodiscard]] MasterState masterState(const QList<EditableSegment>& segments);

/// The line over the event table. Without a payload the rows are manual ones; nothing to count means that the window
/// waits for a first result.
[[nodiscard]] QString resultSummary(const std::optional<DetectorPayload>& payload,
                                    std::optional<qsizetype> segmentCount);
