#pragma once

#include <QPlainTextEdit>

/// A log that is only written at its end and never trimmed. What is copied from it is what was written, to the
/// character. Text is taken in at once or, in a flood, bit by bit in the turns of the event loop.
class LogView final : public QPlainTextEdit
{
public:
    LogView();
    ~LogView() override;

    /// Adds exactly this text, without a line break of its own, and scrolls to the end. The selection stays.
    void append(const QString& text);

protected:
    QMimeData* createMimeDataFromSelection() const override;
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    static void takeTurns();
    qsizetype insertPortion();
    void scrollToEnd();

    QString m_waiting;
};
