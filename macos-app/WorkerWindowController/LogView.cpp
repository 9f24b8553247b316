#include "WorkerWindowController/LogView.h"

#include <QCoreApplication>
#include <QFontDatabase>
#include <QScrollBar>

#include <optional>

namespace {

constexpr int inset = 10;
/// What all logs together may take of one turn of the event loop: a quarter of a frame at 60 Hz.
constexpr qint64 allowanceMilliseconds = 4;
constexpr qint64 catchUpMilliseconds = 30;
/// Characters that are inserted between two looks at the clock, less what follows their last line break.
constexpr qsizetype portionSize = 4096;

/// The logs with text that waits, next one first.
QList<LogView*> waitingLogs;
/// When the allowance of this turn of the event loop ends; nothing while it is untouched.
std::optional<QDeadlineTimer> allowance;

} // namespace

LogView::LogView()
{
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setUndoRedoEnabled(false);
    setWordWrapMode(QTextOption::WrapAnywhere); // by words, one very long line would take minutes to lay out
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    document()->setDocumentMargin(inset);
    QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    fixed.setPixelSize(11);
    setFont(fixed);
}

LogView::~LogView()
{
    waitingLogs.removeOne(this);
}

void LogView::append(const QString& text)
{
    m_waiting += text;
    if (!waitingLogs.contains(this))
        waitingLogs.append(this);
    takeTurns();
}

void LogView::catchUp()
{
    if (waitingLogs.removeOne(this))
        insertUntil(QDeadlineTimer(catchUpMilliseconds));
    if (!m_waiting.isEmpty())
        waitingLogs.append(this);
}

void LogView::takeTurns()
{
    if (!allowance && !waitingLogs.isEmpty()) {
        allowance.emplace(allowanceMilliseconds, Qt::PreciseTimer);
        const auto beginNextTurn = [] {
            allowance.reset();
            takeTurns();
        };
        QMetaObject::invokeMethod(QCoreApplication::instance(), beginNextTurn, Qt::QueuedConnection);
    }
    while (!waitingLogs.isEmpty() && !allowance->hasExpired()) {
        LogView* log = waitingLogs.takeFirst();
        log->insertUntil(*allowance);
        if (!log->m_waiting.isEmpty())
            waitingLogs.append(log);
    }
}

/// At least one portion. It is one edit, because every edit lays out the end of the log anew.
void LogView::insertUntil(QDeadlineTimer deadline)
{
    const int anchor = textCursor().anchor();
    const int position = textCursor().position();
    QTextCursor end(document());
    end.movePosition(QTextCursor::End);
    end.beginEditBlock();
    do {
        const qsizetype lineBreak = m_waiting.lastIndexOf(u'\n', std::min(portionSize, m_waiting.size() - 1));
        const qsizetype length = lineBreak >= 0 ? lineBreak + 1 : std::min(portionSize, m_waiting.size());
        end.insertText(m_waiting.first(length));
        m_waiting.remove(0, length);
    } while (!m_waiting.isEmpty() && !deadline.hasExpired());
    end.endEditBlock();
    restoreSelection(anchor, position);
    verticalScrollBar()->setValue(verticalScrollBar()->maximum());
}

/// A selection or caret that stood at the very end has moved with the insertion.
void LogView::restoreSelection(int anchor, int position)
{
    QTextCursor cursor = textCursor();
    if (cursor.anchor() == anchor && cursor.position() == position)
        return;
    cursor.setPosition(anchor);
    cursor.setPosition(position, QTextCursor::KeepAnchor);
    setTextCursor(cursor);
}
