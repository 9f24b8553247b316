#pragma once

#include "Models/DetectorPayload.h"

#include <QAbstractTableModel>

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

    using QAbstractTableModel::QAbstractTableModel;

    void setEvents(const QList<TransitionEvent>& events);

    [[nodiscard]] int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    QList<TransitionEvent> m_events;
};
