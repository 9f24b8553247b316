#include "Models/SegmentRowsChange.h"

#include <algorithm>
#include <utility>

namespace {

using Stretch = SegmentRowsChange::Stretch;
using Rows = QList<EditableSegment>;

/// The rows whose box was switched when nothing else differs.
std::optional<QList<int>> rowsOnlySwitched(const Rows& before, const Rows& after)
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
    rows.squeeze(); // they are kept for long
    return rows;
}

/// How many rows from `place` on must be left out, at most `most`, until `row` comes; 0 when it does not come.
qsizetype rowsBefore(const EditableSegment& row, const Rows& rows, qsizetype place, qsizetype most)
{
    for (qsizetype count = 1; count <= most && place + count < rows.size(); ++count) {
        if (rows[place + count] == row)
            return count;
    }
    return 0;
}

/// Finds rows that went or came anywhere as long as those beside them stayed; what it cannot tell counts as changed.
QList<Stretch> stretchesBetween(const Rows& before, const Rows& after)
{
    QList<Stretch> stretches;
    bool isOpen = false;
    for (qsizetype old = 0, now = 0; old < before.size() || now < after.size();) {
        if (old < before.size() && now < after.size() && before[old] == after[now]) {
            isOpen = false;
            ++old;
            ++now;
            continue;
        }
        if (!std::exchange(isOpen, true))
            stretches.append({static_cast<int>(now), {}, {}});
        const qsizetype surplus = (before.size() - old) - (after.size() - now);
        qsizetype going = 1;
        qsizetype coming = 1;
        if (old == before.size() || now == after.size()) {
            going = before.size() - old;
            coming = after.size() - now;
        } else if (const auto gone = rowsBefore(after[now], before, old, surplus)) {
            going = gone;
            coming = 0;
        } else if (const auto come = rowsBefore(before[old], after, now, -surplus)) {
            going = 0;
            coming = come;
        }
        stretches.last().going += before.mid(old, going);
        stretches.last().coming += after.mid(now, coming);
        old += going;
        now += coming;
    }
    return stretches;
}

QList<SegmentRowsChange::JoinedEnd> joinedEndsBetween(const EndsBeforeJoin& before, const EndsBeforeJoin& after)
{
    QList<SegmentRowsChange::JoinedEnd> ends;
    const auto find = [](const EndsBeforeJoin& known, qint64 index) {
        const auto end = known.constFind(index);
        return end == known.constEnd() ? std::nullopt : std::optional(*end);
    };
    if (before == after)
        return ends;
    for (auto end = before.constBegin(); end != before.constEnd(); ++end) {
        if (const auto later = find(after, end.key()); later != *end)
            ends.append({end.key(), *end, later});
    }
    for (auto end = after.constBegin(); end != after.constEnd(); ++end) {
        if (!before.contains(end.key()))
            ends.append({end.key(), std::nullopt, *end});
    }
    return ends;
}

} // namespace

SegmentRowsChange SegmentRowsChange::between(const SegmentList& before, const SegmentList& after)
{
    SegmentRowsChange change;
    change.joinedEnds = joinedEndsBetween(before.endsBeforeJoin, after.endsBeforeJoin);
    change.switchedConfirmations =
        (before.confirmedEvents - after.confirmedEvents) + (after.confirmedEvents - before.confirmedEvents);
    if (auto rows = rowsOnlySwitched(before.segments, after.segments))
        change.switchedRows = std::move(*rows);
    else
        change.stretches = stretchesBetween(before.segments, after.segments);
    return change;
}

bool SegmentRowsChange::isNothing() const
{
    return switchedRows.isEmpty() && joinedEnds.isEmpty() && switchedConfirmations.isEmpty() &&
           std::all_of(stretches.begin(), stretches.end(), [](const Stretch& stretch) { return stretch.isNothing(); });
}

SegmentRowsChange SegmentRowsChange::inverted() const
{
    SegmentRowsChange change = *this;
    qsizetype moved = 0; // by how much the earlier stretches have moved the rows
    for (Stretch& stretch : change.stretches) {
        stretch.row -= static_cast<int>(moved);
        moved += stretch.coming.size() - stretch.going.size();
        stretch.going.swap(stretch.coming);
    }
    for (JoinedEnd& end : change.joinedEnds)
        std::swap(end.before, end.after);
    return change;
}

bool SegmentRowsChange::absorb(const SegmentRowsChange& next)
{
    const auto isStretchAlone = [](const SegmentRowsChange& change) {
        return change.stretches.size() == 1 && change.joinedEnds.isEmpty() && change.switchedConfirmations.isEmpty();
    };
    const bool isSameStretch = isStretchAlone(*this) && isStretchAlone(next) &&
                               stretches[0].row == next.stretches[0].row &&
                               stretches[0].coming == next.stretches[0].going;
    if (isSameStretch)
        stretches[0].coming = next.stretches[0].coming;
    return isSameStretch;
}

void SegmentRowsChange::applyTo(SegmentList& list) const
{
    for (const int row : switchedRows)
        list.segments[row].isEnabled = !list.segments[row].isEnabled;
    for (const Stretch& stretch : stretches) {
        const qsizetype staying = stretch.staying();
        const qsizetype end = stretch.row + staying;
        if (stretch.going.size() > staying)
            list.segments.remove(end, stretch.going.size() - staying);
        else
            list.segments.insert(end, stretch.coming.size() - staying, EditableSegment());
        std::copy(stretch.coming.begin(), stretch.coming.end(), list.segments.begin() + stretch.row);
    }
    applyBesideRows(list);
}

void SegmentRowsChange::applyBesideRows(SegmentList& list) const
{
    EndsBeforeJoin& ends = list.endsBeforeJoin;
    for (const JoinedEnd& end : joinedEnds) {
        if (end.after)
            ends.insert(end.index, *end.after);
        else
            ends.remove(end.index);
    }
    for (const qint64 index : switchedConfirmations) {
        if (!list.confirmedEvents.remove(index))
            list.confirmedEvents.insert(index);
    }
}
