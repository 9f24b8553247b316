#pragma once

#include <QTableView>

#include <functional>

/// The list of transitions, each as high as its pictures need. A time that is typed, digits with a colon, is where it
/// goes.
class ReviewTable final : public QTableView
{
public:
    explicit ReviewTable(QWidget* parent = nullptr);

    /// What has been typed of a time; empty when nothing is being typed.
    [[nodiscard]] QString typedTime() const { return m_typed; }

    /// Called for each key of a time, with the seconds that it means so far, once it has a colon.
    std::function<void(double seconds)> onTimeTyped;
    /// Called when rows come into sight or the room for them has another size.
    std::function<void()> onSight;

protected:
    void keyPressEvent(QKeyEvent* event) override;
    QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
    bool event(QEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QString m_typed;
    qint64 m_typedAt = 0; ///< milliseconds, of the last key
};

/// Seconds of "1:02" or "1:02:03.5", as far as it has been typed; nothing without a colon.
[[nodiscard]] std::optional<double> typedSeconds(const QString& text);
