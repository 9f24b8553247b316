#include "SplitCoordinator/SplitCoordinator.h"

#include "Jobs/OlderFiles.h"
#include "Services/AppRuntimeError.h"

#include <algorithm>

using namespace Qt::StringLiterals;

SplitCoordinator::SplitCoordinator(QList<FFmpegJob> jobs, int concurrency, const RuntimeConfiguration& runtime)
    : m_jobs(std::move(jobs))
{
    const int workerCount = std::max(1, std::min(concurrency, totalJobs()));
    for (int workerIndex = 1; workerIndex <= workerCount; ++workerIndex) {
        WorkerRunner& worker =
            *m_workers.emplace_back(std::make_unique<WorkerRunner>(workerIndex, workerCount, runtime));
        worker.onOutput = [this, &worker] { handleProgress(worker); };
        worker.onCompletion = [this, &worker](bool) { handleCompletion(worker); };
    }
}

void SplitCoordinator::start()
{
    const auto keptAlive = weak_from_this().lock(); // a report may release us
    if (m_jobs.isEmpty()) {
        if (delegate)
            delegate->splitCoordinatorDidFinish(0, 0, 0);
        return;
    }
    m_olderFileRemarks = putOlderFilesBack(m_jobs);
    for (const auto& worker : m_workers) {
        worker->writtenClips = writtenClips;
        worker->windowController().prepareForDisplay();
        worker->windowController().setIdle();
    }
    if (delegate)
        delegate->splitCoordinatorDidStart(totalJobs(), static_cast<int>(m_workers.size()));
    for (const auto& worker : m_workers)
        scheduleNext(*worker);
}

void SplitCoordinator::stop(int job)
{
    if (job < m_nextJobOffset) {
        for (const auto& worker : m_workers) {
            if (m_runningJobs.value(worker.get(), -1) == job) {
                m_stoppedJobs.insert(job);
                worker->stop();
            }
        }
    } else if (job < totalJobs() && !m_stoppedJobs.contains(job)) {
        m_stoppedJobs.insert(job);
        reportEnd(job, {.outcome = JobOutcome::stopped, .report = {}, .remark = {}});
    }
}

void SplitCoordinator::stopAll()
{
    for (int job = 0; job < totalJobs(); ++job)
        stop(job);
}

int SplitCoordinator::unfinishedJobs() const
{
    return totalJobs() - m_completedJobs - m_failedJobs;
}

QWidgetList SplitCoordinator::logs() const
{
    QWidgetList logs;
    for (const auto& worker : m_workers)
        logs.append(worker->windowController().window());
    return logs;
}

void SplitCoordinator::scheduleNext(WorkerRunner& worker)
{
    while (m_nextJobOffset < totalJobs()) {
        if (launch(m_nextJobOffset++, worker))
            return;
        ++m_failedJobs;
        reportUpdate();
    }
    worker.windowController().setIdle(u"当前没有待处理任务"_s);
    finishIfNeeded();
}

bool SplitCoordinator::launch(int job, WorkerRunner& worker)
{
    if (m_stoppedJobs.contains(job))
        return false;
    try {
        worker.run(m_jobs[job], job + 1, totalJobs());
        m_runningJobs.insert(&worker, job);
        if (observer)
            observer->jobDidLaunch(job, worker.windowController().window());
        return true;
    } catch (const std::exception& error) {
        worker.windowController().appendLog(u"启动失败："_s + errorDescription(error) + u'\n');
        worker.windowController().setFinished(false, u"任务启动失败"_s);
        reportEnd(job, {.outcome = JobOutcome::failed, .report = {}, .remark = errorDescription(error)});
        return false;
    }
}

void SplitCoordinator::handleProgress(const WorkerRunner& worker)
{
    if (observer)
        observer->jobDidProgress(m_runningJobs.value(&worker), worker.report());
}

void SplitCoordinator::handleCompletion(WorkerRunner& worker)
{
    const auto keptAlive = weak_from_this().lock(); // a report may release us
    const int job = m_runningJobs.take(&worker);
    reportEnd(job, worker.end());
    ++(worker.end().succeeded() ? m_completedJobs : m_failedJobs);
    reportUpdate();
    scheduleNext(worker);
}

void SplitCoordinator::reportEnd(int job, JobEnd end) const
{
    const QString older = m_olderFileRemarks.value(m_jobs[job].outputURL.path());
    if (!older.isEmpty())
        end.remark = end.remark.isEmpty() ? older : older + u'；' + end.remark;
    if (observer)
        observer->jobDidEnd(job, end);
}

void SplitCoordinator::reportUpdate()
{
    if (delegate)
        delegate->splitCoordinatorDidUpdate(m_completedJobs, m_failedJobs, totalJobs());
}

void SplitCoordinator::finishIfNeeded()
{
    if (m_finished || !m_runningJobs.isEmpty() || unfinishedJobs() > 0)
        return;
    m_finished = true;
    if (delegate)
        delegate->splitCoordinatorDidFinish(m_completedJobs, m_failedJobs, totalJobs());
}
