#pragma once

#include "Services/RuntimeConfiguration.h"
#include "SplitCoordinator/SplitCoordinatorDelegate.h"
#include "SplitCoordinator/SplitJobObserver.h"
#include "SplitCoordinator/WorkerRunner.h"

#include <QHash>
#include <QPointer>
#include <QSet>

#include <memory>
#include <vector>

/// Hands the jobs of one run, in their order, to whichever worker is free, and counts how they end.
/// Lives on the main thread, owned by a std::shared_ptr that may be reset in any report. When it goes while jobs run,
/// these go on to their end without a report, and no further one starts.
class SplitCoordinator final : public std::enable_shared_from_this<SplitCoordinator>
{
public:
    /// Makes min(`concurrency`, number of jobs) workers, at least one. Nothing is shown or launched yet.
    SplitCoordinator(QList<FFmpegJob> jobs, int concurrency, const RuntimeConfiguration& runtime);

    QPointer<SplitCoordinatorDelegate> delegate;
    QPointer<SplitJobObserver> observer;
    /// Kept by the owner from split to split, so that a clip of an earlier one is known.
    std::shared_ptr<WrittenClips> writtenClips = std::make_shared<WrittenClips>();

    /// Shows the worker windows and hands out the first jobs. Once. Jobs that cannot be launched are worked through
    /// before it returns, so that even the last report can come from within.
    void start();
    /// Ends the job at this place in the list, from 0, or sees to it that it is never launched; it counts as failed
    /// when it ends or its turn comes. Nothing happens to a job that has ended. Returns at once, the reports follow.
    void stop(int job);
    /// Stops every job.
    void stopAll();
    /// Running and not yet started jobs.
    [[nodiscard]] int unfinishedJobs() const;
    /// The windows of all workers.
    [[nodiscard]] QWidgetList logs() const;

private:
    void scheduleNext(WorkerRunner& worker);
    [[nodiscard]] bool launch(int job, WorkerRunner& worker);
    void handleProgress(const WorkerRunner& worker);
    void handleCompletion(WorkerRunner& worker);
    void reportEnd(int job, JobEnd end) const;
    void reportUpdate();
    void finishIfNeeded();
    [[nodiscard]] int totalJobs() const { return static_cast<int>(m_jobs.size()); }

    const QList<FFmpegJob> m_jobs;
    std::vector<std::unique_ptr<WorkerRunner>> m_workers;
    QHash<const WorkerRunner*, int> m_runningJobs; ///< by the worker that carries them out
    QSet<int> m_stoppedJobs;
    QHash<QString, QString> m_olderFileRemarks; ///< by the output's path
    int m_nextJobOffset = 0;
    int m_completedJobs = 0;
    int m_failedJobs = 0;
    bool m_finished = false;
};
