#pragma once

#include "Models/CropParameters.h"

#include <QImage>
#include <QPixmap>
#include <QWidget>

#include <optional>

/// What a frame view shows: a picture, or words in its place, over a caption of two lines.
struct ShownFrame
{
    QString caption;
    QString time;
    QString message; ///< in the place of the picture while there is none
    QImage image;
    QSize sourceSize; ///< in which the crop counts
    std::optional<CropParameters> crop;
    bool isKept = false; ///< framed in the accent colour; a frame that is not kept is dimmed

    /// What the eye sees, for those who listen: the time and whether the frame is kept, or why there is no picture.
    [[nodiscard]] QString spoken() const;
};

/// One picture of the viewer with its caption. A frame that the split keeps is framed, any other is dimmed, and so is
/// what a crop takes away.
class FrameView final : public QWidget
{
public:
    explicit FrameView(QWidget* parent = nullptr);

    void setFrame(const ShownFrame& frame);

    /// The room for the picture inside a view of that size, in logical pixels.
    [[nodiscard]] QSize pictureRoom(QSize viewSize) const;
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void prepareScaledImage();
    void paintPicture(QPainter& painter) const;
    void paintMessage(QPainter& painter) const;
    void paintCaption(QPainter& painter) const;
    void dimOutsideCrop(QPainter& painter, const QRectF& picture) const;
    [[nodiscard]] QRect pictureArea() const;

    ShownFrame m_frame;
    QPixmap m_scaled;
};
