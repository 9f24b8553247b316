#include "Review/ReviewLayout.h"

#include <algorithm>

namespace {

constexpr int usualCount = 4; ///< a cut's pictures

} // namespace

int ReviewLayout::rowHeight(QSize room) const
{
    if (isLarge)
        return room.height();
    const int width = (room.width() - 2 * margin - (usualCount - 1) * spacing) / usualCount;
    const int height = QSize(shape.width(), shape.height()).scaled(width, room.height(), Qt::KeepAspectRatio).height();
    const int others = 2 * lineHeight + 2 * margin + spacing;
    return std::max(others + 1, std::min(height + others, room.height()));
}

QRect ReviewLayout::textLine(const QRect& row) const
{
    return {row.left() + margin, row.top() + margin / 2, row.width() - 2 * margin, lineHeight};
}

QRect ReviewLayout::picture(const QRect& row, int place, int count) const
{
    const int lines = isLarge ? 2 : 1;
    const int across = isLarge ? (count + 1) / 2 : count;
    const int line = place / across;
    const int top = textLine(row).bottom() + 1 + spacing / 2;
    const int lineRoom = (row.bottom() + 1 - margin / 2 - top) / lines;
    const int width = (row.width() - 2 * margin - (across - 1) * spacing) / across;
    const QRect room(row.left() + margin + (place % across) * (width + spacing), top + line * lineRoom, width,
                     std::max(1, lineRoom - lineHeight));
    QRect picture(QPoint(), shape.scaled(room.size(), Qt::KeepAspectRatio).expandedTo(QSize(1, 1)));
    picture.moveCenter(room.center());
    return picture;
}
