#include "RunOverview/RunTableModel.h"

#include "Controls/Appearance.h"
#include "Models/NumberText.h"
#include "Models/TimeText.h"

#include <QGuiApplication>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QString stateText(RunState state)
{
    switch (state) {
    case RunState::waiting:
        return u"等待"_s;
    case RunState::running:
        return u"运行中"_s;
    case RunState::completed:
        return u"完成"_s;
    case RunState::failed:
        return u"失败"_s;
    case RunState::stopped:
        return u"已停止"_s;
    case RunState::doubtful:
        return u"可疑"_s;
    }
    Q_UNREACHABLE();
}

/// What needs a look is told by its colour, too.
QVariant stateColor(RunState state)
{
    const QColor background = QGuiApplication::palette().color(QPalette::Base);
    if (state == RunState::failed)
        return readableAgainst(systemRed(), background);
    if (state == RunState::doubtful)
        return readableAgainst(systemOrange(), background);
    return {};
}

Qt::Alignment alignment(int column)
{
    const bool isNumber = column == RunTableModel::numberColumn || column == RunTableModel::speedColumn;
    return (isNumber ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter;
}

} // namespace

double RunRow::fraction() const
{
    if (state == RunState::completed || state == RunState::doubtful)
        return 1;
    const double written = report.length().value_or(0);
    return job.duration > 0 ? std::clamp(written / job.duration, 0.0, 1.0) : 0;
}

double RunTableModel::totalFraction() const
{
    double done = 0;
    double total = 0;
    for (const RunRow& row : m_rows) {
        done += row.job.duration * (row.hasEnded() ? 1 : row.fraction());
        total += row.job.duration;
    }
    return total > 0 ? done / total : 0;
}

void RunTableModel::setJobs(const QList<FFmpegJob>& jobs)
{
    beginResetModel();
    m_unannounced.clear();
    m_rows.clear();
    for (const FFmpegJob& job : jobs)
        m_rows.append(RunRow{.job = job, .state = RunState::waiting, .report = {}, .remark = {}});
    endResetModel();
}

void RunTableModel::setReport(int row, const FFmpegReport& report)
{
    if (m_rows[row].report == report)
        return;
    m_rows[row].report = report;
    m_rows[row].remark = report.lastError;
    m_unannounced.insert(row);
}

void RunTableModel::setState(int row, RunState state, const FFmpegReport& report, const QString& remark)
{
    m_rows[row].state = state;
    m_rows[row].report = report;
    m_rows[row].remark = remark;
    m_unannounced.remove(row);
    Q_EMIT dataChanged(index(row, stateColumn), index(row, columnCountOfRun - 1));
}

void RunTableModel::announceReports()
{
    for (const int row : std::exchange(m_unannounced, {}))
        Q_EMIT dataChanged(index(row, progressColumn), index(row, remarkColumn));
}

int RunTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

int RunTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : columnCountOfRun;
}

QString RunTableModel::text(const RunRow& row, int column)
{
    switch (column) {
    case numberColumn:
        return QString::number(row.job.index);
    case fileColumn:
        return row.job.outputURL.lastPathComponent();
    case rangeColumn:
        return formatShownTime(row.job.start) + u" – "_s + formatShownTime(row.job.start + row.job.duration);
    case stateColumn:
        return stateText(row.state);
    case progressColumn:
        return QString::number(static_cast<int>(row.fraction() * 100)) + u'%';
    case speedColumn:
        return row.state == RunState::running && row.report.speed > 0.0 ? formatFixed(*row.report.speed, 1) + u'x'
                                                                        : u""_s;
    case remarkColumn:
        return row.remark;
    default:
        return {};
    }
}

QVariant RunTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return {};
    const RunRow& row = m_rows.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
        return text(row, index.column());
    case Qt::ToolTipRole:
        return index.column() == remarkColumn || index.column() == fileColumn
                   ? text(row, index.column()).toHtmlEscaped()
                   : QVariant();
    case Qt::TextAlignmentRole:
        return QVariant(alignment(index.column()));
    case Qt::ForegroundRole:
        return index.column() == stateColumn ? stateColor(row.state) : QVariant();
    case fractionRole:
        return row.fraction();
    case stateRole:
        return static_cast<int>(row.state);
    default:
        return {};
    }
}

QVariant RunTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    static const QStringList titles = {u"#"_s, u"文件"_s, u"范围"_s, u"状态"_s, u"进度"_s, u"速度"_s, u"说明"_s};
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole)
        return titles.value(section);
    if (orientation == Qt::Horizontal && role == Qt::TextAlignmentRole)
        return QVariant(alignment(section));
    return {};
}
