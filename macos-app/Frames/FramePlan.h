#pragma once

#include "Frames/CutFrames.h"
#include "Frames/ViewerContent.h"

/// One picture that the viewer shows: the part that it plays, its frame, and whether the split keeps that frame.
struct PlannedFrame
{
    enum class Role {
        lastKeptBefore,
        firstOfTransition,
        middleOfTransition,
        lastOfTransition,
        firstKeptAfter,
        lastButOneBeforeCut,
        lastBeforeCut,
        firstAfterCut,
        secondAfterCut,
        beforeStart,
        firstInside,
        secondInside,
        lastButOneInside,
        lastInside,
        afterEnd,
        twoBeforePlace,
        oneBeforePlace,
        atPlace,
        oneAfterPlace,
        twoAfterPlace
    };

    Role role;
    FrameAnswer frame;
    bool isKept = false;

    friend bool operator==(const PlannedFrame&, const PlannedFrame&) = default;
};

/// The pictures of a subject, and what is missing to name them all.
struct FramePlan
{
    QList<PlannedFrame> frames;
    QList<FrameNeed> needs; ///< the most important first
    QList<qint64> nearby;   ///< frames that the next steps will show
};

/// Four pictures for a hard cut, five for any other transition, three for either edge of a segment, none for anything
/// else. A place in a segment, in seconds, has five around it instead, of which the middle one begins at or after it.
[[nodiscard]] FramePlan planFrames(const ViewerContent& content, const ViewerSubject& subject,
                                   const std::optional<double>& place, const FrameIndex& index,
                                   const VideoClock& clock);
