#include "Models/SegmentListChange.h"

#include <algorithm>
#include <utility>

namespace {

/// The rows whose box was switched when nothing else differs.
std::optional<QList<int>> rowsOnlySwitched(const QList<EditableSegment>& before, const QList<EditableSegment>& after)
{
    if (before.size() != after.size())
        return std::nullopt;
    QList<int> rows;
    for (qsizetype row = 0; row < before.size(); ++row) {
        EditableSegment switched = before[row];
        switched.isEnabled = after[row].isEnabled;
        if (switched != after[row])
            return std::nullopt;
        if (switched != before[row])
            rows.append(static_cast<int>(row));
    }
    return rows;
}

} // namespace

SegmentListChange SegmentListChange::between(const SegmentList& before, const SegmentList& after)
{
    SegmentListChange change;
    change.m_goingEnds = before.endsBeforeJoin;
    change.m_comingEnds = after.endsBeforeJoin;
    const auto& old = before.segments;
    const auto& now = after.segments;
    if (auto rows = rowsOnlySwitched(old, now)) {
        change.m_switchedRows = std::move(*rows);
        return change;
    }
    const qsizetype shorter = std::min(old.size(), now.size());
    qsizetype first = 0;
    while (first < shorter && old[first] == now[first])
        ++first;
    qsizetype same = 0; // at the end
    while (same < shorter - first && old[old.size() - 1 - same] == now[now.size() - 1 - same])
        ++same;
    change.m_firstRow = static_cast<int>(first);
    change.m_going = old.mid(first, old.size() - same - first);
    change.m_coming = now.mid(first, now.size() - same - first);
    return change;
}

SegmentListChange SegmentListChange::replacement(const SegmentList& before, const SegmentList& after)
{
    SegmentListChange change;
    change.m_lists.emplace(before, after);
    return change;
}

bool SegmentListChange::isNothing() const
{
    if (m_lists)
        return m_lists->first == m_lists->second;
    return m_switchedRows.isEmpty() && m_going == m_coming && m_goingEnds == m_comingEnds;
}

SegmentListChange SegmentListChange::inverted() const
{
    SegmentListChange change = *this;
    if (change.m_lists)
        std::swap(change.m_lists->first, change.m_lists->second);
    change.m_going.swap(change.m_coming);
    change.m_goingEnds.swap(change.m_comingEnds);
    return change;
}

bool SegmentListChange::absorb(const SegmentListChange& next)
{
    if (m_lists && next.m_lists) {
        m_lists->second = next.m_lists->second;
        return true;
    }
    const bool sameRows = m_switchedRows.isEmpty() && next.m_switchedRows.isEmpty() && m_firstRow == next.m_firstRow &&
                          !m_coming.isEmpty() && m_coming == next.m_going;
    if (m_lists || next.m_lists || !sameRows)
        return false;
    m_coming = next.m_coming;
    m_comingEnds = next.m_comingEnds;
    return true;
}
