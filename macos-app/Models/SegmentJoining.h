#pragma once

#include "Models/SegmentList.h"

/// Segments made one, or two. Each returns why it cannot be done, in words for the user; the list is unchanged then.

/// The earliest of these rows goes on to the end of the latest; the others are switched off if they were detected and
/// go if they are manual. All must be enabled, and no other enabled segment may lie between them.
[[nodiscard]] std::optional<QString> joinSegments(SegmentList& list, const QList<int>& rows);

/// The row ends at `seconds`, and a manual row right below it goes on from there, since clips are numbered as the rows
/// stand.
[[nodiscard]] std::optional<QString> splitSegment(SegmentList& list, int row, double seconds);
