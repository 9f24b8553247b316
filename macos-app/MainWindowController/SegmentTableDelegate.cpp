#include "MainWindowController/SegmentTableDelegate.h"

#include "Controls/Appearance.h"
#include "Controls/SegmentTimeField.h"
#include "MainWindowController/SegmentTableModel.h"

#include <QCoreApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QShortcut>
#include <QTableView>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr float manualTintAlpha = 0.14F;
constexpr QMargins fieldMargins(2, 4, 2, 4);
constexpr int deleteWidth = 16;
constexpr int deletePixelSize = 12;
constexpr int deleteRightMargin = 2;
constexpr int deleteLeftMargin = 4;
constexpr int checkBoxSlop = 8; // how far beside the box a click still counts

bool isManual(const QModelIndex& index)
{
    return index.data(SegmentTableModel::isManualRole).toBool();
}

/// Invalid for a detected row.
QColor rowTint(const QModelIndex& index)
{
    if (!isManual(index))
        return QColor();
    QColor tint = systemGreen();
    tint.setAlphaF(manualTintAlpha);
    return tint;
}

QRect fieldRect(const QRect& cell, const QModelIndex& index)
{
    QRect field = cell.marginsRemoved(fieldMargins);
    if (index.column() == SegmentTableModel::endColumn)
        field.setRight(SegmentTableDelegate::deleteRect(cell).left() - deleteLeftMargin - 1);
    return field;
}

QRect checkBoxRect(const QStyleOptionViewItem& option)
{
    const QStyle* style = option.widget->style();
    return QStyle::alignedRect(option.direction, Qt::AlignCenter,
                               QSize(style->pixelMetric(QStyle::PM_IndicatorWidth, &option, option.widget),
                                     style->pixelMetric(QStyle::PM_IndicatorHeight, &option, option.widget)),
                               option.rect);
}

void paintEnabledCell(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index)
{
    QStyleOptionViewItem box = option;
    box.rect = checkBoxRect(option);
    box.state.setFlag(QStyle::State_HasFocus, false);
    box.state.setFlag(QStyle::State_Selected, false);
    box.state |= index.data(Qt::CheckStateRole).toInt() == Qt::Checked ? QStyle::State_On : QStyle::State_Off;
    const QStyle* style = option.widget->style();
    style->drawPrimitive(QStyle::PE_IndicatorItemViewItemCheck, &box, painter, option.widget);
    if (option.state.testFlag(QStyle::State_HasFocus)) {
        QStyleOptionFocusRect focus;
        focus.QStyleOption::operator=(box);
        focus.rect = box.rect.adjusted(-3, -3, 3, 3);
        style->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, painter, option.widget);
    }
}

void paintTimeCell(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index)
{
    const QRect field = fieldRect(option.rect, index);
    SegmentTimeField::paintFrame(painter, field, option.palette, rowTint(index),
                                 option.state.testFlag(QStyle::State_HasFocus));
    painter->setFont(option.font);
    painter->setPen(option.palette.color(QPalette::Text));
    const int width = field.width() - 2 * SegmentTimeField::textInset;
    painter->drawText(field.adjusted(SegmentTimeField::textInset, 0, -SegmentTimeField::textInset, 0),
                      Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
                      option.fontMetrics.elidedText(option.text, Qt::ElideRight, width));
}

void paintDeleteMark(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index)
{
    QFont font;
    font.setPixelSize(deletePixelSize);
    painter->setFont(font);
    const QColor background = composed(rowTint(index), option.palette.color(QPalette::Base));
    painter->setPen(option.state.testFlag(QStyle::State_Selected) ? option.palette.color(QPalette::HighlightedText)
                                                                  : readableAgainst(systemRed(), background));
    painter->drawText(SegmentTableDelegate::deleteRect(option.rect), Qt::AlignCenter, u"✕"_s);
}

} // namespace

SegmentTableDelegate::SegmentTableDelegate(QTableView* table)
    : MonospacedDelegate(table)
    , m_table(table)
{
    // Not in editorEvent: the table is still busy with the click then and would forget that it is editing.
    connect(table, &QTableView::clicked, this, [this](const QModelIndex& index) {
        if (std::exchange(m_clickOpensField, false))
            m_table->edit(index);
        else if (std::exchange(m_deletePressed, false)) // the table keeps a release whose press closed the cell's field
            Q_EMIT deleteRequested(index.row());
    });
    for (const Qt::Key key : {Qt::Key_Delete, Qt::Key_Backspace}) { // the "✕" of those who have no mouse
        auto* shortcut = new QShortcut(key, table, nullptr, nullptr, Qt::WidgetShortcut);
        connect(shortcut, &QShortcut::activated, this, &SegmentTableDelegate::deleteCurrentRow);
    }
}

bool SegmentTableDelegate::hasDeleteMark(const QModelIndex& index)
{
    return index.column() == SegmentTableModel::endColumn && isManual(index);
}

QRect SegmentTableDelegate::deleteRect(const QRect& cell)
{
    return QRect(cell.right() + 1 - deleteRightMargin - deleteWidth, cell.top(), deleteWidth, cell.height());
}

void SegmentTableDelegate::setHoveredRow(std::optional<int> row)
{
    for (const std::optional<int> changed : {std::exchange(m_hoveredRow, row), row}) {
        if (changed)
            m_table->update(m_table->model()->index(*changed, SegmentTableModel::endColumn));
    }
}

void SegmentTableDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QStyleOptionViewItem cell = option;
    initStyleOption(&cell, index);
    if (const QColor tint = rowTint(index); tint.isValid())
        cell.backgroundBrush = tint;
    cell.widget->style()->drawPrimitive(QStyle::PE_PanelItemViewItem, &cell, painter, cell.widget);
    if (index.column() == SegmentTableModel::enabledColumn)
        paintEnabledCell(painter, cell, index);
    else
        paintTimeCell(painter, cell, index);
    if (m_hoveredRow == index.row() && hasDeleteMark(index))
        paintDeleteMark(painter, cell, index);
}

QWidget* SegmentTableDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem& /*option*/,
                                            const QModelIndex& index) const
{
    auto* field = new SegmentTimeField(parent);
    const bool isStart = index.column() == SegmentTableModel::startColumn;
    field->kind = isStart ? SegmentTimeField::Kind::start : SegmentTimeField::Kind::end;
    field->segmentRow = index.row();
    field->tint = rowTint(index);
    field->setObjectName(isStart ? u"segment-start"_s : u"segment-end"_s);
    field->setAccessibleName(isStart ? u"开始时间"_s : u"结束时间"_s);
    return field;
}

void SegmentTableDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const
{
    static_cast<SegmentTimeField*>(editor)->setText(index.data(Qt::EditRole).toString());
}

/// The field shows the old text before the model hears of the new one. So a refusal, whose alert takes the focus and
/// thereby commits the field again, finds nothing to refuse the second time.
void SegmentTableDelegate::setModelData(QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const
{
    const QString typed = static_cast<SegmentTimeField*>(editor)->text();
    setEditorData(editor, index);
    m_lastCommitWasRefused = !model->setData(index, typed, Qt::EditRole);
}

/// The space bar is no part of a time: it ends the edit and means what it means in the table.
bool SegmentTableDelegate::eventFilter(QObject* watched, QEvent* event)
{
    auto* field = qobject_cast<SegmentTimeField*>(watched);
    if (!field || event->type() != QEvent::KeyPress || static_cast<QKeyEvent*>(event)->key() != Qt::Key_Space)
        return MonospacedDelegate::eventFilter(watched, event);
    m_lastCommitWasRefused = false;
    Q_EMIT commitData(field);
    Q_EMIT closeEditor(field);
    if (!m_lastCommitWasRefused)
        QCoreApplication::sendEvent(m_table, event);
    return true;
}

/// All off when all are on, else all on. The selection stays, whatever follows the change.
void SegmentTableDelegate::toggleSelectedRows()
{
    QItemSelectionModel& selectionModel = *m_table->selectionModel();
    const QItemSelection selection = selectionModel.selection();
    const QModelIndex current = m_table->currentIndex();
    QModelIndexList boxes = selectionModel.selectedRows(SegmentTableModel::enabledColumn);
    if (!selectionModel.isRowSelected(current.row()))
        boxes = {current.siblingAtColumn(SegmentTableModel::enabledColumn)};
    static_cast<SegmentTableModel*>(m_table->model())->toggle(boxes);
    selectionModel.select(selection, QItemSelectionModel::ClearAndSelect);
}

void SegmentTableDelegate::deleteCurrentRow()
{
    if (const QModelIndex current = m_table->currentIndex(); isManual(current))
        Q_EMIT deleteRequested(current.row());
}

void SegmentTableDelegate::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                                                const QModelIndex& index) const
{
    editor->setGeometry(fieldRect(option.rect, index));
}

bool SegmentTableDelegate::editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                                       const QModelIndex& index)
{
    if (event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() != Qt::Key_Space)
            return false;
        if (key->modifiers() == Qt::ShiftModifier)
            toggleSelectedRows();
        else if (key->modifiers() == Qt::ControlModifier)
            m_table->selectionModel()->select(index, QItemSelectionModel::Toggle | QItemSelectionModel::Rows);
        return true; // never typed into a time
    }
    const bool isSecondClick = event->type() == QEvent::MouseButtonDblClick; // without a release of its own
    const bool isClick = isSecondClick || event->type() == QEvent::MouseButtonRelease;
    if (!isClick && event->type() != QEvent::MouseButtonPress)
        return false;
    const auto* mouse = static_cast<QMouseEvent*>(event);
    const QPoint position = mouse->position().toPoint();
    if (mouse->button() != Qt::LeftButton)
        return false;
    if (index.column() == SegmentTableModel::enabledColumn) {
        const QRect box = checkBoxRect(option).adjusted(-checkBoxSlop, -checkBoxSlop, checkBoxSlop, checkBoxSlop);
        if (!isClick || !box.contains(position))
            return false;
        const bool wasEnabled = index.data(Qt::CheckStateRole).toInt() == Qt::Checked;
        return model->setData(index, wasEnabled ? Qt::Unchecked : Qt::Checked, Qt::CheckStateRole);
    }
    if (isSecondClick)
        return false;
    const bool onDelete = hasDeleteMark(index) && deleteRect(option.rect).contains(position);
    if (!isClick) {
        m_deletePressed = onDelete;
        return onDelete;
    }
    if (std::exchange(m_deletePressed, false) && onDelete) {
        Q_EMIT deleteRequested(index.row());
        return true;
    }
    m_clickOpensField = mouse->modifiers() == Qt::NoModifier;
    return false;
}
