#pragma once

#include <QDeadlineTimer>
#include <QPlainTextEdit>
#include <QTextBlock>

class LogLayout;

/// A log that is only written at its end and never trimmed. Text is taken in at once or, when several logs are flooded,
/// as soon as it is this log's turn: together they leave the event loop time for everything else.
///
/// A block of the document holds many lines, divided by QChar::LineSeparator, which toPlainText() and the clipboard
/// give as line breaks: a document takes in a block in a time that grows with the number of its blocks, and a flooded
/// log has millions of lines.
class LogView final : public QPlainTextEdit
{
public:
    LogView();
    ~LogView() override;

    /// Adds exactly this text, without a line break of its own, and scrolls to the end. The selection stays.
    void append(const QString& text);
    /// Takes in what still waits, unless that would hold up everything else for noticeably long.
    void catchUp();

protected:
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    static void takeTurns();
    void insertUntil(QDeadlineTimer deadline);
    static void prepareForPainting(QTextBlock block);
    void forgetWhatLeftTheView(const QTextBlock& last);
    void scrollToEnd();
    void restoreSelection(int anchor, int position);

    LogLayout* m_layout = nullptr; ///< owned by the document
    QString m_waiting;
    QTextCursor m_clickedLine; ///< of the third click in a row, nothing after any other
};
