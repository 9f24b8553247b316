#pragma once

#include <QColor>
#include <QLineEdit>

/// The field in which a segment's start or end time is edited. It remembers which.
class SegmentTimeField final : public QLineEdit
{
    Q_OBJECT

public:
    enum class Kind {
        start,
        end
    };

    explicit SegmentTimeField(QWidget* parent = nullptr);

    Kind kind = Kind::start;
    int segmentRow = -1; ///< -1: no row
    QColor tint;         ///< behind the text, over the background of fields; invalid: none

    /// What a field looks like, also where none is: tables paint their cells with it. The text is the caller's.
    static void paintFrame(QPainter* painter, const QRect& rect, const QPalette& palette, const QColor& tint,
                           bool focused);
    static constexpr int textInset = 6; ///< from the frame's outside to the text on either side

protected:
    void paintEvent(QPaintEvent* event) override;
    void initStyleOption(QStyleOptionFrame* option) const override;
};
