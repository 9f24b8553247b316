#include "WorkerWindowController/LogLayout.h"

#include <QPaintDevice>
#include <QTextDocument>
#include <QTextLayout>

#include <algorithm>

int LogLayout::linesIn(const QTextBlock& block)
{
    return int(block.text().count(QChar::LineSeparator)) + 1;
}

QRectF LogLayout::blockBoundingRect(const QTextBlock& block) const
{
    if (block.isValid() && block.layout()->lineCount() == 0)
        const_cast<LogLayout*>(this)->layOut(block); // on demand, as the base class does
    return QPlainTextDocumentLayout::blockBoundingRect(block);
}

/// Rather too wide than too narrow: what lies beyond it is not painted.
QSizeF LogLayout::documentSize() const
{
    return {m_width, qreal(document()->lineCount())};
}

void LogLayout::startOver()
{
    m_width = 0;
    startOver(document()->firstBlock(), document()->characterCount());
}

void LogLayout::documentChanged(int from, int /*charsRemoved*/, int charsAdded)
{
    startOver(document()->findBlock(from), from + charsAdded);
}

void LogLayout::layOut(QTextBlock block)
{
    QTextLayout* layout = block.layout();
    const qreal margin = document()->documentMargin();
    qreal height = 0;
    layout->setTextOption(document()->defaultTextOption());
    layout->beginLayout();
    for (QTextLine line = layout->createLine(); line.isValid(); line = layout->createLine()) {
        line.setLeadingIncluded(true);
        line.setLineWidth(paintDevice()->width() - 2 * margin);
        line.setPosition({margin, height});
        height += line.height();
        m_width = std::max(m_width, line.naturalTextWidth() + 2 * margin);
    }
    layout->endLayout();
    if (block.lineCount() == layout->lineCount())
        return;
    block.setLineCount(layout->lineCount());
    Q_EMIT documentSizeChanged(documentSize()); // also out of the answer to this signal, which looks at the last blocks
}

/// The blocks from this one to that position are laid out anew when they are seen.
void LogLayout::startOver(const QTextBlock& first, int end)
{
    for (QTextBlock block = first; block.isValid() && block.position() < end; block = block.next()) {
        block.clearLayout();
        block.setLineCount(linesIn(block));
    }
    Q_EMIT documentSizeChanged(documentSize());
    Q_EMIT update();
}
