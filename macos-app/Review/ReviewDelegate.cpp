#include "Review/ReviewDelegate.h"

#include "Controls/Appearance.h"
#include "Review/ReviewPictures.h"
#include "Review/ReviewTableModel.h"

#include <QPainter>

using namespace Qt::StringLiterals;

namespace {

constexpr int frameWidth = 2;

QColor stateColor(EventState state, const QColor& neighbour)
{
    switch (state) {
    case EventState::confirmed:
        return readableAgainst(systemGreen(), neighbour);
    case EventState::rejected:
        return readableAgainst(systemRed(), neighbour);
    case EventState::unchecked:
        break;
    }
    return {};
}

} // namespace

ReviewDelegate::ReviewDelegate(ReviewPictures& pictures, QObject* parent)
    : QStyledItemDelegate(parent)
    , m_pictures(pictures)
{}

ReviewLayout ReviewDelegate::layoutFor(const QFontMetrics& metrics) const
{
    return {metrics.height() + 2, m_pictures.source().shape(), m_isLarge};
}

void ReviewDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const auto& model = *static_cast<const ReviewTableModel*>(index.model());
    painter->save();
    painter->fillRect(option.rect, option.palette.brush(QPalette::Base));
    if (model.isMarked(index.row())) {
        QColor mark = systemOrange();
        mark.setAlphaF(0.25F);
        painter->fillRect(option.rect, mark);
    }
    if (option.state & QStyle::State_Selected) {
        QColor selection = option.palette.color(QPalette::Highlight);
        selection.setAlphaF(0.22F);
        painter->fillRect(option.rect, selection);
    }
    paintText(*painter, option, index);
    paintPictures(*painter, option, model.eventAt(index.row()));
    painter->setPen(separatorColor(option.palette, 0.15));
    painter->drawLine(option.rect.bottomLeft(), option.rect.bottomRight());
    if (option.state & QStyle::State_HasFocus) {
        painter->setPen(QPen(option.palette.color(QPalette::Highlight), frameWidth));
        painter->drawRect(option.rect.adjusted(1, 1, -2, -2));
    }
    painter->restore();
}

/// The state stands at the right, in bold; a rejected transition's words are struck out.
void ReviewDelegate::paintText(QPainter& painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const auto& model = *static_cast<const ReviewTableModel*>(index.model());
    const auto text = [&](int column) { return index.siblingAtColumn(column).data().toString(); };
    const QRect line = layoutFor(option.fontMetrics).textLine(option.rect);
    const EventState state = model.stateAt(index.row());
    const QColor base = option.palette.color(QPalette::Base);

    QFont font = option.font;
    font.setBold(true);
    painter.setFont(font);
    painter.setPen(state == EventState::unchecked ? secondaryTextColor(option.palette) : stateColor(state, base));
    const QString stateWord = text(ReviewTableModel::stateColumn);
    painter.drawText(line, Qt::AlignRight | Qt::AlignVCenter, stateWord);
    const int stateWidth = QFontMetrics(font).horizontalAdvance(stateWord) + 2 * ReviewLayout::spacing;

    const QString title = text(ReviewTableModel::transitionColumn) + u"　"_s + text(ReviewTableModel::timeColumn);
    font.setStrikeOut(state == EventState::rejected);
    painter.setFont(font);
    painter.setPen(option.palette.color(QPalette::Text));
    const int titleWidth = std::min(QFontMetrics(font).horizontalAdvance(title), line.width() - stateWidth);
    painter.drawText(QRect(line.topLeft(), QSize(titleWidth, line.height())), Qt::AlignVCenter, title);

    const QStringList rest = {text(ReviewTableModel::kindColumn),
                              text(ReviewTableModel::sourceColumn),
                              u"时长 "_s + text(ReviewTableModel::lengthColumn),
                              u"前段 "_s + text(ReviewTableModel::beforeColumn),
                              u"后段 "_s + text(ReviewTableModel::afterColumn),
                              text(ReviewTableModel::certaintyColumn)};
    painter.setFont(option.font);
    painter.setPen(secondaryTextColor(option.palette));
    const QRect room = line.adjusted(titleWidth + 3 * ReviewLayout::spacing, 0, -stateWidth, 0);
    painter.drawText(room, Qt::AlignVCenter,
                     option.fontMetrics.elidedText(rest.join(u"　"_s), Qt::ElideRight, room.width()));
}

/// What is kept has a frame in the accent colour, as in the viewer; a caption is painted under each picture.
void ReviewDelegate::paintPictures(QPainter& painter, const QStyleOptionViewItem& option, int event) const
{
    const ReviewLayout layout = layoutFor(option.fontMetrics);
    const QList<ReviewPicture> pictures = m_pictures.picturesOf(event);
    const QColor faint = secondaryTextColor(option.palette);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.setFont(option.font);
    for (int place = 0; place < pictures.size(); ++place) {
        const ReviewPicture& shown = pictures[place];
        const QRect area = layout.picture(option.rect, place, static_cast<int>(pictures.size()));
        const bool isKept = shown.planned.isKept && !shown.image.isNull();
        painter.setPen(QPen(isKept ? option.palette.color(QPalette::Highlight) : separatorColor(option.palette, 0.4),
                            isKept ? frameWidth : 1));
        if (shown.image.isNull()) {
            painter.drawRect(area.adjusted(0, 0, -1, -1));
            painter.setPen(faint);
            painter.drawText(area.adjusted(8, 4, -8, -4), Qt::AlignCenter | Qt::TextWordWrap | Qt::TextWrapAnywhere,
                             shown.message);
        } else {
            painter.drawImage(area, shown.image);
            painter.drawRect(area.adjusted(0, 0, -1, -1));
        }
        const QRect caption(area.left(), area.bottom() + 1, area.width(), layout.lineHeight);
        painter.setPen(shown.planned.isKept ? option.palette.color(QPalette::Text) : faint);
        painter.drawText(caption, Qt::AlignCenter,
                         option.fontMetrics.elidedText(shown.caption, Qt::ElideRight, caption.width()));
    }
}
