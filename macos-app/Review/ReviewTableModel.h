#pragma once

#include "Review/ReviewOrder.h"

#include <QAbstractTableModel>

/// The transitions in the order chosen, one a row. A row that a decision takes out of the filter stays until another
/// order or filter is chosen, so that nothing moves below the user's hands.
class ReviewTableModel final : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column {
        transitionColumn, ///< its pictures are painted here; its text says the whole row
        timeColumn,
        kindColumn,
        sourceColumn,
        lengthColumn,
        beforeColumn,
        afterColumn,
        certaintyColumn,
        stateColumn,
        columns
    };

    using QAbstractTableModel::QAbstractTableModel;

    /// Other events are a reset.
    void setList(const SegmentList& list);
    void arrange(ReviewOrder order, const ReviewFilter& filter);
    /// Marks these events, which pruning would reject.
    void setMarkedEvents(const QList<int>& events);

    [[nodiscard]] const ReviewFacts& facts() const { return m_facts; }
    /// The places in the list of events, row by row.
    [[nodiscard]] const QList<int>& shownEvents() const { return m_shown; }
    [[nodiscard]] int eventAt(int row) const { return m_shown.value(row, -1); }
    [[nodiscard]] int rowOf(int event) const { return static_cast<int>(m_shown.indexOf(event)); }
    [[nodiscard]] EventState stateAt(int row) const { return m_facts.states.at(m_shown.at(row)); }
    [[nodiscard]] bool isMarked(int row) const { return m_marked.contains(m_shown.at(row)); }
    /// The next unchecked row after that one, beginning anew at the top; -1 when there is none.
    [[nodiscard]] int nextUncheckedRow(int row) const;
    /// The row of the first transition that ends after that time, else of the last one; -1 without rows.
    [[nodiscard]] int rowAtTime(double seconds) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    [[nodiscard]] QString cellText(int event, int column) const;
    [[nodiscard]] QString spokenRow(int event) const;
    void announceRows();

    ReviewFacts m_facts;
    ReviewOrder m_order = ReviewOrder::byTime;
    ReviewFilter m_filter;
    QList<int> m_shown;
    QSet<int> m_marked;
};
