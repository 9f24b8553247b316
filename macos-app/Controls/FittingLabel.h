#pragma once

#include <QLabel>

#include <functional>

/// A label for texts of any length that never asks for more width than it is given: one line shortened in its middle,
/// or several lines, broken anywhere when need be and shortened at their end. text() stays whole; a text that is shown
/// shortened appears as the tool tip, with whatever else there is to tell.
class FittingLabel final : public QLabel
{
    Q_OBJECT

public:
    FittingLabel(int mostLines, const QString& text, QWidget* parent = nullptr);

    /// Asked when the pointer rests on the label: a line for the tool tip, or nothing.
    std::function<QString()> moreToTell;

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;
    [[nodiscard]] bool hasHeightForWidth() const override;
    [[nodiscard]] int heightForWidth(int width) const override;

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    [[nodiscard]] QStringList lines(int width) const;
    [[nodiscard]] int lineHeight() const;

    int m_mostLines;
};
