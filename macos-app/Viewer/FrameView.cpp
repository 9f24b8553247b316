#include "Viewer/FrameView.h"

#include "Controls/Appearance.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int frameWidth = 4;
constexpr int captionGap = 4;
constexpr QSize smallestPicture(16, 9);

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

/// Fine lines of two colours, of which one at least shows on any picture; between them the picture stays as it is.
void hatch(QPainter& painter, const QPainterPath& path, const QPalette& palette)
{
    for (const auto& [role, offset] : {std::pair(QPalette::WindowText, 0), std::pair(QPalette::Window, 1)}) {
        painter.setBrushOrigin(offset, 0);
        painter.fillPath(path, QBrush(palette.color(role), Qt::BDiagPattern));
    }
}

} // namespace

QString ShownFrame::spoken() const
{
    if (image.isNull())
        return message;
    return fate.isEmpty() ? time : time + u'，' + fate;
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
    return (viewSize - QSize(2 * frameWidth, 2 * frameWidth + captionHeight)).expandedTo(smallestPicture);
}

QRect FrameView::pictureArea() const
{
    const QSize room = pictureRoom(size());
    const QSize shape = m_frame.shape.isEmpty() ? smallestPicture : m_frame.shape;
    const QSize fitted = shape.scaled(room, Qt::KeepAspectRatio);
    return {QPoint((width() - fitted.width()) / 2, frameWidth), fitted};
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
    if (m_scaled.isNull()) {
        paintMessage(painter);
    } else {
        painter.drawPixmap(pictureArea(), m_scaled);
        if (m_frame.crop && m_frame.isKept)
            paintCrop(painter);
        paintFrame(painter);
    }
    paintCaption(painter);
}

void FrameView::resizeEvent(QResizeEvent*)
{
    prepareScaledImage();
}

void FrameView::mouseDoubleClickEvent(QMouseEvent*)
{
    if (onDoubleClick)
        onDoubleClick();
}

void FrameView::prepareScaledImage()
{
    m_scaled = {};
    if (m_frame.image.isNull())
        return;
    const QSize fitted = (QSizeF(pictureArea().size()) * devicePixelRatioF()).toSize();
    m_scaled = QPixmap::fromImage(
        m_frame.image.scaled(fitted, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)); // or as it is
    m_scaled.setDevicePixelRatio(devicePixelRatioF());
}

/// Around the picture, never on it.
void FrameView::paintFrame(QPainter& painter) const
{
    const QRectF picture = pictureArea();
    QPainterPath frame;
    frame.addRect(picture.adjusted(-frameWidth, -frameWidth, frameWidth, frameWidth));
    frame.addRect(picture); // odd-even: a hole
    if (m_frame.isKept || m_frame.isMarked)
        painter.fillPath(frame, palette().color(m_frame.isMarked ? QPalette::WindowText : QPalette::Highlight));
    else
        hatch(painter, frame, palette());
}

void FrameView::paintCrop(QPainter& painter) const
{
    const QRectF picture = pictureArea();
    QPainterPath rest;
    rest.addRect(picture);
    if (const auto part = keptPart(*m_frame.crop, m_frame.sourceSize)) {
        QPainterPath kept;
        kept.addRect(QRectF(picture.x() + part->x() * picture.width(), picture.y() + part->y() * picture.height(),
                            part->width() * picture.width(), part->height() * picture.height()));
        rest = rest.subtracted(kept);
        painter.setPen(palette().color(QPalette::Highlight));
        painter.drawPath(kept);
    }
    hatch(painter, rest, palette());
}

void FrameView::paintMessage(QPainter& painter) const
{
    const QRect area = pictureArea();
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRect(QRectF(area).adjusted(-0.5, -0.5, 0.5, 0.5));
    painter.setPen(secondaryTextColor(palette()));
    painter.drawText(area.adjusted(8, 4, -8, -4), Qt::AlignCenter | Qt::TextWordWrap | Qt::TextWrapAnywhere,
                     m_frame.message);
}

/// By base lines, which do not depend on the fonts that a text needs.
void FrameView::paintCaption(QPainter& painter) const
{
    QFont font = this->font();
    font.setBold(m_frame.isMarked);
    painter.setFont(font);
    const QFontMetrics metrics(font);
    const bool isDecided = !m_scaled.isNull() && !m_frame.isKept && !m_frame.fate.isEmpty();
    const QString whole = isDecided ? m_frame.time + u'　' + m_frame.fate : m_frame.time;
    const QString time = metrics.horizontalAdvance(whole) <= width() ? whole : m_frame.time;
    painter.setPen(m_frame.isKept ? palette().color(QPalette::WindowText) : secondaryTextColor(palette()));
    int base = pictureArea().bottom() + 1 + frameWidth + captionGap + metrics.ascent();
    for (const QString& line : {metrics.elidedText(m_frame.caption, Qt::ElideRight, width()), time}) {
        painter.drawText((width() - metrics.horizontalAdvance(line)) / 2, base, line);
        base += metrics.lineSpacing();
    }
}
