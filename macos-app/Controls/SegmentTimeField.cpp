#include "Controls/SegmentTimeField.h"

#include "Controls/Appearance.h"

#include <QPainter>
#include <QStyleOptionFrame>

namespace {

constexpr qreal cornerRadius = 4;
constexpr qreal borderAlpha = 0.25;
constexpr int lineEditMargin = 2; // QLineEdit's own, on either side of its text

} // namespace

SegmentTimeField::SegmentTimeField(QWidget* parent)
    : QLineEdit(parent)
{
    setFrame(false); // painted here
    setFont(monospacedFont());
    setTextMargins(textInset - lineEditMargin, 0, textInset - lineEditMargin, 0);
    setAcceptDrops(false);
}

void SegmentTimeField::paintFrame(QPainter* painter, const QRect& rect, const QPalette& palette, const QColor& tint,
                                  bool focused)
{
    const QColor base = palette.color(QPalette::Base);
    // Not the accent colour: that is what surrounds the field in a selected row.
    const QColor border = focused ? palette.color(QPalette::Text) : separatorColor(palette, borderAlpha);
    const qreal width = focused ? 1.5 : 1;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(QPen(border, width));
    painter->setBrush(tint.isValid() ? composed(tint, base) : base);
    painter->drawRoundedRect(QRectF(rect).adjusted(width / 2, width / 2, -width / 2, -width / 2), cornerRadius,
                             cornerRadius);
    painter->restore();
}

void SegmentTimeField::paintEvent(QPaintEvent* event)
{
    {
        QPainter painter(this);
        paintFrame(&painter, rect(), palette(), tint, true);
    }
    QLineEdit::paintEvent(event);
}

void SegmentTimeField::initStyleOption(QStyleOptionFrame* option) const
{
    QLineEdit::initStyleOption(option);
    option->palette.setBrush(QPalette::Base, Qt::transparent); // the background is painted already
}
