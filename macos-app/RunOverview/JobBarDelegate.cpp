#include "RunOverview/JobBarDelegate.h"

#include "Controls/Appearance.h"
#include "RunOverview/JobTableModel.h"

#include <QApplication>
#include <QPainter>

namespace {

constexpr int margin = 6;
constexpr int barHeight = 6;
constexpr int percentageWidth = 44;

QColor barColor(JobState state, const QPalette& palette)
{
    switch (state) {
    case JobState::completed:
        return systemGreen();
    case JobState::failed:
        return systemRed();
    case JobState::doubtful:
        return systemOrange();
    case JobState::waiting:
    case JobState::stopping:
    case JobState::stopped:
        return secondaryTextColor(palette);
    case JobState::running:
        return palette.color(QPalette::Highlight);
    }
    Q_UNREACHABLE();
}

} // namespace

void JobBarDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QStyleOptionViewItem cell = option;
    initStyleOption(&cell, index);
    cell.displayAlignment = Qt::AlignRight | Qt::AlignVCenter;
    const QStyle* style = cell.widget ? cell.widget->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &cell, painter, cell.widget);

    const bool isSelected = cell.state & QStyle::State_Selected;
    const auto state = static_cast<JobState>(index.data(JobTableModel::stateRole).toInt());
    const QColor text = cell.palette.color(isSelected ? QPalette::HighlightedText : QPalette::Text);
    QRectF track(cell.rect.adjusted(margin, 0, -percentageWidth, 0));
    track.setTop(track.center().y() - barHeight / 2.0);
    track.setHeight(barHeight);
    QRectF bar = track;
    bar.setWidth(track.width() * index.data(JobTableModel::fractionRole).toDouble());

    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    QColor faint = text;
    faint.setAlphaF(0.18F);
    painter->setBrush(faint);
    painter->drawRoundedRect(track, barHeight / 2.0, barHeight / 2.0);
    painter->setBrush(isSelected ? text : barColor(state, cell.palette));
    painter->setClipRect(bar);
    painter->drawRoundedRect(track, barHeight / 2.0, barHeight / 2.0);
    painter->restore();
}
