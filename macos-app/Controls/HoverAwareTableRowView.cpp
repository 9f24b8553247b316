#include "Controls/HoverAwareTableRowView.h"

#include <QChildEvent>
#include <QEnterEvent>
#include <QScrollBar>
#include <QTableView>

#include <utility>

HoverAwareTableRowView::HoverAwareTableRowView(QTableView* table)
    : QObject(table)
    , m_table(table)
{
    QWidget* viewport = table->viewport();
    viewport->setMouseTracking(true);
    viewport->installEventFilter(this);
    connect(table->verticalScrollBar(), &QScrollBar::valueChanged, this, [this] { setPointer(m_pointer); });
    const QAbstractItemModel* model = table->model();
    // Queued: whoever changes the rows finishes first, and the table has laid them out.
    connect(model, &QAbstractItemModel::rowsInserted, this, &HoverAwareTableRowView::rowsChanged, Qt::QueuedConnection);
    connect(model, &QAbstractItemModel::rowsRemoved, this, &HoverAwareTableRowView::rowsChanged, Qt::QueuedConnection);
    connect(model, &QAbstractItemModel::modelReset, this, &HoverAwareTableRowView::rowsChanged, Qt::QueuedConnection);
}

bool HoverAwareTableRowView::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::ChildAdded: // the editor of a cell
        if (QObject* child = static_cast<QChildEvent*>(event)->child(); child->isWidgetType())
            child->installEventFilter(this);
        break;
    case QEvent::Enter:
    case QEvent::MouseMove:
    case QEvent::MouseButtonPress:
        if (event->isSinglePointEvent()) {
            const QPoint position = static_cast<QSinglePointEvent*>(event)->position().toPoint();
            setPointer(static_cast<QWidget*>(watched)->mapTo(m_table->viewport(), position));
        }
        break;
    case QEvent::Leave:
        if (watched == m_table->viewport())
            setPointer(std::nullopt);
        break;
    default:
        break;
    }
    return false;
}

void HoverAwareTableRowView::setPointer(std::optional<QPoint> position)
{
    m_pointer = position;
    reportRow(position && m_table->viewport()->rect().contains(*position) ? m_table->rowAt(position->y()) : -1);
}

void HoverAwareTableRowView::reportRow(int row)
{
    if (row == rowIndex)
        return;
    const int left = std::exchange(rowIndex, row);
    const auto notify = hoverChanged;
    if (!notify)
        return;
    if (left >= 0)
        notify(left, false);
    if (row >= 0)
        notify(row, true);
}

/// The same place may be another row now, so that the row under the pointer is reported anew.
void HoverAwareTableRowView::rowsChanged()
{
    reportRow(-1);
    setPointer(m_pointer);
}
