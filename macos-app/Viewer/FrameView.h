#pragma once

#include "Models/CropParameters.h"

#include <QImage>
#include <QPixmap>
#include <QWidget>

#include <functional>
#include <optional>

/// What a frame view shows: a picture, or words in its place, over a caption of two lines.
struct ShownFrame
{
    QString caption;
    QString time;
    QString message; ///< in the place of the picture while there is none
    QImage image;
    QSize shape;      ///< of the picture, also while there is none; in any unit
    QSize sourceSize; ///< in which the crop counts
    std::optional<CropParameters> crop;
    bool isKept = false;   ///< framed in the accent colour; what is not kept has a hatched frame
    QString fate;          ///< what becomes of the frame, where that is not to be taken for granted
    bool isMarked = false; ///< framed in the text's colour and captioned in bold

    /// The time and what becomes of the frame, or why there is no picture.
    [[nodiscard]] QString spoken() const;
};

/// One picture of the viewer with its caption right below. The pixels are those of the video, whether the frame is kept
/// or not: only what a crop takes away is hatched over.
class FrameView final : public QWidget
{
public:
    explicit FrameView(QWidget* parent = nullptr);

    void setFrame(const ShownFrame& frame);
    [[nodiscard]] const ShownFrame& frame() const { return m_frame; }

    /// The user double-clicks the view.
    std::function<void()> onDoubleClick;

    /// The room for the picture inside a view of that size, in logical pixels.
    [[nodiscard]] QSize pictureRoom(QSize viewSize) const;
    /// Where the picture or the words in its place are.
    [[nodiscard]] QRect pictureArea() const;
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    void prepareScaledImage();
    void paintFrame(QPainter& painter) const;
    void paintCrop(QPainter& painter) const;
    void paintMessage(QPainter& painter) const;
    void paintCaption(QPainter& painter) const;

    ShownFrame m_frame;
    QPixmap m_scaled;
};
