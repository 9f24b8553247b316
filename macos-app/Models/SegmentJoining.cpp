#include "Models/SegmentJoining.h"

#include "Models/SegmentEditing.h"

#include <algorithm>

using namespace Qt::StringLiterals;

std::optional<QString> joinSegments(SegmentList& list, const QList<int>& rows)
{
    QList<EditableSegment>& segments = list.segments;
    if (rows.size() < 2)
        return u"请选中至少两个片段再合并。"_s;
    const auto isUsable = [&](int row) { return segments[row].isEnabled && segments[row].duration() > 0; };
    if (!std::all_of(rows.begin(), rows.end(), isUsable))
        return u"只能合并已启用的片段。"_s;
    QList<int> byTime = rows;
    std::stable_sort(byTime.begin(), byTime.end(),
                     [&](int left, int right) { return segments[left].start < segments[right].start; });
    EditableSegment joined = segments[byTime.first()];
    for (const int row : std::as_const(byTime))
        joined.end = std::max(joined.end, segments[row].end);
    for (int row = 0; row < segments.size(); ++row) {
        const EditableSegment& other = segments[row];
        if (!rows.contains(row) && isUsable(row) && other.start < joined.end && other.end > joined.start)
            return u"选中的片段之间还有别的片段，没有合并。"_s;
    }
    segments[byTime.first()] = joined;
    QList<int> others = byTime.mid(1);
    std::sort(others.begin(), others.end(), std::greater());
    for (const int row : std::as_const(others)) {
        if (segments[row].isManual)
            segments.removeAt(row);
        else
            segments[row].isEnabled = false;
    }
    return std::nullopt;
}

std::optional<QString> splitSegment(SegmentList& list, int row, double seconds)
{
    EditableSegment& first = list.segments[row];
    if (!(seconds > first.start && seconds < first.end))
        return u"这个画面不在片段中间，不能在此切开。"_s;
    EditableSegment second = makeManualSegment(list.segments, list.payload);
    second.isEnabled = first.isEnabled;
    second.start = seconds;
    second.end = first.end;
    first.end = seconds;
    list.segments.insert(row + 1, second);
    return std::nullopt;
}
