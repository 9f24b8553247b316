#include "Review/ReviewTableModel.h"

#include "Models/TimeText.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QString stateText(EventState state)
{
    switch (state) {
    case EventState::unchecked:
        return u"未检查"_s;
    case EventState::confirmed:
        return u"已确认"_s;
    case EventState::rejected:
        return u"已否决"_s;
    }
    Q_UNREACHABLE();
}

/// The detector's own word where it is none of the usual ones.
QString kindText(const QString& type)
{
    static const QHash<QString, QString> words = {
        {u"cut"_s, u"硬切"_s}, {u"fade"_s, u"淡出淡入"_s}, {u"dissolve"_s, u"叠化"_s}, {u"wipe"_s, u"划像"_s}};
    return words.value(type, type);
}

QString lengthText(const std::optional<double>& seconds)
{
    return seconds ? formatShortSeconds(*seconds) : u"—"_s;
}

} // namespace

void ReviewTableModel::setList(const SegmentList& list)
{
    const bool isOther = list.events() != m_facts.events;
    if (isOther)
        beginResetModel();
    m_facts = ReviewFacts(list);
    if (isOther) {
        m_marked.clear();
        m_shown = reviewedEvents(m_facts, m_order, m_filter);
        endResetModel();
    } else {
        announceRows();
    }
}

void ReviewTableModel::arrange(ReviewOrder order, const ReviewFilter& filter)
{
    beginResetModel();
    m_order = order;
    m_filter = filter;
    m_shown = reviewedEvents(m_facts, m_order, m_filter);
    endResetModel();
}

void ReviewTableModel::setMarkedEvents(const QList<int>& events)
{
    m_marked = QSet<int>(events.begin(), events.end());
    announceRows();
}

void ReviewTableModel::announceRows()
{
    if (!m_shown.isEmpty())
        Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, columns - 1));
}

int ReviewTableModel::nextUncheckedRow(int row) const
{
    const int rows = rowCount();
    for (int step = 1; step <= rows; ++step) {
        const int next = (row + step) % rows;
        if (stateAt(next) == EventState::unchecked)
            return next;
    }
    return -1;
}

int ReviewTableModel::rowAtTime(double seconds) const
{
    const auto isEarlier = [this](int left, int right) {
        return m_facts.events[left].start < m_facts.events[right].start;
    };
    int found = -1;
    for (int row = 0; row < rowCount(); ++row) {
        if (m_facts.events[m_shown[row]].end >= seconds && (found < 0 || isEarlier(m_shown[row], m_shown[found])))
            found = row;
    }
    if (found < 0 && rowCount() > 0)
        found = static_cast<int>(std::max_element(m_shown.begin(), m_shown.end(), isEarlier) - m_shown.begin());
    return found;
}

int ReviewTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_shown.size());
}

int ReviewTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : columns;
}

QVariant ReviewTableModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return QVariant();
    const int event = m_shown.at(index.row());
    if (role == Qt::DisplayRole)
        return cellText(event, index.column());
    if (role == Qt::AccessibleTextRole && index.column() == transitionColumn)
        return spokenRow(event);
    if (role == Qt::ToolTipRole)
        return u"得分 "_s + QString::number(m_facts.events.at(event).score);
    return QVariant();
}

QString ReviewTableModel::cellText(int event, int column) const
{
    const TransitionEvent& shown = m_facts.events.at(event);
    switch (column) {
    case transitionColumn:
        return u"换场 %1"_s.arg(shown.index);
    case timeColumn:
        return formatShownTime(shown.start);
    case kindColumn:
        return kindText(shown.type);
    case sourceColumn:
        return shown.source;
    case lengthColumn:
        return formatShortSeconds(shown.duration);
    case beforeColumn:
        return lengthText(m_facts.neighbours.at(event).before);
    case afterColumn:
        return lengthText(m_facts.neighbours.at(event).after);
    case certaintyColumn:
        return u"把握 第 %1 位"_s.arg(m_facts.ranks.at(event));
    case stateColumn:
        return stateText(m_facts.states.at(event));
    default:
        return QString();
    }
}

QString ReviewTableModel::spokenRow(int event) const
{
    QStringList parts;
    for (const int column : {transitionColumn, kindColumn, certaintyColumn, stateColumn})
        parts << cellText(event, column);
    return parts.join(u'，');
}

QVariant ReviewTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    static const QStringList titles = {u"换场"_s, u"时间"_s, u"类型"_s, u"来源"_s, u"时长"_s,
                                       u"前段"_s, u"后段"_s, u"把握"_s, u"状态"_s};
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QVariant();
    return titles.value(section);
}
