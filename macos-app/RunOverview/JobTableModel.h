#pragma once

#include "Jobs/JobEnd.h"
#include "Models/FFmpegJob.h"

#include <QAbstractTableModel>
#include <QPointer>
#include <QSet>
#include <QWidget>

enum class JobState {
    waiting,
    running,
    stopping,
    completed,
    failed,
    stopped,
    doubtful
};

/// One job of a split and how it goes.
struct JobRow
{
    FFmpegJob job;
    JobState state = JobState::waiting;
    FFmpegReport report;
    QString remark;        ///< ffmpeg's last error as long as the job runs, then what its end was judged to be
    QPointer<QWidget> log; ///< the window of the worker that took it, as long as it exists

    [[nodiscard]] bool hasEnded() const { return state > JobState::stopping; }
    [[nodiscard]] bool hasClip() const { return state == JobState::completed || state == JobState::doubtful; }
    /// How much of the clip is written, 0 to 1.
    [[nodiscard]] double fraction() const;
};

/// The jobs of a split in their order. What a job reports is shown when `announceReports()` is called, so that many
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
        stateRole,
        sortRole
    };

    using QAbstractTableModel::QAbstractTableModel;

    [[nodiscard]] const QList<JobRow>& rows() const { return m_rows; }
    /// How much of all the clips' video is written, 0 to 1. What was stopped or failed counts nothing.
    [[nodiscard]] double totalFraction() const;

    void setJobs(const QList<FFmpegJob>& jobs);
    /// Whatever the row has shown is forgotten.
    void setWaiting(int row);
    void setRunning(int row, QWidget* log);
    void setReport(int row, const FFmpegReport& report);
    void setStopping(int row);
    void setEnded(int row, const JobEnd& end);
    void announceReports();

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    [[nodiscard]] static QString text(const JobRow& row, int column);
    [[nodiscard]] static QVariant sortKey(const JobRow& row, int column);
    void announce(int row);

    QList<JobRow> m_rows;
    QSet<int> m_unannounced;
};
