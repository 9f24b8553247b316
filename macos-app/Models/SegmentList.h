#pragma once

#include "Models/EditableSegment.h"
#include "Models/FileURL.h"

/// The list of segments together with what it was made from. Copies share what they have in common.
struct SegmentList
{
    std::optional<FileURL> videoURL;        ///< the video that is worked on
    std::optional<DetectorPayload> payload; ///< the last detection in it
    QList<EditableSegment> segments;        ///< in display order; without a payload all of them are manual ones

    [[nodiscard]] QList<TransitionEvent> events() const { return payload ? payload->events : QList<TransitionEvent>(); }

    friend bool operator==(const SegmentList&, const SegmentList&) = default;
};
