#include "RunOverview/JobTableView.h"

#include <QAction>
#include <QKeyEvent>

void JobTableView::copy()
{
    m_copyAction->trigger();
}

void JobTableView::keyPressEvent(QKeyEvent* event)
{
    if (event->matches(QKeySequence::Copy))
        copy();
    else
        QTableView::keyPressEvent(event);
}

QModelIndex JobTableView::moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers)
{
    const bool isHomeOrEnd = action == MoveHome || action == MoveEnd;
    return QTableView::moveCursor(action, isHomeOrEnd ? modifiers | Qt::ControlModifier : modifiers);
}
