#pragma once

#include "Models/EventRejection.h"
#include "Models/FileURL.h"

#include <QSet>

/// The list of segments together with what it was made from. Copies share what they have in common.
struct SegmentList
{
    std::optional<FileURL> videoURL;        ///< the video that is worked on
    std::optional<DetectorPayload> payload; ///< the last detection in it
    QList<EditableSegment> segments;        ///< in display order; without a payload all of them are manual ones
    EndsBeforeJoin endsBeforeJoin = {};
    QSet<qint64> confirmedEvents = {}; ///< indices of events that the user has looked at and agreed to

    [[nodiscard]] QList<TransitionEvent> events() const { return payload ? payload->events : QList<TransitionEvent>(); }

    friend bool operator==(const SegmentList&, const SegmentList&) = default;
};

/// The list as the detection proposed it, without edits.
[[nodiscard]] SegmentList detectedList(const SegmentList& list);

/// How many segments differ from what the detection proposed; manual ones and confirmed events count each. 0 for a list
/// without edits.
[[nodiscard]] qsizetype editCount(const SegmentList& list);
