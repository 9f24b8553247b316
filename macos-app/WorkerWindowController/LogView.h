#pragma once

#include <QDeadlineTimer>
#include <QPlainTextEdit>

/// A log that is only written at its end and never trimmed. Text is taken in at once or, when several logs are flooded,
/// as soon as it is this log's turn: together they leave the event loop time for everything else.
class LogView final : public QPlainTextEdit
{
public:
    LogView();
    ~LogView() override;

    /// Adds exactly this text, without a line break of its own, and scrolls to the end. The selection stays.
    void append(const QString& text);
    /// Takes in what still waits, unless that would hold up everything else for noticeably long.
    void catchUp();

private:
    static void takeTurns();
    void insertUntil(QDeadlineTimer deadline);
    void restoreSelection(int anchor, int position);

    QString m_waiting;
};
