#pragma once

#include "Models/EventRejection.h"
#include "Models/FileURL.h"

/// The list of segments together with what it was made from. Copies share what they have in common.
struct SegmentList
{
    std::optional<FileURL> videoURL;        ///< the video that is worked on
    std::optional<DetectorPayload> payload; ///< the last detection in it
    QList<EditableSegment> segments;        ///< in display order; without a payload all of them are manual ones
    EndsBeforeJoin endsBeforeJoin = {};

    [[nodiscard]] QList<TransitionEvent> events() const { return payload ? payload->events : QList<TransitionEvent>(); }

    friend bool operator==(const SegmentList&, const SegmentList&) = default;
};

/// The list as the detection proposed it, without edits.
[[nodiscard]] SegmentList detectedList(const SegmentList& list);

/// How many segments differ from what the detection proposed; manual ones count each. 0 for a list without edits.
[[nodiscard]] qsizetype editCount(const SegmentList& list);
