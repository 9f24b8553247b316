#include "Controls/TintedButton.h"

#include "Controls/Appearance.h"

#include <QPainter>

namespace {

constexpr qreal cornerRadius = 4;

} // namespace

TintedButton::TintedButton(const QString& text, const QColor& tint, QWidget* parent)
    : QPushButton(text, parent)
    , m_tint(tint)
{
    setAttribute(Qt::WA_Hover);
}

void TintedButton::paintEvent(QPaintEvent* /*event*/)
{
    const QColor title = palette().color(QPalette::Active, QPalette::ButtonText);
    QColor bezel = readableAgainst(m_tint, title);
    if (isDown())
        bezel = bezel.darker(115);
    else if (underMouse() && isEnabled())
        bezel = bezel.lighter(104);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setOpacity(isEnabled() ? 1 : 0.45);
    painter.setPen(hasFocus() ? QPen(palette().color(QPalette::Highlight), 2) : QPen(bezel.darker(125), 1));
    painter.setBrush(bezel);
    painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), cornerRadius, cornerRadius);
    painter.setPen(title);
    painter.drawText(rect(), Qt::AlignCenter, text());
}
