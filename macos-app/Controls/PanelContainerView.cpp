#include "Controls/PanelContainerView.h"

#include "Controls/Appearance.h"

#include <QEvent>
#include <QPainter>
#include <QVBoxLayout>

namespace {

constexpr int inset = 18;
constexpr qreal cornerRadius = 18;
constexpr qreal borderAlpha = 0.35;
constexpr float backgroundAlpha = 0.96F;
constexpr int outlineDarkness = 140; // per cent, as Fusion has it
constexpr qreal visibleContrast = 1.5;
constexpr qreal outlineAlpha = 0.45;

} // namespace

PanelContainerView::PanelContainerView(QWidget* parent)
    : QWidget(parent)
    , m_contentView(new QWidget(this))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(inset, inset, inset, inset);
    layout->addWidget(m_contentView);
    updateOutlines();
}

void PanelContainerView::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::PaletteChange)
        updateOutlines();
    QWidget::changeEvent(event);
}

void PanelContainerView::paintEvent(QPaintEvent* /*event*/)
{
    QColor background = palette().color(QPalette::Base);
    background.setAlphaF(backgroundAlpha);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(separatorColor(palette(), borderAlpha));
    painter.setBrush(background);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius, cornerRadius);
}

/// Styles outline fields, boxes and radio buttons in a darker shade of the window's colour. In a dark appearance that
/// is the panel's own colour, so that there the controls are told of a lighter window.
void PanelContainerView::updateOutlines()
{
    QPalette controls;
    const QColor outline = palette().color(QPalette::Window).darker(outlineDarkness);
    if (contrastRatio(outline, palette().color(QPalette::Base)) < visibleContrast)
        controls.setColor(QPalette::Window,
                          composed(separatorColor(palette(), outlineAlpha), palette().color(QPalette::Base)));
    m_contentView->setPalette(controls);
}
