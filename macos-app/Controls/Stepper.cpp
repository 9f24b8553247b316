#include "Controls/Stepper.h"

#include <QLineEdit>
#include <QStyleOptionSpinBox>
#include <QStylePainter>
#include <QWheelEvent>

Stepper::Stepper(QWidget* parent)
    : QSpinBox(parent)
{
    lineEdit()->hide();
    lineEdit()->setAcceptDrops(false);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize Stepper::sizeHint() const
{
    QStyleOptionSpinBox option;
    initStyleOption(&option);
    option.rect = QRect(QPoint(), QSpinBox::sizeHint());
    const QRect arrow = style()->subControlRect(QStyle::CC_SpinBox, &option, QStyle::SC_SpinBoxUp, this);
    return QSize(option.rect.right() + 1 - arrow.left(), option.rect.height());
}

QSize Stepper::minimumSizeHint() const
{
    return sizeHint();
}

/// A whole spin box, of which the part with the text lies outside to the left.
void Stepper::paintEvent(QPaintEvent* /*event*/)
{
    QStyleOptionSpinBox option;
    initStyleOption(&option);
    option.rect.setLeft(rect().right() - QSpinBox::sizeHint().width());
    QStylePainter(this).drawComplexControl(QStyle::CC_SpinBox, option);
}

/// A wheel turned over the form scrolls it; it must not change the number on its way.
void Stepper::wheelEvent(QWheelEvent* event)
{
    if (hasFocus())
        QSpinBox::wheelEvent(event);
    else
        event->ignore();
}
