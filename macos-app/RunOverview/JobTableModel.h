#pragma once

#include "Models/FFmpegJob.h"
#include "Models/FFmpegOutputReader.h"

#include <QAbstractTableModel>
#include <QSet>

enum class JobState {
    waiting,
    running,
    completed,
    failed,
    stopped,
    doubtful
};

/// One job of a run and how it goes.
struct JobRow
{
    FFmpegJob job;
    JobState state = JobState::waiting;
    FFmpegReport report;
    QString remark; ///< why the clip is doubtful; otherwise the log's last error

    [[nodiscard]] bool hasEnded() const { return state != JobState::waiting && state != JobState::running; }
    /// How much of the clip is written, 0 to 1.
    [[nodiscard]] double fraction() const;
};

/// The jobs of a run in their order. What a job reports is shown when `announceReports()` is called, so that many
/// reports cost one repaint.
class JobTableModel final : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column {
        numberColumn,
        fileColumn,
        rangeColumn,
        stateColumn,
        progressColumn,
        speedColumn,
        remarkColumn,
        columnCountOfJobs
    };
    enum Role {
        fractionRole = Qt::UserRole,
        stateRole
    };

    using QAbstractTableModel::QAbstractTableModel;

    [[nodiscard]] const QList<JobRow>& rows() const { return m_rows; }
    /// How much of all the clips' video is dealt with, 0 to 1. A job that has ended counts whole, whatever came of it.
    [[nodiscard]] double totalFraction() const;

    void setJobs(const QList<FFmpegJob>& jobs);
    void setReport(int row, const FFmpegReport& report);
    void setState(int row, JobState state, const FFmpegReport& report = {}, const QString& remark = {});
    void announceReports();

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    [[nodiscard]] static QString text(const JobRow& row, int column);

    QList<JobRow> m_rows;
    QSet<int> m_unannounced;
};
