#pragma once

#include "Frames/ViewerContent.h"

#include <QPixmap>
#include <QWidget>

#include <functional>

/// The whole video, or a part of it, as a thin line: what is kept, the transitions, and where the viewer looks. The
/// wheel zooms around the pointer; sideways, or with Shift, it scrolls.
class TimelineView final : public QWidget
{
public:
    explicit TimelineView(QWidget* parent = nullptr);

    void setContent(const ViewerContent& content);
    /// Seconds; below 0 hides the mark. A part of the video follows the mark when it leaves.
    void setPosition(double seconds);
    void showWhole();

    /// Called for a click, with the time there in seconds.
    std::function<void(double seconds)> onClick;
    /// Called for a double-click: the transition there, otherwise the segment there. Not called beside both.
    std::function<void(const ViewerSubject&)> onActivated;
    /// Called when only a part is shown, and when the whole video is shown again.
    std::function<void(bool isPart)> onZoom;

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    void drawLine();
    void drawTransitions(QPainter& painter) const;
    /// Shows the part of that length from that time on, as far as the video reaches.
    void showPart(double from, double length);
    void describe();
    [[nodiscard]] bool showsPart() const { return m_length < m_duration; }
    [[nodiscard]] bool isInSight(double start, double end) const { return end >= m_from && start <= m_from + m_length; }
    [[nodiscard]] qreal lineWidth() const;
    [[nodiscard]] QRectF mark(double start, double end, int top, int height) const;
    [[nodiscard]] qreal xAt(double seconds) const;
    [[nodiscard]] double secondsAt(qreal x) const;
    [[nodiscard]] ViewerSubject subjectAt(qreal x) const;

    ViewerContent m_content;
    double m_duration = 0;
    double m_from = 0;   ///< what is shown begins here
    double m_length = 0; ///< and is that long
    double m_position = -1;
    QPixmap m_line; // the line without the mark; null when it has to be drawn anew
};
