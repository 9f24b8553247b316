#pragma once

#include "Viewer/ViewerContent.h"

#include <QPixmap>
#include <QWidget>

#include <functional>
#include <vector>

/// The whole video as a thin line: what is kept, the transitions, and where the viewer looks.
class TimelineView final : public QWidget
{
public:
    explicit TimelineView(QWidget* parent = nullptr);

    void setContent(const ViewerContent& content);
    /// Seconds; below 0 hides the mark.
    void setPosition(double seconds);

    /// Called for a double-click: the transition there, otherwise the segment there. Not called beside both.
    std::function<void(const ViewerSubject&)> onActivated;

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    void drawLine();
    [[nodiscard]] qreal xAt(double seconds) const;
    [[nodiscard]] double secondsAt(qreal x) const;
    [[nodiscard]] ViewerSubject subjectAt(qreal x) const;

    ViewerContent m_content;
    double m_duration = 0;
    double m_position = -1;
    QPixmap m_line; // the line without the mark; null when it has to be drawn anew
};
