#include "Viewer/TimelineView.h"

#include "Controls/Appearance.h"
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
/// Transitions nearer to each other than this cannot be told apart.
constexpr qreal leastGap = 3;
constexpr int mergedHeight = 3;
constexpr int scrollMarkHeight = 2;
/// What a click of the wheel leaves in sight when it zooms, and how much of it passes when it scrolls.
constexpr double zoomedPart = 0.8;
constexpr double scrolledPart = 0.2;
constexpr double shortestSeconds = 1;

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
    setToolTip(u"单击可到片段中的那一处，双击可选中那里的换场或片段；滚轮缩放，按住 Shift 滚动"_s);
}

void TimelineView::setContent(const ViewerContent& content)
{
    if (content == m_content)
        return;
    const double duration = lineDuration(content);
    const bool isOtherVideo = content.videoURL != m_content.videoURL || duration != m_duration;
    m_content = content;
    m_duration = duration;
    if (isOtherVideo)
        showWhole();
    m_line = {};
    update();
}

void TimelineView::setPosition(double seconds)
{
    if (seconds != m_position && seconds >= 0 && !isInSight(seconds, seconds))
        showPart(seconds - m_length / 2, m_length);
    m_position = seconds;
    describe();
    update();
}

void TimelineView::showWhole()
{
    showPart(0, m_duration);
}

void TimelineView::showPart(double from, double length)
{
    m_length = std::clamp(length, std::min(shortestSeconds, m_duration), m_duration);
    m_from = std::clamp(from, 0.0, m_duration - m_length);
    m_line = {};
    describe();
    update();
    if (onZoom)
        onZoom(showsPart());
}

void TimelineView::describe()
{
    QStringList parts;
    if (m_position >= 0)
        parts << formatShownTime(m_position);
    if (showsPart())
        parts << u"显示 %1 至 %2"_s.arg(formatShownTime(m_from), formatShownTime(m_from + m_length));
    setAccessibleDescription(parts.join(u'，'));
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
    const double position = std::min(m_position, m_duration);
    if (m_duration <= 0 || position < 0 || !isInSight(position, position))
        return;
    const qreal x = xAt(position);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(palette().color(QPalette::WindowText));
    painter.drawRect(QRectF(x - 0.75, 1, 1.5, lineTop + lineHeight + 1));
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
    painter.fillRect(QRectF(margin, lineTop, lineWidth(), lineHeight), palette().color(QPalette::Mid));
    if (m_duration <= 0)
        return;
    painter.setClipRect(QRectF(margin, 0, lineWidth(), height()));
    for (const EditableSegment& segment : m_content.segments) {
        if (segment.isEnabled && segment.duration() > 0 && isInSight(segment.start, segment.end))
            painter.fillRect(mark(segment.start, segment.end, lineTop, lineHeight),
                             palette().color(QPalette::Highlight));
    }
    drawTransitions(painter);
    if (showsPart()) { // where in the video that is, as a scroll bar would tell
        const qreal left = m_from / m_duration * lineWidth();
        const qreal width = std::max(m_length / m_duration * lineWidth(), 2 * grabWidth);
        painter.fillRect(
            QRectF(margin + std::min(left, lineWidth() - width), height() - scrollMarkHeight, width, scrollMarkHeight),
            secondaryTextColor(palette()));
    }
}

/// Each transition as a mark across the line; those too near to be told apart as one thin bar along it.
void TimelineView::drawTransitions(QPainter& painter) const
{
    QList<QRectF> marks;
    for (const TransitionEvent& event : m_content.events) {
        if (isInSight(event.start, event.end))
            marks.append(mark(event.start, event.end, lineTop - 2, lineHeight + 4));
    }
    std::sort(marks.begin(), marks.end(), [](const QRectF& a, const QRectF& b) { return a.left() < b.left(); });
    const QColor color = separatorColor(palette(), 0.65);
    for (qsizetype i = 0; i < marks.size();) {
        QRectF merged = marks[i];
        qsizetype next = i + 1;
        for (; next < marks.size() && marks[next].left() < merged.right() + leastGap; ++next)
            merged.setRight(std::max(merged.right(), marks[next].right()));
        if (next > i + 1)
            merged.setHeight(mergedHeight);
        painter.fillRect(merged, color);
        i = next;
    }
}

void TimelineView::mousePressEvent(QMouseEvent* event)
{
    const double seconds = secondsAt(event->position().x());
    if (event->button() == Qt::LeftButton && m_duration > 0 && isInSight(seconds, seconds) && onClick)
        onClick(seconds);
}

void TimelineView::mouseDoubleClickEvent(QMouseEvent* event)
{
    const ViewerSubject subject = subjectAt(event->position().x());
    if (subject.kind != ViewerSubject::Kind::nothing && onActivated)
        onActivated(subject);
}

void TimelineView::wheelEvent(QWheelEvent* event)
{
    if (m_duration <= 0)
        return;
    const QPoint delta = event->angleDelta();
    const bool isSideways = std::abs(delta.x()) > std::abs(delta.y());
    const double steps = (isSideways ? delta.x() : delta.y()) / 120.0;
    if (isSideways || event->modifiers().testFlag(Qt::ShiftModifier)) {
        showPart(m_from - steps * scrolledPart * m_length, m_length);
    } else {
        const double at = secondsAt(event->position().x());
        const double length = m_length * std::pow(zoomedPart, steps);
        showPart(at - (at - m_from) * length / m_length, length);
    }
    event->accept();
}

qreal TimelineView::lineWidth() const
{
    return std::max(1, width() - 2 * margin);
}

qreal TimelineView::xAt(double seconds) const
{
    return margin + (seconds - m_from) / m_length * lineWidth();
}

double TimelineView::secondsAt(qreal x) const
{
    return m_from + (x - margin) / lineWidth() * m_length;
}

/// Never thinner than a pixel, never outside the line.
QRectF TimelineView::mark(double start, double end, int top, int height) const
{
    const qreal left = xAt(std::clamp(start, m_from, m_from + m_length));
    const qreal right = xAt(std::clamp(end, m_from, m_from + m_length));
    return QRectF(left, top, std::max(right - left, 1.0), height);
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
