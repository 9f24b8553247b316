#include "Models/EditableSegment.h"

#include "Models/NumberText.h"

double EditableSegment::duration() const
{
    return clampedToZero(end - start);
}

QList<EditableSegment> buildEditableSegments(const DetectorPayload& payload)
{
    QList<EditableSegment> segments;
    segments.reserve(payload.keepSegments.size());
    for (const KeepSegment& keep : payload.keepSegments)
        segments.append(EditableSegment{keep.index, true, keep.start, keep.end, false});
    return segments;
}
