#include "Viewer/TimelineView.h"

#include "Models/TimeText.h"

#include <QEvent>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr int margin = 6;
constexpr int lineTop = 6;
constexpr int lineHeight = 8;
constexpr qreal grabWidth = 4;

/// The length of the line: the video's, or what rows know of it when nobody has told.
double lineDuration(const ViewerContent& content)
{
    double duration = content.duration.value_or(0);
    if (duration > 0 && std::isfinite(duration))
        return duration;
    duration = 0;
    for (const EditableSegment& segment : content.segments)
        duration = std::max(duration, segment.end);
    for (const TransitionEvent& event : content.events)
        duration = std::max(duration, event.end);
    return std::isfinite(duration) ? duration : 0;
}

} // namespace

TimelineView::TimelineView(QWidget* parent)
    : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(u"视频时间线"_s);
    setToolTip(u"双击可选中那里的换场或片段"_s);
}

void TimelineView::setContent(const ViewerContent& content)
{
    if (content == m_content)
        return;
    m_content = content;
    m_duration = lineDuration(content);
    m_line = {};
    update();
}

void TimelineView::setPosition(double seconds)
{
    m_position = seconds;
    setAccessibleDescription(seconds < 0 ? QString() : formatShownTime(seconds));
    update();
}

QSize TimelineView::sizeHint() const
{
    return {400, lineTop * 2 + lineHeight};
}

QSize TimelineView::minimumSizeHint() const
{
    return {100, lineTop * 2 + lineHeight};
}

void TimelineView::paintEvent(QPaintEvent*)
{
    if (m_line.isNull())
        drawLine();
    QPainter painter(this);
    painter.drawPixmap(0, 0, m_line);
    if (m_position < 0 || m_duration <= 0)
        return;
    const qreal x = xAt(std::min(m_position, m_duration));
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(palette().color(QPalette::WindowText));
    painter.drawRect(QRectF(x - 0.75, 1, 1.5, height() - 2));
    painter.drawEllipse(QPointF(x, 3), 3, 3);
}

void TimelineView::resizeEvent(QResizeEvent*)
{
    m_line = {};
}

void TimelineView::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::PaletteChange)
        m_line = {};
    QWidget::changeEvent(event);
}

/// Thousands of rows are drawn once and then only copied.
void TimelineView::drawLine()
{
    m_line = QPixmap((QSizeF(size()) * devicePixelRatioF()).toSize());
    m_line.setDevicePixelRatio(devicePixelRatioF());
    m_line.fill(Qt::transparent);
    QPainter painter(&m_line);
    painter.fillRect(QRectF(margin, lineTop, width() - 2 * margin, lineHeight), palette().color(QPalette::Mid));
    if (m_duration <= 0)
        return;
    const auto fill = [&](double start, double end, int top, int height, const QColor& color) {
        const qreal left = xAt(std::clamp(start, 0.0, m_duration));
        const qreal right = xAt(std::clamp(end, 0.0, m_duration));
        painter.fillRect(QRectF(left, top, std::max(right - left, 1.0), height), color);
    };
    for (const EditableSegment& segment : m_content.segments) {
        if (segment.isEnabled && segment.duration() > 0)
            fill(segment.start, segment.end, lineTop, lineHeight, palette().color(QPalette::Highlight));
    }
    QColor transitionColor = palette().color(QPalette::WindowText);
    transitionColor.setAlphaF(0.65);
    for (const TransitionEvent& event : m_content.events)
        fill(event.start, event.end, lineTop - 2, lineHeight + 4, transitionColor);
}

void TimelineView::mouseDoubleClickEvent(QMouseEvent* event)
{
    const ViewerSubject subject = subjectAt(event->position().x());
    if (subject.kind != ViewerSubject::Kind::nothing && onActivated)
        onActivated(subject);
}

qreal TimelineView::xAt(double seconds) const
{
    return margin + seconds / m_duration * (width() - 2 * margin);
}

double TimelineView::secondsAt(qreal x) const
{
    return (x - margin) / std::max(1, width() - 2 * margin) * m_duration;
}

/// The nearest transition within the pointer's reach; transitions are short and could not be hit otherwise.
ViewerSubject TimelineView::subjectAt(qreal x) const
{
    if (m_duration <= 0)
        return {};
    const double at = secondsAt(x);
    ViewerSubject found;
    double nearest = secondsAt(x + grabWidth) - at;
    for (int row = 0; row < m_content.events.size(); ++row) {
        const TransitionEvent& event = m_content.events[row];
        const double distance = std::max({event.start - at, at - event.end, 0.0});
        if (distance <= nearest) {
            nearest = distance;
            found = {ViewerSubject::Kind::transition, row};
        }
    }
    for (int row = 0; row < m_content.segments.size() && found.kind == ViewerSubject::Kind::nothing; ++row) {
        const EditableSegment& segment = m_content.segments[row];
        if (segment.start <= at && at < segment.end)
            found = {ViewerSubject::Kind::segment, row};
    }
    return found;
}
