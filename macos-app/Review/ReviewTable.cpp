#include "Review/ReviewTable.h"

#include <QDateTime>
#include <QHeaderView>
#include <QKeyEvent>

using namespace Qt::StringLiterals;

namespace {

/// After so long a rest a typed time begins anew.
constexpr qint64 restMilliseconds = 2000;

/// A key that is held for another one, as Shift for the colon.
bool isModifier(int key)
{
    return (key >= Qt::Key_Shift && key <= Qt::Key_ScrollLock) || key == Qt::Key_AltGr;
}

} // namespace

ReviewTable::ReviewTable(QWidget* parent)
    : QTableView(parent)
{
    setSelectionBehavior(SelectRows);
    setSelectionMode(ExtendedSelection);
    setEditTriggers(NoEditTriggers);
    setVerticalScrollMode(ScrollPerPixel);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn); // or the width that the pictures fill would come and go
    setShowGrid(false);
    setTabKeyNavigation(false);
    horizontalHeader()->hide();
    horizontalHeader()->setMinimumSectionSize(1);
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
}

bool ReviewTable::event(QEvent* event)
{
    if (event->type() != QEvent::InputMethodQuery)
        return QTableView::event(event);
    static_cast<QInputMethodQueryEvent*>(event)->setValue(Qt::ImEnabled, false); // digits are keys here
    return true;
}

void ReviewTable::keyPressEvent(QKeyEvent* event)
{
    if (isModifier(event->key()))
        return;
    const QString text = event->text();
    const bool isPlain = !(event->modifiers() & ~(Qt::KeypadModifier | Qt::ShiftModifier));
    const bool isOfTime = text.size() == 1 && (text[0].isDigit() || text == u":" || text == u"：" || text == u".");
    if (!isPlain || !isOfTime) {
        m_typed.clear();
        QTableView::keyPressEvent(event);
        return;
    }
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    if (now - m_typedAt > restMilliseconds)
        m_typed.clear();
    m_typedAt = now;
    m_typed += text == u"：" ? u":"_s : text;
    const auto seconds = typedSeconds(m_typed);
    if (seconds && onTimeTyped)
        onTimeTyped(*seconds);
}

/// Home and End mean rows here, as in a list of one column.
QModelIndex ReviewTable::moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers)
{
    const int last = model()->rowCount() - 1;
    if (last >= 0 && (action == MoveHome || action == MoveEnd))
        return model()->index(action == MoveHome ? 0 : last, 0);
    return QTableView::moveCursor(action, modifiers);
}

void ReviewTable::scrollContentsBy(int dx, int dy)
{
    QTableView::scrollContentsBy(dx, dy);
    if (onSight)
        onSight();
}

void ReviewTable::resizeEvent(QResizeEvent* event)
{
    QTableView::resizeEvent(event);
    if (onSight)
        onSight();
}

std::optional<double> typedSeconds(const QString& text)
{
    if (!text.contains(u':'))
        return std::nullopt;
    double seconds = 0;
    const QStringList pieces = text.split(u':', Qt::SkipEmptyParts);
    if (pieces.size() > 3)
        return std::nullopt;
    for (const QString& piece : pieces)
        seconds = seconds * 60 + piece.toDouble();
    return text.endsWith(u':') ? seconds * 60 : seconds;
}
