#pragma once

#include <QAbstractTableModel>
#include <QHash>

class SegmentListEditor;

/// The transitions of a detection, one a row.
class EventTableModel final : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column {
        indexColumn,
        typeColumn,
        startColumn,
        endColumn,
        durationColumn,
        sourceColumn,
        columns
    };

    /// Shows the events that belong to that list, which lives longer.
    EventTableModel(SegmentListEditor* list, QObject* parent);

    [[nodiscard]] int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    [[nodiscard]] bool isRejectedRow(int row) const;

    SegmentListEditor* m_list;
    mutable QHash<int, bool> m_isRejected; ///< of the rows that were asked for since the last change
};
