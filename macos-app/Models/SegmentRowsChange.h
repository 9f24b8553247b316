#pragma once

#include "Models/SegmentList.h"

/// How the rows of a list differ between two states of it that have the same detection: only what differs, so that
/// thousands of them can be kept.
struct SegmentRowsChange
{
    /// From this row on some rows go and others come in their place. `row` counts as the rows stand when all earlier
    /// stretches have been changed.
    struct Stretch
    {
        int row = 0;
        QList<EditableSegment> going;
        QList<EditableSegment> coming;

        [[nodiscard]] bool isNothing() const { return going == coming; }
        [[nodiscard]] int staying() const { return static_cast<int>(std::min(going.size(), coming.size())); }
    };
    /// The end before a join that is known for a segment of this index.
    struct JoinedEnd
    {
        qint64 index = 0;
        std::optional<double> before;
        std::optional<double> after;
    };

    QList<int> switchedRows;  ///< rows, ascending, whose box alone is switched; there are no stretches then
    QList<Stretch> stretches; ///< ascending
    QList<JoinedEnd> joinedEnds;
    QSet<qint64> switchedConfirmations; ///< indices of events that are confirmed in one of the two states alone

    [[nodiscard]] static SegmentRowsChange between(const SegmentList& before, const SegmentList& after);

    [[nodiscard]] bool isNothing() const;
    [[nodiscard]] SegmentRowsChange inverted() const;
    /// Both in one, where `next` changes the same rows once more. Whether it could be done.
    [[nodiscard]] bool absorb(const SegmentRowsChange& next);

    void applyTo(SegmentList& list) const;
    /// What is no row: ends before joins and confirmations.
    void applyBesideRows(SegmentList& list) const;
};
