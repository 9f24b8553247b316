#include "MainWindowController/EventTableModel.h"

#include "MainWindowController/SegmentListEditor.h"
#include "Models/TimeText.h"

#include <QFont>
#include <QGuiApplication>
#include <QPalette>

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

/// How a transition that the user has rejected looks, and what a screen reader says of it.
QVariant rejectedAppearance(int role)
{
    if (role == Qt::FontRole) {
        QFont font;
        font.setStrikeOut(true);
        return font;
    }
    if (role == Qt::ForegroundRole)
        return QGuiApplication::palette().brush(QPalette::PlaceholderText);
    return role == Qt::AccessibleDescriptionRole ? u"已否决，前后片段合并"_s : QVariant();
}

} // namespace

EventTableModel::EventTableModel(SegmentListEditor* list, QObject* parent)
    : QAbstractTableModel(parent)
    , m_list(list)
{
    connect(list, &SegmentListEditor::aboutToBeReplaced, this, [this] { beginResetModel(); });
    connect(list, &SegmentListEditor::replaced, this, [this] {
        m_isRejected.clear();
        endResetModel();
    });
    connect(list, &SegmentListEditor::edited, this, [this] { // a rejection may have come or gone
        m_isRejected.clear();
        if (rowCount() > 0)
            Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, columns - 1),
                               {Qt::FontRole, Qt::ForegroundRole, Qt::AccessibleDescriptionRole});
    });
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
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return QVariant();
    const TransitionEvent& event = m_list->list().payload->events.at(index.row());
    if (role == Qt::DisplayRole)
        return cellText(event, index.column());
    if (role == Qt::ToolTipRole)
        return u"得分 "_s + QString::number(event.score);
    const bool dependsOnRejection =
        role == Qt::FontRole || role == Qt::ForegroundRole || role == Qt::AccessibleDescriptionRole;
    if (dependsOnRejection && isRejectedRow(index.row()))
        return rejectedAppearance(role);
    return QVariant();
}

bool EventTableModel::isRejectedRow(int row) const
{
    const auto known = m_isRejected.constFind(row);
    if (known != m_isRejected.constEnd())
        return *known;
    const SegmentList& list = m_list->list();
    const bool rejected = isRejected(list.payload->events.at(row), list.segments, list.payload->keepSegments);
    m_isRejected.insert(row, rejected);
    return rejected;
}

QVariant EventTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    static const QStringList titles = {u"#"_s, u"类型"_s, u"开始时间"_s, u"结束时间"_s, u"时长"_s, u"来源"_s};
    static const QStringList toolTips = {
        u"换场的编号。"_s,     u"检测脚本认出的类型：cut 硬切，fade 淡出淡入，dissolve 叠化，wipe 划像。"_s,
        u"换场从这里开始。"_s, u"换场到这里结束。"_s,
        u"换场持续的秒数。"_s, u"检测脚本凭什么认出它；得分见各行。"_s,
    };
    if (orientation != Qt::Horizontal || (role != Qt::DisplayRole && role != Qt::ToolTipRole))
        return QVariant();
    return (role == Qt::DisplayRole ? titles : toolTips).value(section);
}
