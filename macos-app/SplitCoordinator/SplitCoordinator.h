#pragma once

#include "Services/RuntimeConfiguration.h"
#include "SplitCoordinator/SplitCoordinatorDelegate.h"
#include "SplitCoordinator/WorkerRunner.h"

#include <QPointer>

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

    /// Shows the worker windows and hands out the first jobs. Once. Jobs that cannot be launched are worked through
    /// before it returns, so that even the last report can come from within.
    void start();
    /// Ends the running jobs and starts no further one; both count as failed. Returns at once, the reports follow.
    void stopAll();
    /// Running and not yet started jobs.
    [[nodiscard]] int unfinishedJobs() const;

private:
    void scheduleNext(WorkerRunner& worker);
    [[nodiscard]] bool launch(const FFmpegJob& job, WorkerRunner& worker);
    void handleCompletion(WorkerRunner& worker, bool success);
    void reportUpdate();
    void finishIfNeeded();
    [[nodiscard]] int totalJobs() const { return static_cast<int>(m_jobs.size()); }

    const QList<FFmpegJob> m_jobs;
    std::vector<std::unique_ptr<WorkerRunner>> m_workers;
    int m_nextJobOffset = 0;
    int m_runningJobs = 0;
    int m_completedJobs = 0;
    int m_failedJobs = 0;
    bool m_stopping = false;
    bool m_finished = false;
};
