#include "WorkerWindowController/LogView.h"

#include "WorkerWindowController/LogLayout.h"

#include <QCoreApplication>
#include <QFontDatabase>
#include <QMouseEvent>
#include <QScrollBar>
#include <QTextLayout>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr int inset = 10;
/// What all logs together may take of one turn of the event loop: a quarter of a frame at 60 Hz.
constexpr qint64 allowanceMilliseconds = 4;
constexpr qint64 catchUpMilliseconds = 30;
/// Characters that are inserted between two looks at the clock, less what follows their last line break.
constexpr qsizetype portionSize = 16384;
/// A block begins with the first line after so many characters, and after so many lines where they are seen at once:
/// what is seen of a block is laid out as a whole.
constexpr qsizetype charactersInBlock = 16384;
constexpr qsizetype linesInSeenBlock = 16;

/// The logs with text that waits, next one first.
QList<LogView*> waitingLogs;
/// When the allowance of this turn of the event loop ends; nothing while it is untouched.
std::optional<QDeadlineTimer> allowance;

QString withPlainLineBreaks(QString text)
{
    return text.replace(u"\r\n"_s, u"\n"_s).replace(u'\r', u'\n').replace(QChar(QChar::ParagraphSeparator), u'\n');
}

/// The line break before so many last lines of the text; -1 if it has fewer.
qsizetype breakBeforeLastLines(QStringView text, int count)
{
    qsizetype lineBreak = text.size();
    for (; count > 0 && lineBreak > 0; --count)
        lineBreak = text.lastIndexOf(u'\n', lineBreak - 1);
    return lineBreak;
}

/// The text with those of its line breaks that stay within a block turned into line separators, to be added to this
/// block. From `seenFrom` on it is seen at once.
QString dividedIntoBlocks(QString text, qsizetype seenFrom, const QTextBlock& last)
{
    qsizetype lines = LogLayout::linesIn(last);
    qsizetype blockStart = -last.length();
    for (qsizetype i = text.indexOf(u'\n'); i >= 0; i = text.indexOf(u'\n', i + 1)) {
        const bool isSeen = i >= seenFrom;
        if (i + 1 - blockStart < charactersInBlock && (!isSeen || lines < linesInSeenBlock)) {
            text[i] = QChar::LineSeparator;
            ++lines;
        } else {
            lines = 1;
            blockStart = i + 1;
        }
    }
    return text;
}

/// The line of the log, wrapped or not, in which this position lies, with its line break.
QTextCursor lineAround(QTextCursor cursor)
{
    const QString text = cursor.block().text();
    const qsizetype within = cursor.positionInBlock();
    const qsizetype start = within > 0 ? text.lastIndexOf(QChar::LineSeparator, within - 1) + 1 : 0;
    const qsizetype end = text.indexOf(QChar::LineSeparator, within);
    cursor.setPosition(cursor.block().position() + int(start));
    cursor.movePosition(QTextCursor::NextCharacter, QTextCursor::KeepAnchor,
                        int((end < 0 ? text.size() : end) - start + 1));
    return cursor;
}

} // namespace

LogView::LogView()
{
    auto* log = new QTextDocument(this);
    m_layout = new LogLayout(log);
    m_layout->setPaintDevice(viewport());
    log->setDocumentLayout(m_layout);
    setDocument(log);
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setUndoRedoEnabled(false);
    setWordWrapMode(QTextOption::WrapAnywhere); // by words, one very long line would take minutes to lay out
    QTextOption option = log->defaultTextOption();
    option.setTextDirection(Qt::LeftToRight); // one name written the other way would turn its whole block
    log->setDefaultTextOption(option);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    log->setDocumentMargin(inset);
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
    m_waiting += withPlainLineBreaks(text);
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
    const QTextBlock lastBefore = end.block();
    int seenPosition = 0;
    const int seenLines = viewport()->height() / fontMetrics().lineSpacing() + 1;
    const qsizetype nearEnd = std::max<qsizetype>(0, m_waiting.size() - portionSize);
    qsizetype seenFrom = nearEnd + breakBeforeLastLines(QStringView(m_waiting).sliced(nearEnd), seenLines);
    bool isLast = false;
    lastBefore.layout()->setCacheEnabled(false);
    end.beginEditBlock();
    do {
        qsizetype length = m_waiting.size();
        if (length > portionSize) {
            const qsizetype lineBreak = m_waiting.lastIndexOf(u'\n', portionSize);
            length = lineBreak >= 0 ? lineBreak + 1 : portionSize;
        }
        isLast = length == m_waiting.size() || deadline.hasExpired();
        const QString portion = m_waiting.first(length);
        if (isLast) {
            seenFrom = breakBeforeLastLines(portion, seenLines);
            seenPosition = end.position() + int(seenFrom) + 1;
        }
        end.insertText(dividedIntoBlocks(portion, seenFrom, end.block()));
        m_waiting.remove(0, length);
        seenFrom -= length;
    } while (!isLast);
    prepareForPainting(document()->findBlock(seenPosition));
    end.endEditBlock();
    restoreSelection(anchor, position);
    scrollToEnd();
    forgetWhatLeftTheView(lastBefore);
}

/// A block drops its glyphs once it is laid out, and every look at a format is a search in the document, the longer the
/// log, the longer. What is painted at once keeps its glyphs, and the presence of a format of the layout's own, even
/// for no character, makes it look each format up but once.
void LogView::prepareForPainting(QTextBlock block)
{
    for (; block.isValid(); block = block.next()) {
        block.layout()->setCacheEnabled(true);
        if (block.layout()->formats().isEmpty())
            block.layout()->setFormats({{0, 0, {}}});
    }
}

/// Blocks before this one that were prepared and that the text has pushed out of sight. They are laid out anew when
/// they are scrolled to.
void LogView::forgetWhatLeftTheView(const QTextBlock& last)
{
    const QTextBlock firstVisible = firstVisibleBlock();
    for (QTextBlock block = last.previous(); block.isValid() && block.layout()->cacheEnabled();
         block = block.previous()) {
        if (block < firstVisible) {
            block.layout()->setCacheEnabled(false);
            block.layout()->setText({}); // the text stays with the document
        }
    }
}

/// To move what is painted already, the way to the new top would be laid out first; the whole is painted anew instead.
void LogView::scrollToEnd()
{
    viewport()->setUpdatesEnabled(false);
    verticalScrollBar()->setValue(verticalScrollBar()->maximum());
    viewport()->setUpdatesEnabled(true);
}

/// The end stays at the bottom, or the same text at the top, although another width wraps all lines anew.
void LogView::resizeEvent(QResizeEvent* event)
{
    QScrollBar* bar = verticalScrollBar();
    const bool isAtEnd = bar->value() == bar->maximum();
    const QTextBlock block = firstVisibleBlock();
    const int topLine = bar->value() - block.firstLineNumber();
    const bool isTopKnown = topLine >= 0 && topLine < block.layout()->lineCount();
    const int topStart = isTopKnown ? block.layout()->lineAt(topLine).textStart() : 0;
    QPlainTextEdit::resizeEvent(event);
    if (event->size().width() != event->oldSize().width()) {
        m_layout->startOver();
        static_cast<void>(m_layout->blockBoundingRect(block)); // lays it out
        const QTextLine line = block.layout()->lineForTextPosition(topStart);
        bar->setValue(block.firstLineNumber() + (line.isValid() ? line.lineNumber() : 0));
    }
    if (isAtEnd)
        bar->setValue(bar->maximum());
}

/// With the control key the base class adds to the size of the font in points; ours has one in pixels.
void LogView::wheelEvent(QWheelEvent* event)
{
    if (event->modifiers().testFlag(Qt::ControlModifier))
        event->ignore();
    else
        QPlainTextEdit::wheelEvent(event);
}

/// The third click in a row, the one press that selects without Shift, selects a block: of that, the line under the
/// pointer.
void LogView::mousePressEvent(QMouseEvent* event)
{
    const QTextCursor before = textCursor();
    QPlainTextEdit::mousePressEvent(event);
    const QTextCursor after = textCursor();
    const bool isThirdClick = after.hasSelection() && !event->modifiers().testFlag(Qt::ShiftModifier) &&
                              (after.anchor() != before.anchor() || after.position() != before.position());
    m_clickedLine = isThirdClick ? lineAround(cursorForPosition(event->position().toPoint())) : QTextCursor();
    if (isThirdClick)
        setTextCursor(m_clickedLine);
}

/// A third click that moves selects block by block: of these, the lines from the clicked one to the pointer.
void LogView::mouseMoveEvent(QMouseEvent* event)
{
    QPlainTextEdit::mouseMoveEvent(event);
    if (!m_clickedLine.hasSelection() || !event->buttons().testFlag(Qt::LeftButton))
        return;
    const QTextCursor line = lineAround(cursorForPosition(event->position().toPoint()));
    const bool goesUp = line.selectionStart() < m_clickedLine.selectionStart();
    QTextCursor lines = m_clickedLine;
    lines.setPosition(goesUp ? m_clickedLine.selectionEnd() : m_clickedLine.selectionStart());
    lines.setPosition(goesUp ? line.selectionStart() : line.selectionEnd(), QTextCursor::KeepAnchor);
    setTextCursor(lines);
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
