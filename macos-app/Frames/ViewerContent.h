#pragma once

#include "Models/CropParameters.h"
#include "Models/SegmentList.h"

#include <optional>

/// What there are pictures of: the values of the main window, at one moment.
struct ViewerContent
{
    [[nodiscard]] static ViewerContent of(const SegmentList& list, const std::optional<CropParameters>& crop = {});

    std::optional<FileURL> videoURL;
    std::optional<double> duration;        ///< seconds, as the detector reports it
    std::optional<double> framesPerSecond; ///< as the detector reports it, a first guess only
    std::optional<CropParameters> crop;
    QList<TransitionEvent> events;
    QList<EditableSegment> segments;
    QList<KeepSegment> keepSegments; ///< as detected: whether a transition was rejected is seen by them

    friend bool operator==(const ViewerContent&, const ViewerContent&) = default;
};

/// The row of a table that the viewer shows.
struct ViewerSubject
{
    enum class Kind {
        nothing,
        transition, ///< a row of the event table
        segment     ///< a row of the segment table
    };

    Kind kind = Kind::nothing;
    int row = -1;

    friend bool operator==(const ViewerSubject&, const ViewerSubject&) = default;
};
