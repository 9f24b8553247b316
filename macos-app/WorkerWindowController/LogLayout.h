#pragma once

#include <QPlainTextDocumentLayout>
#include <QTextBlock>

/// Arranges the document of a log. A block holds many lines, divided by QChar::LineSeparator.
///
/// Qt's own arrangement takes a block that is not yet laid out for one line, lays out a block that changed even if it
/// is out of sight, and looks through the whole document whenever its widest block gets narrower.
class LogLayout final : public QPlainTextDocumentLayout
{
public:
    /// Lines are wrapped at the width of this viewport.
    LogLayout(QTextDocument* document, const QWidget* viewport);

    /// Without wrapped lines.
    static int linesIn(const QTextBlock& block);

    QRectF blockBoundingRect(const QTextBlock& block) const override;
    /// To be called when the viewport has another width.
    void startOver();

protected:
    void documentChanged(int from, int charsRemoved, int charsAdded) override;

private:
    void layOut(QTextBlock block);
    void startOver(const QTextBlock& first, int end);

    const QWidget* m_viewport;
};
