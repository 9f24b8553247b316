#pragma once

#include <QPlainTextDocumentLayout>
#include <QTextBlock>

/// Arranges the document of a log. A block holds many lines, divided by QChar::LineSeparator; they are wrapped at the
/// width of the paint device.
///
/// Qt's own arrangement takes a block that is not yet laid out for one line, lays out a block that changed even if it
/// is out of sight, and looks through the whole document whenever its widest block gets narrower.
class LogLayout final : public QPlainTextDocumentLayout
{
public:
    using QPlainTextDocumentLayout::QPlainTextDocumentLayout;

    /// Without wrapped lines.
    static int linesIn(const QTextBlock& block);

    QRectF blockBoundingRect(const QTextBlock& block) const override;
    /// The width of the widest line that was laid out and the number of lines.
    QSizeF documentSize() const override;
    /// To be called when the paint device has another width.
    void startOver();

protected:
    void documentChanged(int from, int charsRemoved, int charsAdded) override;

private:
    void layOut(QTextBlock block);
    void startOver(const QTextBlock& first, int end);

    qreal m_width = 0;
};
