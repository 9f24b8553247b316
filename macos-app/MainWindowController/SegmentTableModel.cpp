#include "MainWindowController/SegmentTableModel.h"

#include "Controls/PlainToolTip.h"
#include "Models/TimeText.h"

using namespace Qt::StringLiterals;

namespace {

QString shownTime(const EditableSegment& segment, int column)
{
    return formatShownTime(column == SegmentTableModel::startColumn ? segment.start : segment.end);
}

int columnOf(SegmentListEditor::Field field)
{
    switch (field) {
    case SegmentListEditor::Field::enabled:
        return SegmentTableModel::enabledColumn;
    case SegmentListEditor::Field::start:
        return SegmentTableModel::startColumn;
    default:
        return SegmentTableModel::endColumn;
    }
}

} // namespace

SegmentTableModel::SegmentTableModel(SegmentListEditor* list, QObject* parent)
    : QAbstractTableModel(parent)
    , m_list(list)
{
    connect(list, &SegmentListEditor::aboutToBeReplaced, this, [this] { beginResetModel(); });
    connect(list, &SegmentListEditor::replaced, this, [this] { endResetModel(); });
    connect(list, &SegmentListEditor::aboutToBeInserted, this, [this](int row) { beginInsertRows({}, row, row); });
    connect(list, &SegmentListEditor::inserted, this, [this] { endInsertRows(); });
    connect(list, &SegmentListEditor::aboutToBeRemoved, this, [this](int row) { beginRemoveRows({}, row, row); });
    connect(list, &SegmentListEditor::removed, this, [this] { endRemoveRows(); });
    connect(list, &SegmentListEditor::fieldChanged, this,
            [this](int firstRow, int lastRow, SegmentListEditor::Field field) {
                const int column = columnOf(field);
                Q_EMIT dataChanged(index(firstRow, column), index(lastRow, column));
            });
}

void SegmentTableModel::toggle(const QModelIndexList& cells)
{
    QList<int> rows;
    bool areAllEnabled = true;
    for (const QModelIndex& cell : cells) {
        rows.append(cell.row());
        areAllEnabled = areAllEnabled && m_list->segments().at(cell.row()).isEnabled;
    }
    m_list->setEnabled(rows, !areAllEnabled);
}

int SegmentTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_list->segments().size());
}

int SegmentTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : columns;
}

QVariant SegmentTableModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return QVariant();
    const EditableSegment& segment = m_list->segments().at(index.row());
    if (role == Qt::ToolTipRole)
        return rowToolTip ? QVariant(plainToolTip(rowToolTip(index.row()))) : QVariant();
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
    if (index.column() == enabledColumn) {
        if (role == Qt::CheckStateRole)
            m_list->setEnabled({index.row()}, value.toInt() != Qt::Unchecked);
        return role == Qt::CheckStateRole;
    }
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
    static const QStringList toolTips = {u"启用的片段各写成一个文件；Shift + 空格切换所选的各行。"_s,
                                         u"片段从这里开始；单击或按 F2 修改。"_s,
                                         u"片段到这里结束；单击或按 F2 修改。"_s};
    if (orientation != Qt::Horizontal || (role != Qt::DisplayRole && role != Qt::ToolTipRole))
        return QVariant();
    return (role == Qt::DisplayRole ? titles : toolTips).value(section);
}

bool SegmentTableModel::retime(const QModelIndex& index, const QString& text)
{
    if (text == index.data().toString())
        return true;
    const SegmentEdge edge = index.column() == startColumn ? SegmentEdge::start : SegmentEdge::end;
    const auto refusal = m_list->retime(index.row(), edge, text);
    if (refusal)
        Q_EMIT editRefused(*refusal);
    return !refusal;
}
