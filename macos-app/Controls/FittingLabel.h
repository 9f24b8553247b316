#pragma once

#include <QLabel>

/// A label for texts of any length that never asks for more width than it is given: one line shortened in its middle,
/// or several lines, broken anywhere when need be and shortened at their end. text() stays whole; a text that is shown
/// shortened appears as the tool tip.
class FittingLabel final : public QLabel
{
    Q_OBJECT

public:
    FittingLabel(int mostLines, const QString& text, QWidget* parent = nullptr);

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
