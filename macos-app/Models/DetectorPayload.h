#pragma once

#include <QList>
#include <QString>

#include <optional>

/// One transition as the detector reports it. Times are seconds from the start of the video; `type` and `source` are
/// the detector's own words and are shown unchanged.
struct TransitionEvent
{
    qint64 index = 0;
    QString type;
    double start = 0;
    double end = 0;
    double duration = 0;
    double score = 0;
    QString source;

    friend bool operator==(const TransitionEvent&, const TransitionEvent&) = default;
};

/// A stretch of video that the detector proposes to keep, in seconds. `duration` is the detector's and is not used.
struct KeepSegment
{
    qint64 index = 0;
    double start = 0;
    double end = 0;
    double duration = 0;

    friend bool operator==(const KeepSegment&, const KeepSegment&) = default;
};

/// The detector's whole result for one video.
struct DetectorPayload
{
    QString video;
    double fps = 0;
    double duration = 0;
    bool aggressive = false;
    std::optional<QString> fadeRemovalProfile;
    QList<TransitionEvent> events;
    QList<KeepSegment> keepSegments;

    friend bool operator==(const DetectorPayload&, const DetectorPayload&) = default;
};
