#include "MainWindowController/SegmentTableModel.h"

#include "Models/SegmentEditing.h"
#include "Models/TimeText.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace {

QString shownTime(const EditableSegment& segment, int column)
{
    return formatShownTime(column == SegmentTableModel::startColumn ? segment.start : segment.end);
}

} // namespace

void SegmentTableModel::setSegments(QList<EditableSegment> segments)
{
    beginResetModel();
    m_segments = std::move(segments);
    endResetModel();
}

void SegmentTableModel::appendSegment(const EditableSegment& segment)
{
    const int row = rowCount();
    beginInsertRows(QModelIndex(), row, row);
    m_segments.append(segment);
    endInsertRows();
}

void SegmentTableModel::removeSegment(int row)
{
    beginRemoveRows(QModelIndex(), row, row);
    m_segments.removeAt(row);
    endRemoveRows();
}

void SegmentTableModel::setAllEnabled(bool enabled)
{
    if (m_segments.isEmpty())
        return;
    for (EditableSegment& segment : m_segments)
        segment.isEnabled = enabled;
    Q_EMIT dataChanged(index(0, enabledColumn), index(rowCount() - 1, enabledColumn), {Qt::CheckStateRole});
}

int SegmentTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_segments.size());
}

int SegmentTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : columns;
}

QVariant SegmentTableModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return QVariant();
    const EditableSegment& segment = m_segments.at(index.row());
    if (role == isManualRole)
        return segment.isManual;
    if (role == Qt::AccessibleDescriptionRole && segment.isManual)
        return u"手工片段，按 Delete 键删除"_s;
    if (role == Qt::AccessibleTextRole && index.column() == enabledColumn)
        return segment.isEnabled ? u"已启用"_s : u"未启用"_s;
    if (index.column() == enabledColumn)
        return role == Qt::CheckStateRole ? QVariant(segment.isEnabled ? Qt::Checked : Qt::Unchecked) : QVariant();
    return role == Qt::DisplayRole || role == Qt::EditRole ? shownTime(segment, index.column()) : QVariant();
}

bool SegmentTableModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return false;
    if (index.column() == enabledColumn)
        return role == Qt::CheckStateRole && setEnabled(index, value.toInt() != Qt::Unchecked);
    return role == Qt::EditRole && retime(index, value.toString());
}

Qt::ItemFlags SegmentTableModel::flags(const QModelIndex& index) const
{
    const Qt::ItemFlags inherited = QAbstractTableModel::flags(index);
    if (!index.isValid())
        return inherited;
    return inherited | (index.column() == enabledColumn ? Qt::ItemIsUserCheckable : Qt::ItemIsEditable);
}

QVariant SegmentTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    static const QStringList titles = {u"启用"_s, u"开始时间"_s, u"结束时间"_s};
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QVariant();
    return titles.value(section);
}

bool SegmentTableModel::setEnabled(const QModelIndex& index, bool enabled)
{
    EditableSegment& segment = m_segments[index.row()];
    if (segment.isEnabled == enabled)
        return true;
    segment.isEnabled = enabled;
    Q_EMIT dataChanged(index, index, {Qt::CheckStateRole});
    Q_EMIT segmentsEdited();
    return true;
}

bool SegmentTableModel::retime(const QModelIndex& index, const QString& text)
{
    EditableSegment& segment = m_segments[index.row()];
    if (text == shownTime(segment, index.column()))
        return true;
    const SegmentEdge edge = index.column() == startColumn ? SegmentEdge::start : SegmentEdge::end;
    if (const auto message = retimeSegment(segment, edge, text)) {
        Q_EMIT editRefused(*message);
        return false;
    }
    Q_EMIT dataChanged(index, index, {Qt::DisplayRole, Qt::EditRole});
    Q_EMIT segmentsEdited();
    return true;
}
