#include "WorkerWindowController/LogView.h"

#include "WorkerWindowController/LogText.h"

#include <QAbstractTextDocumentLayout>
#include <QCoreApplication>
#include <QFontDatabase>
#include <QMimeData>
#include <QScrollBar>
#include <QWheelEvent>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int inset = 10;
/// What all logs together take in a turn of the event loop: a few milliseconds' work.
constexpr qsizetype charactersInTurn = 16384;
/// The logs with text that waits, next one first.
QList<LogView*> waitingLogs;
qsizetype charactersTaken = 0; ///< in this turn
bool nextTurnIsDue = false;

} // namespace

LogView::LogView()
{
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setUndoRedoEnabled(false);
    setWordWrapMode(QTextOption::WrapAnywhere); // a growing line that is wrapped by words may get narrower, which has
                                                // Qt look through the whole document
    QTextOption option = document()->defaultTextOption();
    option.setTextDirection(Qt::LeftToRight); // one name written the other way would turn its whole block
    document()->setDefaultTextOption(option);
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

void LogView::takeTurns()
{
    while (!waitingLogs.isEmpty() && charactersTaken < charactersInTurn) {
        LogView* log = waitingLogs.takeFirst();
        charactersTaken += log->insertPortion();
        if (!log->m_waiting.isEmpty())
            waitingLogs.append(log);
    }
    if (std::exchange(nextTurnIsDue, true))
        return;
    const auto beginNextTurn = [] {
        nextTurnIsDue = false;
        charactersTaken = 0;
        if (!waitingLogs.isEmpty())
            takeTurns();
    };
    QMetaObject::invokeMethod(QCoreApplication::instance(), beginNextTurn, Qt::QueuedConnection);
}

/// Returns its length.
qsizetype LogView::insertPortion()
{
    const qsizetype length = wholeCharacters(m_waiting, charactersInTurn);
    const int anchor = textCursor().anchor();
    const int position = textCursor().position();
    QTextCursor end(document());
    end.movePosition(QTextCursor::End);
    writeLogText(end, QStringView(m_waiting).first(length));
    m_waiting.remove(0, length);
    if (QTextCursor moved = textCursor(); moved.anchor() != anchor || moved.position() != position) {
        moved.setPosition(anchor); // it stood at the very end
        moved.setPosition(position, QTextCursor::KeepAnchor);
        setTextCursor(moved);
    }
    scrollToEnd();
    return length;
}

/// To move what is painted already, Qt would first lay out the way to the new top; the whole is painted anew instead.
void LogView::scrollToEnd()
{
    viewport()->setUpdatesEnabled(false);
    verticalScrollBar()->setValue(verticalScrollBar()->maximum());
    viewport()->setUpdatesEnabled(true);
}

QMimeData* LogView::createMimeDataFromSelection() const
{
    auto* copied = new QMimeData;
    copied->setText(readLogText(*document(), textCursor().selectionStart(), textCursor().selectionEnd()));
    return copied;
}

/// The end stays at the bottom, although another width wraps all lines anew.
void LogView::resizeEvent(QResizeEvent* event)
{
    const bool isAtEnd = verticalScrollBar()->value() == verticalScrollBar()->maximum();
    QPlainTextEdit::resizeEvent(event);
    if (event->size().width() != event->oldSize().width()) {
        countLogLines(document()->firstBlock());
        QAbstractTextDocumentLayout* layout = document()->documentLayout();
        Q_EMIT layout->documentSizeChanged(layout->documentSize());
    }
    if (isAtEnd)
        scrollToEnd();
}

/// With the control key the base class adds to the size of the font in points; ours has one in pixels.
void LogView::wheelEvent(QWheelEvent* event)
{
    if (event->modifiers().testFlag(Qt::ControlModifier))
        event->ignore();
    else
        QPlainTextEdit::wheelEvent(event);
}
