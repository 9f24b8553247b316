#include "SplitCoordinator/SplitCoordinator.h"

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
        worker.onCompletion = [this, &worker](bool success) { handleCompletion(worker, success); };
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
    for (const auto& worker : m_workers) {
        worker->windowController().prepareForDisplay();
        worker->windowController().setIdle();
    }
    if (delegate)
        delegate->splitCoordinatorDidStart(totalJobs(), static_cast<int>(m_workers.size()));
    for (const auto& worker : m_workers)
        scheduleNext(*worker);
}

void SplitCoordinator::stopAll()
{
    m_stopping = true;
    for (const auto& worker : m_workers)
        worker->stop();
}

int SplitCoordinator::unfinishedJobs() const
{
    return totalJobs() - m_completedJobs - m_failedJobs;
}

void SplitCoordinator::scheduleNext(WorkerRunner& worker)
{
    while (m_nextJobOffset < totalJobs()) {
        const FFmpegJob& job = m_jobs[m_nextJobOffset++];
        if (launch(job, worker))
            return;
        ++m_failedJobs;
        reportUpdate();
    }
    worker.windowController().setIdle(u"当前没有待处理任务"_s);
    finishIfNeeded();
}

bool SplitCoordinator::launch(const FFmpegJob& job, WorkerRunner& worker)
{
    if (m_stopping)
        return false;
    try {
        worker.run(job, m_nextJobOffset, totalJobs());
        ++m_runningJobs;
        return true;
    } catch (const std::exception& error) {
        worker.windowController().appendLog(u"启动失败："_s + errorDescription(error) + u'\n');
        worker.windowController().setFinished(false, u"任务启动失败"_s);
        return false;
    }
}

void SplitCoordinator::handleCompletion(WorkerRunner& worker, bool success)
{
    const auto keptAlive = weak_from_this().lock(); // a report may release us
    --m_runningJobs;
    ++(success ? m_completedJobs : m_failedJobs);
    reportUpdate();
    scheduleNext(worker);
}

void SplitCoordinator::reportUpdate()
{
    if (delegate)
        delegate->splitCoordinatorDidUpdate(m_completedJobs, m_failedJobs, totalJobs());
}

void SplitCoordinator::finishIfNeeded()
{
    if (m_finished || m_runningJobs > 0 || unfinishedJobs() > 0)
        return;
    m_finished = true;
    if (delegate)
        delegate->splitCoordinatorDidFinish(m_completedJobs, m_failedJobs, totalJobs());
}
