#include "MainWindowController/EventTableModel.h"

#include "MainWindowController/SegmentListEditor.h"
#include "Models/TimeText.h"

using namespace Qt::StringLiterals;

namespace {

QString cellText(const TransitionEvent& event, int column)
{
    switch (column) {
    case EventTableModel::indexColumn:
        return QString::number(event.index);
    case EventTableModel::typeColumn:
        return event.type;
    case EventTableModel::startColumn:
        return formatShownTime(event.start);
    case EventTableModel::endColumn:
        return formatShownTime(event.end);
    case EventTableModel::durationColumn:
        return formatShortSeconds(event.duration);
    case EventTableModel::sourceColumn:
        return event.source;
    default:
        return QString();
    }
}

} // namespace

EventTableModel::EventTableModel(SegmentListEditor* list, QObject* parent)
    : QAbstractTableModel(parent)
    , m_list(list)
{
    connect(list, &SegmentListEditor::aboutToBeReplaced, this, [this] { beginResetModel(); });
    connect(list, &SegmentListEditor::replaced, this, [this] { endResetModel(); });
}

int EventTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_list->list().events().size());
}

int EventTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : columns;
}

QVariant EventTableModel::data(const QModelIndex& index, int role) const
{
    if (role != Qt::DisplayRole || !checkIndex(index, CheckIndexOption::IndexIsValid))
        return QVariant();
    return cellText(m_list->list().events().at(index.row()), index.column());
}

QVariant EventTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    static const QStringList titles = {u"#"_s, u"类型"_s, u"开始时间"_s, u"结束时间"_s, u"时长"_s, u"来源"_s};
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QVariant();
    return titles.value(section);
}
