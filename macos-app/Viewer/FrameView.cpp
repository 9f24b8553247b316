#include "Viewer/FrameView.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int frameWidth = 3;
constexpr int captionGap = 4;
constexpr qreal dimming = 0.62;
constexpr qreal paleness = 0.65;

QColor dimmingColor(const QPalette& palette)
{
    QColor color = palette.color(QPalette::Window);
    color.setAlphaF(dimming);
    return color;
}

/// For what is not kept: paler than the text, in every appearance.
QColor paleTextColor(const QPalette& palette)
{
    QColor color = palette.color(QPalette::WindowText);
    color.setAlphaF(paleness);
    return color;
}

/// The part of a frame that the crop filter leaves; ffmpeg moves a rectangle that reaches over the edge back inside.
std::optional<QRectF> keptPart(const CropParameters& crop, QSize source)
{
    if (crop.width > source.width() || crop.height > source.height())
        return std::nullopt;
    const qint64 x = std::min<qint64>(crop.x, source.width() - crop.width);
    const qint64 y = std::min<qint64>(crop.y, source.height() - crop.height);
    return QRectF(static_cast<qreal>(x) / source.width(), static_cast<qreal>(y) / source.height(),
                  static_cast<qreal>(crop.width) / source.width(), static_cast<qreal>(crop.height) / source.height());
}

} // namespace

QString ShownFrame::spoken() const
{
    return image.isNull() ? message : time + (isKept ? u"，保留"_s : u"，删除"_s);
}

FrameView::FrameView(QWidget* parent)
    : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void FrameView::setFrame(const ShownFrame& frame)
{
    m_frame = frame;
    setAccessibleName(frame.caption);
    setAccessibleDescription(frame.spoken());
    prepareScaledImage();
    update();
}

QSize FrameView::pictureRoom(QSize viewSize) const
{
    const int captionHeight = 2 * fontMetrics().lineSpacing() + captionGap;
    return (viewSize - QSize(2 * frameWidth, 2 * frameWidth + captionHeight)).expandedTo(QSize(16, 9));
}

QSize FrameView::sizeHint() const
{
    return {190, 150};
}

QSize FrameView::minimumSizeHint() const
{
    return {110, 100};
}

void FrameView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    if (m_scaled.isNull())
        paintMessage(painter);
    else
        paintPicture(painter);
    paintCaption(painter);
}

void FrameView::resizeEvent(QResizeEvent*)
{
    prepareScaledImage();
}

void FrameView::prepareScaledImage()
{
    m_scaled = {};
    if (m_frame.image.isNull())
        return;
    const QSize room = (QSizeF(pictureRoom(size())) * devicePixelRatioF()).toSize();
    const QSize fitted = m_frame.image.size().scaled(room, Qt::KeepAspectRatio);
    // A picture that was fetched for this room differs by a rounded pixel at most and is shown as it is.
    const bool fits = std::abs(fitted.width() - m_frame.image.width()) <= 2 &&
                      std::abs(fitted.height() - m_frame.image.height()) <= 2;
    m_scaled = QPixmap::fromImage(fits ? m_frame.image
                                       : m_frame.image.scaled(fitted, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
    m_scaled.setDevicePixelRatio(devicePixelRatioF());
}

/// The room for picture and frame: all but the caption.
QRect FrameView::pictureArea() const
{
    return {QPoint(frameWidth, frameWidth), pictureRoom(size())};
}

void FrameView::paintPicture(QPainter& painter) const
{
    const QSizeF drawn = m_scaled.deviceIndependentSize();
    QRectF place(QPointF(), drawn);
    place.moveCenter(QRectF(pictureArea()).center());
    place.moveTopLeft(place.topLeft().toPoint());
    painter.drawPixmap(place.topLeft(), m_scaled);
    if (!m_frame.isKept)
        painter.fillRect(place, dimmingColor(palette()));
    else if (m_frame.crop)
        dimOutsideCrop(painter, place);

    const QColor color = palette().color(m_frame.isKept ? QPalette::Highlight : QPalette::Mid);
    const qreal width = m_frame.isKept ? frameWidth : 1;
    painter.setPen(QPen(color, width, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
    painter.drawRect(place.adjusted(-width / 2, -width / 2, width / 2, width / 2));
}

void FrameView::dimOutsideCrop(QPainter& painter, const QRectF& picture) const
{
    const auto part = keptPart(*m_frame.crop, m_frame.sourceSize);
    QPainterPath rest;
    rest.addRect(picture);
    if (part) {
        QPainterPath kept;
        kept.addRect(QRectF(picture.x() + part->x() * picture.width(), picture.y() + part->y() * picture.height(),
                            part->width() * picture.width(), part->height() * picture.height()));
        rest = rest.subtracted(kept);
        painter.setPen(palette().color(QPalette::Highlight));
        painter.drawPath(kept);
    }
    painter.fillPath(rest, dimmingColor(palette()));
}

void FrameView::paintMessage(QPainter& painter) const
{
    const QRect area = pictureArea();
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRect(QRectF(area).adjusted(-0.5, -0.5, 0.5, 0.5));
    painter.setPen(paleTextColor(palette()));
    painter.drawText(area.adjusted(8, 4, -8, -4), Qt::AlignCenter | Qt::TextWordWrap | Qt::TextWrapAnywhere,
                     m_frame.message);
}

void FrameView::paintCaption(QPainter& painter) const
{
    const int lineHeight = fontMetrics().lineSpacing();
    const QRect line(0, height() - 2 * lineHeight, width(), lineHeight);
    painter.setPen(m_frame.isKept ? palette().color(QPalette::WindowText) : paleTextColor(palette()));
    painter.drawText(line, Qt::AlignCenter, fontMetrics().elidedText(m_frame.caption, Qt::ElideRight, width()));
    painter.drawText(line.translated(0, lineHeight), Qt::AlignCenter, m_frame.time);
}
