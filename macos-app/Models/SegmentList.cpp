#include "Models/SegmentList.h"

SegmentList detectedList(const SegmentList& list)
{
    return {list.videoURL,
            list.payload,
            list.payload ? buildEditableSegments(*list.payload) : QList<EditableSegment>(),
            {}};
}

qsizetype editCount(const SegmentList& list)
{
    const QList<EditableSegment> detected = detectedList(list).segments;
    qsizetype count = list.confirmedEvents.size();
    qsizetype next = 0;
    for (const EditableSegment& segment : list.segments) {
        if (segment.isManual)
            ++count;
        else if (next < detected.size())
            count += segment != detected[next++];
    }
    return count;
}
