#pragma once

#include "Frames/FramePlan.h"

/// What stands under a picture that plays this part.
[[nodiscard]] QString captionOf(PlannedFrame::Role role);

/// What stands in the place of a picture when the video has no such frame. `isBeyondEnd`: the row itself lies behind
/// the video's end.
[[nodiscard]] QString absenceText(PlannedFrame::Role role, bool isBeyondEnd);
