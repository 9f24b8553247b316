#pragma once

#include "Frames/FramePlan.h"

/// Where a viewer may stand between the edges of a segment. Times are seconds.

/// The first row whose segment has that time inside.
[[nodiscard]] std::optional<int> rowAround(const QList<EditableSegment>& segments, double seconds);

[[nodiscard]] bool isInside(const EditableSegment& segment, double seconds);

/// One frame on or back; nothing when that leaves the segment or is not known yet.
[[nodiscard]] std::optional<double> oneFrameOn(FrameSearch& search, const EditableSegment& segment, double seconds,
                                               int direction);

/// The time from which a clip begins with the frame at which the planned place is, when that is known and leaves two
/// clips.
[[nodiscard]] std::optional<double> splitTime(const FramePlan& plan, const EditableSegment& segment,
                                              const VideoClock& clock);
