#pragma once

#include "Models/SegmentList.h"

/// What one edit did to a list, small enough to be kept by the thousand: what went, what came in its place, or which
/// boxes were switched.
class SegmentListChange final
{
public:
    /// Between two states of one list: `after` has the video and the detection of `before`.
    [[nodiscard]] static SegmentListChange between(const SegmentList& before, const SegmentList& after);
    /// From one list to another one.
    [[nodiscard]] static SegmentListChange replacement(const SegmentList& before, const SegmentList& after);

    [[nodiscard]] bool isReplacement() const { return m_lists.has_value(); }
    [[nodiscard]] bool isNothing() const;
    [[nodiscard]] SegmentListChange inverted() const;
    /// Both in one, where this one was made before `next`: replacements, and changes of the same rows. Whether it could
    /// be done.
    [[nodiscard]] bool absorb(const SegmentListChange& next);

    /// The list that a replacement leads to.
    [[nodiscard]] const SegmentList& replacingList() const { return m_lists->second; }
    /// The rows, ascending, whose box alone is switched.
    [[nodiscard]] const QList<int>& switchedRows() const { return m_switchedRows; }
    /// From this row on `goingRows()` go and `comingRows()` come.
    [[nodiscard]] int firstRow() const { return m_firstRow; }
    [[nodiscard]] const QList<EditableSegment>& goingRows() const { return m_going; }
    [[nodiscard]] const QList<EditableSegment>& comingRows() const { return m_coming; }
    [[nodiscard]] const EndsBeforeJoin& comingEnds() const { return m_comingEnds; }

private:
    std::optional<std::pair<SegmentList, SegmentList>> m_lists;
    QList<int> m_switchedRows;
    int m_firstRow = 0;
    QList<EditableSegment> m_going;
    QList<EditableSegment> m_coming;
    EndsBeforeJoin m_goingEnds;
    EndsBeforeJoin m_comingEnds;
};
