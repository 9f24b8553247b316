#include "Models/SegmentList.h"

qsizetype editCount(const SegmentList& list)
{
    const QList<EditableSegment> detected =
        list.payload ? buildEditableSegments(*list.payload) : QList<EditableSegment>();
    qsizetype count = 0;
    qsizetype next = 0;
    for (const EditableSegment& segment : list.segments) {
        if (segment.isManual)
            ++count;
        else if (next < detected.size())
            count += segment != detected[next++];
    }
    return count;
}
