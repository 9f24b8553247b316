#pragma once

#include <QObject>
#include <QPoint>

#include <functional>
#include <optional>

class QTableView;

/// Tells which row of a table is under the pointer: one object for the whole table, which watches its viewport, the
/// fields in it included. The whole width of a row counts.
class HoverAwareTableRowView final : public QObject
{
    Q_OBJECT

public:
    /// The table is the parent and has its model already.
    explicit HoverAwareTableRowView(QTableView* table);

    int rowIndex = -1; ///< the row under the pointer; -1: none
    /// Called with a row and true when the pointer entered it, false when it left.
    std::function<void(int row, bool entered)> hoverChanged;

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void setPointer(std::optional<QPoint> position);
    void reportRow(int row);
    void rowsChanged();

    QTableView* m_table;
    std::optional<QPoint> m_pointer; // in the viewport; also tells the row when the rows move below it
};
