#pragma once

#include "Models/DetectorPayload.h"

/// A row of the segment table: what the user enables, disables and retimes. Times are seconds; `end` may lie before
/// `start`, such a segment has no length.
struct EditableSegment
{
    qint64 index = 0;
    bool isEnabled = true;
    double start = 0;
    double end = 0;
    bool isManual = false;

    /// `end` - `start`, never below 0.
    [[nodiscard]] double duration() const;

    friend bool operator==(const EditableSegment&, const EditableSegment&) = default;
};

/// One enabled, detected segment for each keep segment of the payload, in its order.
[[nodiscard]] QList<EditableSegment> buildEditableSegments(const DetectorPayload& payload);
