#pragma once

#include "MainWindowController/SegmentTableModel.h"

#include <QAccessibleInterface>

class QModelIndex;
class QTableView;

/// What the segment table paints itself and a screen reader finds all the same: no object of its own.
class SpokenPart : public QAccessibleInterface
{
public:
    /// A table counts its row headers among its children even when they are hidden, and tells which cell has the focus
    /// by this count: row by row, each with its row header first, the column headers above them all.
    static constexpr int columns = 1 + SegmentTableModel::columns;

    explicit SpokenPart(QTableView* table)
        : m_table(table)
    {}

    /// Its number among the children of its parent.
    [[nodiscard]] virtual int place() const = 0;

    [[nodiscard]] QObject* object() const override { return nullptr; }
    [[nodiscard]] QWindow* window() const override;
    [[nodiscard]] QAccessibleInterface* parent() const override; ///< the table
    [[nodiscard]] int childCount() const override { return 0; }
    [[nodiscard]] QAccessibleInterface* child(int /*index*/) const override { return nullptr; }
    [[nodiscard]] QAccessibleInterface* childAt(int /*x*/, int /*y*/) const override { return nullptr; }
    [[nodiscard]] int indexOfChild(const QAccessibleInterface* /*child*/) const override { return -1; }
    void setText(QAccessible::Text /*kind*/, const QString& /*text*/) override {}

protected:
    QTableView* m_table;
};

/// The header of a column, or a hidden one of a row.
SpokenPart* makeSpokenHeader(QTableView* table, int place);
/// It follows its row, and is invalid once the row has gone. Its actions do what the mouse does there; the "✕" is a
/// button in it.
SpokenPart* makeSpokenCell(QTableView* table, const QModelIndex& index);
