#pragma once

#include <QFontMetrics>
#include <QRect>
#include <QSize>

/// Where things stand in a row of the window for checking: a line of text above, the pictures in all its width below
/// it, a caption under each. All in logical pixels.
struct ReviewLayout
{
    int lineHeight; ///< of the text
    QSize shape;    ///< of a picture, in any unit
    bool isLarge;   ///< two lines of pictures instead of one

    static constexpr int margin = 8;
    static constexpr int spacing = 6;

    /// A row is so high that four pictures fill that width, and never higher than the room for all rows.
    [[nodiscard]] int rowHeight(QSize room) const;
    [[nodiscard]] QRect textLine(const QRect& row) const;
    /// The place of one of `count` pictures, its caption right below it.
    [[nodiscard]] QRect picture(const QRect& row, int place, int count) const;
};
