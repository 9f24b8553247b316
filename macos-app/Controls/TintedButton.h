#pragma once

#include <QPushButton>

/// A push button whose bezel has a colour of its own under every style, shaded so that its title stays readable.
class TintedButton final : public QPushButton
{
    Q_OBJECT

public:
    TintedButton(const QString& text, const QColor& tint, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor m_tint;
};
