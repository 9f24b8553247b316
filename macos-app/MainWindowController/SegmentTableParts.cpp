#include "MainWindowController/SegmentTableParts.h"

#include "MainWindowController/SegmentTableDelegate.h"

#include <QHeaderView>
#include <QTableView>

using namespace Qt::StringLiterals;

namespace {

QRect globalRect(const QTableView& table, const QModelIndex& cell)
{
    return table.visualRect(cell).translated(table.viewport()->mapToGlobal(QPoint()));
}

bool isOutOfSight(const QTableView& table, const QModelIndex& cell)
{
    return !table.viewport()->rect().intersects(table.visualRect(cell));
}

class SpokenHeader final : public SpokenPart
{
public:
    SpokenHeader(QTableView* table, int place)
        : SpokenPart(table)
        , m_place(place)
        , m_column(place < columns ? place - 1 : -1)
    {}

    [[nodiscard]] int place() const override { return m_place; }
    [[nodiscard]] bool isValid() const override { return m_place < parent()->childCount(); }
    [[nodiscard]] QAccessible::Role role() const override
    {
        return m_column < 0 ? QAccessible::RowHeader : QAccessible::ColumnHeader;
    }
    [[nodiscard]] QAccessible::State state() const override
    {
        QAccessible::State state;
        state.invisible = m_column < 0;
        return state;
    }
    [[nodiscard]] QString text(QAccessible::Text kind) const override
    {
        return kind == QAccessible::Name ? parent()->tableInterface()->columnDescription(m_column) : QString();
    }
    [[nodiscard]] QRect rect() const override
    {
        if (m_column < 0)
            return QRect();
        const QHeaderView* header = m_table->horizontalHeader();
        const QPoint corner = header->mapToGlobal(QPoint(header->sectionViewportPosition(m_column), 0));
        return QRect(corner, QSize(header->sectionSize(m_column), header->height()));
    }

private:
    const int m_place;
    const int m_column; // -1: of a row
};

/// The "✕" in the end cell of a manual row.
class SpokenDeleteMark final : public SpokenPart, public QAccessibleActionInterface
{
public:
    SpokenDeleteMark(QTableView* table, const QPersistentModelIndex& index)
        : SpokenPart(table)
        , m_index(index)
    {}

    void* interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this) : nullptr;
    }
    [[nodiscard]] int place() const override { return 0; }
    [[nodiscard]] bool isValid() const override { return m_index.isValid(); }
    [[nodiscard]] QAccessibleInterface* parent() const override
    {
        return SpokenPart::parent()->tableInterface()->cellAt(m_index.row(), m_index.column());
    }
    [[nodiscard]] QAccessible::Role role() const override { return QAccessible::Button; }
    [[nodiscard]] QAccessible::State state() const override
    {
        QAccessible::State state;
        state.invisible = isOutOfSight(*m_table, m_index);
        return state;
    }
    [[nodiscard]] QString text(QAccessible::Text kind) const override
    {
        return kind == QAccessible::Name ? u"删除手工片段"_s : QString();
    }
    [[nodiscard]] QRect rect() const override
    {
        return SegmentTableDelegate::deleteRect(globalRect(*m_table, m_index));
    }

    [[nodiscard]] QStringList actionNames() const override { return {pressAction()}; }
    [[nodiscard]] QStringList keyBindingsForAction(const QString& /*action*/) const override { return {u"Delete"_s}; }
    void doAction(const QString& action) override
    {
        if (action != pressAction())
            return;
        auto* delegate = static_cast<SegmentTableDelegate*>(m_table->itemDelegate());
        const auto remove = [delegate, index = m_index] {
            if (index.isValid())
                Q_EMIT delegate->deleteRequested(index.row());
        };
        QMetaObject::invokeMethod(delegate, remove, Qt::QueuedConnection); // this object goes with the row
    }

private:
    const QPersistentModelIndex m_index;
};

class SpokenCell final : public SpokenPart, public QAccessibleTableCellInterface, public QAccessibleActionInterface
{
public:
    SpokenCell(QTableView* table, const QPersistentModelIndex& index)
        : SpokenPart(table)
        , m_index(index)
    {}
    SpokenCell(const SpokenCell&) = delete;
    SpokenCell& operator=(const SpokenCell&) = delete;
    ~SpokenCell() override
    {
        if (m_deleteMark)
            QAccessible::deleteAccessibleInterface(m_deleteMark);
    }

    void* interface_cast(QAccessible::InterfaceType type) override
    {
        if (type == QAccessible::TableCellInterface)
            return static_cast<QAccessibleTableCellInterface*>(this);
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this) : nullptr;
    }
    [[nodiscard]] int place() const override { return (1 + m_index.row()) * columns + 1 + m_index.column(); }
    [[nodiscard]] bool isValid() const override { return m_index.isValid(); }
    [[nodiscard]] QAccessible::Role role() const override { return QAccessible::Cell; }
    [[nodiscard]] QAccessible::State state() const override
    {
        QAccessible::State state;
        state.selectable = state.extSelectable = state.focusable = true;
        state.selected = isSelected();
        state.focused = m_table->currentIndex() == m_index;
        state.checkable = isEnabledCell();
        state.checked = isChecked();
        state.invisible = isOutOfSight(*m_table, m_index);
        return state;
    }
    [[nodiscard]] QString text(QAccessible::Text kind) const override
    {
        if (kind == QAccessible::Name)
            return m_index.data(isEnabledCell() ? Qt::AccessibleTextRole : Qt::DisplayRole).toString();
        return kind == QAccessible::Description ? m_index.data(Qt::AccessibleDescriptionRole).toString() : QString();
    }
    [[nodiscard]] QRect rect() const override { return globalRect(*m_table, m_index); }
    [[nodiscard]] int childCount() const override { return SegmentTableDelegate::hasDeleteMark(m_index) ? 1 : 0; }
    [[nodiscard]] QAccessibleInterface* child(int index) const override
    {
        if (index < 0 || index >= childCount())
            return nullptr;
        if (!m_deleteMark)
            m_deleteMark = QAccessible::registerAccessibleInterface(new SpokenDeleteMark(m_table, m_index));
        return QAccessible::accessibleInterface(m_deleteMark);
    }
    [[nodiscard]] QAccessibleInterface* childAt(int x, int y) const override
    {
        QAccessibleInterface* deleteMark = child(0);
        return deleteMark && deleteMark->rect().contains(x, y) ? deleteMark : nullptr;
    }
    [[nodiscard]] int indexOfChild(const QAccessibleInterface* deleteMark) const override
    {
        return deleteMark && deleteMark == child(0) ? 0 : -1;
    }

    [[nodiscard]] bool isSelected() const override { return m_table->selectionModel()->isSelected(m_index); }
    [[nodiscard]] QList<QAccessibleInterface*> columnHeaderCells() const override
    {
        return {parent()->child(1 + m_index.column())};
    }
    [[nodiscard]] QList<QAccessibleInterface*> rowHeaderCells() const override { return {}; } // they are hidden
    [[nodiscard]] int columnIndex() const override { return m_index.column(); }
    [[nodiscard]] int rowIndex() const override { return m_index.row(); }
    [[nodiscard]] int columnExtent() const override { return 1; }
    [[nodiscard]] int rowExtent() const override { return 1; }
    [[nodiscard]] QAccessibleInterface* table() const override { return parent(); }

    [[nodiscard]] QStringList actionNames() const override
    {
        return {isEnabledCell() ? toggleAction() : pressAction(), setFocusAction()};
    }
    [[nodiscard]] QString localizedActionDescription(const QString& action) const override
    {
        return action == toggleAction()  ? u"启用或停用这一片段"_s
               : action == pressAction() ? u"编辑这一时间"_s
                                         : QAccessibleActionInterface::localizedActionDescription(action);
    }
    [[nodiscard]] QStringList keyBindingsForAction(const QString& action) const override
    {
        if (action == setFocusAction())
            return {};
        return {isEnabledCell() ? u"Shift+Space"_s : u"F2"_s}; // the space bar alone shows the pictures
    }
    void doAction(const QString& action) override
    {
        if (!isValid() || !actionNames().contains(action))
            return;
        if (action == toggleAction()) {
            m_table->model()->setData(m_index, isChecked() ? Qt::Unchecked : Qt::Checked, Qt::CheckStateRole);
            return;
        }
        m_table->setFocus();
        m_table->setCurrentIndex(m_index);
        if (action == pressAction() && !m_table->isPersistentEditorOpen(m_index)) // true of any editor
            m_table->edit(m_index);
    }

private:
    [[nodiscard]] bool isEnabledCell() const { return m_index.column() == SegmentTableModel::enabledColumn; }
    [[nodiscard]] bool isChecked() const { return m_index.data(Qt::CheckStateRole).toInt() == Qt::Checked; }

    const QPersistentModelIndex m_index;
    mutable QAccessible::Id m_deleteMark = 0; // made when asked for
};

} // namespace

QWindow* SpokenPart::window() const
{
    return m_table->window()->windowHandle();
}

QAccessibleInterface* SpokenPart::parent() const
{
    return QAccessible::queryAccessibleInterface(m_table);
}

SpokenPart* makeSpokenHeader(QTableView* table, int place)
{
    return new SpokenHeader(table, place);
}

SpokenPart* makeSpokenCell(QTableView* table, const QModelIndex& index)
{
    return new SpokenCell(table, index);
}
