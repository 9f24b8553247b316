#include "RunOverview/JobTableModel.h"

#include "Controls/Appearance.h"
#include "Models/NumberText.h"
#include "Models/TimeText.h"

#include <QGuiApplication>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

QString stateText(JobState state)
{
    switch (state) {
    case JobState::waiting:
        return u"等待"_s;
    case JobState::running:
        return u"运行中"_s;
    case JobState::stopping:
        return u"正在停止"_s;
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

JobState stateOf(JobOutcome outcome)
{
    switch (outcome) {
    case JobOutcome::completed:
        return JobState::completed;
    case JobOutcome::doubtful:
        return JobState::doubtful;
    case JobOutcome::failed:
        return JobState::failed;
    case JobOutcome::stopped:
        return JobState::stopped;
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
    switch (column) {
    case JobTableModel::numberColumn:
        return Qt::AlignRight | Qt::AlignVCenter;
    case JobTableModel::speedColumn: // between two columns, one of which it would touch
        return Qt::AlignCenter;
    default:
        return Qt::AlignLeft | Qt::AlignVCenter;
    }
}

} // namespace

double JobRow::fraction() const
{
    if (hasClip())
        return 1;
    if (state == JobState::stopped) // and its file removed
        return 0;
    const double part = report.length().value_or(0) / job.duration;
    return part > 0 ? std::min(part, 1.0) : 0; // without a length, or with an endless one, it is no number
}

double JobTableModel::totalFraction() const
{
    double written = 0;
    double total = 0;
    for (const JobRow& row : m_rows) {
        if (row.state != JobState::failed)
            written += row.job.duration * row.fraction();
        total += row.job.duration;
    }
    return written > 0 && std::isfinite(total) ? std::min(written / total, 1.0) : 0;
}

void JobTableModel::setJobs(const QList<FFmpegJob>& jobs)
{
    beginResetModel();
    m_unannounced.clear();
    m_rows.clear();
    for (const FFmpegJob& job : jobs)
        m_rows.append(JobRow{.job = job, .state = JobState::waiting, .report = {}, .remark = {}, .log = {}});
    endResetModel();
}

void JobTableModel::setWaiting(int row)
{
    m_rows[row] = JobRow{.job = m_rows.at(row).job, .state = JobState::waiting, .report = {}, .remark = {}, .log = {}};
    announce(row);
}

void JobTableModel::setRunning(int row, QWidget* log)
{
    m_rows[row].state = JobState::running;
    m_rows[row].log = log;
    announce(row);
}

void JobTableModel::setReport(int row, const FFmpegReport& report)
{
    if (m_rows[row].report == report)
        return;
    m_rows[row].report = report;
    if (m_rows[row].state == JobState::running) // what it says about being stopped is no news
        m_rows[row].remark = report.lastError;
    m_unannounced.insert(row);
}

void JobTableModel::setStopping(int row)
{
    m_rows[row].state = JobState::stopping;
    announce(row);
}

void JobTableModel::setEnded(int row, const JobEnd& end)
{
    m_rows[row].state = stateOf(end.outcome);
    m_rows[row].report = end.report;
    m_rows[row].remark = end.remark;
    announce(row);
}

void JobTableModel::announce(int row)
{
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

QVariant JobTableModel::sortKey(const JobRow& row, int column)
{
    switch (column) {
    case numberColumn:
        return row.job.index;
    case rangeColumn:
        return row.job.start;
    case stateColumn:
        return static_cast<int>(row.state);
    case progressColumn:
        return row.fraction();
    case speedColumn:
        return row.state == JobState::running ? row.report.speed.value_or(0) : 0;
    default:
        return text(row, column);
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
    case sortRole:
        return sortKey(row, index.column());
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
