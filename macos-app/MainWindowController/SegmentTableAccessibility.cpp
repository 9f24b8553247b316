#include "MainWindowController/SegmentTableAccessibility.h"

#include "MainWindowController/SegmentTableParts.h"

#include <QAccessibleWidget>
#include <QHash>
#include <QTableView>

namespace {

/// The framework owns the parts; they are made when asked for and go when their row has gone.
class SpokenTable final : public QAccessibleWidget, public QAccessibleTableInterface
{
public:
    explicit SpokenTable(QTableView* table)
        : QAccessibleWidget(table, QAccessible::Table)
        , m_table(table)
    {}
    SpokenTable(const SpokenTable&) = delete;
    SpokenTable& operator=(const SpokenTable&) = delete;
    ~SpokenTable() override
    {
        for (const QAccessible::Id part : m_cells.values() + m_headers.values())
            QAccessible::deleteAccessibleInterface(part);
    }

    void* interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::TableInterface ? static_cast<QAccessibleTableInterface*>(this)
                                                   : QAccessibleWidget::interface_cast(type);
    }
    [[nodiscard]] int childCount() const override { return (1 + rowCount()) * SpokenPart::columns; }
    [[nodiscard]] QAccessibleInterface* child(int index) const override
    {
        if (index < 0 || index >= childCount())
            return nullptr;
        const int row = index / SpokenPart::columns - 1;
        const int column = index % SpokenPart::columns - 1;
        return row < 0 || column < 0 ? header(index) : cellAt(row, column);
    }
    [[nodiscard]] int indexOfChild(const QAccessibleInterface* child) const override
    {
        const auto* part = dynamic_cast<const SpokenPart*>(child);
        return part && part->parent() == this ? part->place() : -1;
    }
    [[nodiscard]] QAccessibleInterface* childAt(int x, int y) const override
    {
        for (int place = 1; place < SpokenPart::columns; ++place) {
            if (header(place)->rect().contains(x, y))
                return header(place);
        }
        const QPoint position = m_table->viewport()->mapFromGlobal(QPoint(x, y));
        return m_table->viewport()->rect().contains(position) ? cell(m_table->indexAt(position)) : nullptr;
    }
    [[nodiscard]] QAccessibleInterface* focusChild() const override { return cell(m_table->currentIndex()); }

    [[nodiscard]] QAccessibleInterface* caption() const override { return nullptr; }
    [[nodiscard]] QAccessibleInterface* summary() const override { return nullptr; }
    [[nodiscard]] QAccessibleInterface* cellAt(int row, int column) const override
    {
        return cell(m_table->model()->index(row, column));
    }
    [[nodiscard]] int rowCount() const override { return m_table->model()->rowCount(); }
    [[nodiscard]] int columnCount() const override { return SegmentTableModel::columns; }
    [[nodiscard]] QString columnDescription(int column) const override
    {
        return m_table->model()->headerData(column, Qt::Horizontal).toString();
    }
    [[nodiscard]] QString rowDescription(int /*row*/) const override { return QString(); }

    [[nodiscard]] int selectedCellCount() const override
    {
        return static_cast<int>(m_table->selectionModel()->selectedIndexes().size());
    }
    [[nodiscard]] QList<QAccessibleInterface*> selectedCells() const override
    {
        QList<QAccessibleInterface*> cells;
        for (const QModelIndex& index : m_table->selectionModel()->selectedIndexes())
            cells += cell(index);
        return cells;
    }
    [[nodiscard]] int selectedColumnCount() const override { return static_cast<int>(selectedColumns().size()); }
    [[nodiscard]] int selectedRowCount() const override { return static_cast<int>(selectedRows().size()); }
    [[nodiscard]] QList<int> selectedColumns() const override
    {
        QList<int> columns;
        for (const QModelIndex& index : m_table->selectionModel()->selectedColumns())
            columns += index.column();
        return columns;
    }
    [[nodiscard]] QList<int> selectedRows() const override
    {
        QList<int> rows;
        for (const QModelIndex& index : m_table->selectionModel()->selectedRows())
            rows += index.row();
        return rows;
    }
    [[nodiscard]] bool isColumnSelected(int column) const override
    {
        return m_table->selectionModel()->isColumnSelected(column);
    }
    [[nodiscard]] bool isRowSelected(int row) const override { return m_table->selectionModel()->isRowSelected(row); }
    bool selectRow(int row) override { return select(row, QItemSelectionModel::Select); }
    bool unselectRow(int row) override { return select(row, QItemSelectionModel::Deselect); }
    bool selectColumn(int /*column*/) override { return false; }
    bool unselectColumn(int /*column*/) override { return false; }

    void modelChange(QAccessibleTableModelChangeEvent* change) override
    {
        if (change->modelChangeType() == QAccessibleTableModelChangeEvent::DataChanged)
            tellChanges(*change);
        else
            dropPartsThatHaveGone();
    }

private:
    [[nodiscard]] QAccessibleInterface* header(int place) const
    {
        QAccessible::Id& id = m_headers[place];
        if (!id)
            id = QAccessible::registerAccessibleInterface(makeSpokenHeader(m_table, place));
        return QAccessible::accessibleInterface(id);
    }

    [[nodiscard]] QAccessibleInterface* cell(const QModelIndex& index) const
    {
        if (!index.isValid())
            return nullptr;
        QAccessible::Id& id = m_cells[index];
        if (!id)
            id = QAccessible::registerAccessibleInterface(makeSpokenCell(m_table, index));
        return QAccessible::accessibleInterface(id);
    }

    bool select(int row, QItemSelectionModel::SelectionFlag flag)
    {
        const QModelIndex index = m_table->model()->index(row, 0);
        m_table->selectionModel()->select(index, flag | QItemSelectionModel::Rows);
        return index.isValid();
    }

    /// Qt tells of its own tables' data only that they changed, which no screen reader hears.
    void tellChanges(const QAccessibleTableModelChangeEvent& change) const
    {
        for (int row = change.firstRow(); row <= change.lastRow(); ++row) {
            for (int column = change.firstColumn(); column <= change.lastColumn(); ++column) {
                if (const QAccessible::Id id = m_cells.value(m_table->model()->index(row, column)))
                    tellChange(QAccessible::accessibleInterface(id));
            }
        }
    }

    static void tellChange(QAccessibleInterface* cell)
    {
        QAccessibleEvent renamed(cell, QAccessible::NameChanged);
        QAccessible::updateAccessibility(&renamed);
        if (!cell->state().checkable)
            return;
        QAccessible::State checked;
        checked.checked = true;
        QAccessibleStateChangeEvent toggled(cell, checked);
        QAccessible::updateAccessibility(&toggled);
    }

    void dropPartsThatHaveGone()
    {
        const auto hasGone = [](auto part) {
            if (QAccessible::accessibleInterface(part.value())->isValid())
                return false;
            QAccessible::deleteAccessibleInterface(part.value());
            return true;
        };
        m_cells.removeIf(hasGone);
        m_headers.removeIf(hasGone);
    }

    QTableView* m_table;
    mutable QHash<QPersistentModelIndex, QAccessible::Id> m_cells; // these indices follow the rows
    mutable QHash<int, QAccessible::Id> m_headers;                 // by place
};

} // namespace

QAccessibleInterface* speakSegmentTable(const QString& /*className*/, QObject* object)
{
    auto* table = qobject_cast<QTableView*>(object);
    return table && qobject_cast<SegmentTableModel*>(table->model()) ? new SpokenTable(table) : nullptr;
}
