#pragma once

#include "Frames/FrameSearch.h"
#include "Models/EditableSegment.h"
#include "Models/SegmentEditing.h"

#include <optional>

/// Which edges of a clip are asked for. The end counts from the first frame, so that one's time is always looked for.
enum class CutEdges {
    startOnly,
    endOnly,
    both
};

/// The frames around both edges of a clip, as ffmpeg cuts it: by the words after -ss and -t, by whole ticks, and by the
/// numbers that the encoder gives to frames. What lies in the clip is `first` to `last`.
struct CutFrames
{
    FrameAnswer before; ///< the last frame that is not in the clip any more
    FrameAnswer first;
    FrameAnswer second;
    FrameAnswer lastButOne;
    FrameAnswer last;
    FrameAnswer after; ///< the first frame that is not in the clip any more

    friend bool operator==(const CutFrames&, const CutFrames&) = default;
};

/// The frames at the edges of a segment's clip. What is not known yet is noted by the search; an empty clip has no
/// frame between `before` and `after`. Of an edge that is not asked for only `first` is known.
[[nodiscard]] CutFrames cutFrames(FrameSearch& search, const EditableSegment& segment, CutEdges edges = CutEdges::both);

/// The time to which an edge moves when the cut shall shift there by one frame (`direction` 1 or -1), in whole
/// milliseconds as they are typed; nothing when there is no such frame or when it is not known yet.
[[nodiscard]] std::optional<double> edgeOneFrameOn(FrameSearch& search, const EditableSegment& segment,
                                                   SegmentEdge edge, int direction);
