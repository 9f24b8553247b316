#pragma once

#include "Viewer/FrameView.h"

class FittingLabel;

/// Some pictures side by side, under a heading where there is one.
class FrameStrip final : public QWidget
{
public:
    static constexpr int spacing = 8; ///< between two pictures

    explicit FrameStrip(int mostPictures, QWidget* parent = nullptr);

    void setHeading(const QString& heading, bool isChosen);
    /// As many pictures as there are frames.
    void setFrames(const QList<ShownFrame>& frames);
    [[nodiscard]] const QList<FrameView*>& views() const { return m_views; }

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void makeEven();

    FittingLabel* m_heading;
    int m_count;
    QList<FrameView*> m_views;
};
