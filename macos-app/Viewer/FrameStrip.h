#pragma once

#include "Viewer/FrameView.h"

#include <QLabel>

/// Some pictures side by side under a heading.
class FrameStrip final : public QWidget
{
public:
    static constexpr int spacing = 8; ///< between two pictures

    explicit FrameStrip(int pictureCount, QWidget* parent = nullptr);

    void setHeading(const QString& heading, bool isChosen);
    [[nodiscard]] const QList<FrameView*>& views() const { return m_views; }

private:
    QLabel* m_heading;
    QList<FrameView*> m_views;
};
