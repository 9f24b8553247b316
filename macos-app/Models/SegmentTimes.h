#pragma once

#include "Models/SegmentList.h"

/// Times of segments as text, for the clipboard and spreadsheets: a line for each, start, tab, end.

[[nodiscard]] QString textOfTimes(const QList<EditableSegment>& segments);

/// Appends a manual row for each line that is not empty. Which line has no two times, in words for the user, where one
/// has not; the list is unchanged then.
[[nodiscard]] std::optional<QString> appendTimes(SegmentList& list, const QString& text);
