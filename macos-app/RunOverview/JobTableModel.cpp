#include "RunOverview/JobTableModel.h"

#include "Controls/Appearance.h"
#include "Models/NumberText.h"
#include "Models/TimeText.h"

#include <QGuiApplication>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QString stateText(JobState state)
{
    switch (state) {
    case JobState::waiting:
        return u"等待"_s;
    case JobState::running:
        return u"运行中"_s;
    case JobState::completed:
        return u"完成"_s;
    case JobState::failed:
        return u"失败"_s;
    case JobState::stopped:
        return u"已停止"_s;
    case JobState::doubtful:
        return u"可疑"_s;
    }
    Q_UNREACHABLE();
}

/// What needs a look is told by its colour, too.
QVariant stateColor(JobState state)
{
    const QColor background = QGuiApplication::palette().color(QPalette::Base);
    if (state == JobState::failed)
        return readableAgainst(systemRed(), background);
    if (state == JobState::doubtful)
        return readableAgainst(systemOrange(), background);
    return {};
}

Qt::Alignment alignment(int column)
{
    const bool isNumber = column == JobTableModel::numberColumn || column == JobTableModel::speedColumn;
    return (isNumber ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter;
}

} // namespace

double JobRow::fraction() const
{
    if (state == JobState::completed || state == JobState::doubtful)
        return 1;
    const double written = report.length().value_or(0);
    return job.duration > 0 ? std::clamp(written / job.duration, 0.0, 1.0) : 0;
}

double JobTableModel::totalFraction() const
{
    double done = 0;
    double total = 0;
    for (const JobRow& row : m_rows) {
        done += row.job.duration * (row.hasEnded() ? 1 : row.fraction());
        total += row.job.duration;
    }
    return total > 0 ? done / total : 0;
}

void JobTableModel::setJobs(const QList<FFmpegJob>& jobs)
{
    beginResetModel();
    m_unannounced.clear();
    m_rows.clear();
    for (const FFmpegJob& job : jobs)
        m_rows.append(JobRow{.job = job, .state = JobState::waiting, .report = {}, .remark = {}});
    endResetModel();
}

void JobTableModel::setReport(int row, const FFmpegReport& report)
{
    if (m_rows[row].report == report)
        return;
    m_rows[row].report = report;
    m_rows[row].remark = report.lastError;
    m_unannounced.insert(row);
}

void JobTableModel::setState(int row, JobState state, const FFmpegReport& report, const QString& remark)
{
    m_rows[row].state = state;
    m_rows[row].report = report;
    m_rows[row].remark = remark;
    m_unannounced.remove(row);
    Q_EMIT dataChanged(index(row, stateColumn), index(row, columnCountOfJobs - 1));
}

void JobTableModel::announceReports()
{
    for (const int row : std::exchange(m_unannounced, {}))
        Q_EMIT dataChanged(index(row, progressColumn), index(row, remarkColumn));
}

int JobTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

int JobTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : columnCountOfJobs;
}

QString JobTableModel::text(const JobRow& row, int column)
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
        return row.state == JobState::running && row.report.speed > 0.0 ? formatFixed(*row.report.speed, 1) + u'x'
                                                                        : u""_s;
    case remarkColumn:
        return row.remark;
    default:
        return {};
    }
}

QVariant JobTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return {};
    const JobRow& row = m_rows.at(index.row());
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

QVariant JobTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    static const QStringList titles = {u"#"_s, u"文件"_s, u"范围"_s, u"状态"_s, u"进度"_s, u"速度"_s, u"说明"_s};
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole)
        return titles.value(section);
    if (orientation == Qt::Horizontal && role == Qt::TextAlignmentRole)
        return QVariant(alignment(section));
    return {};
}
