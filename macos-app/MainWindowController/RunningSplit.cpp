#include "MainWindowController/RunningSplit.h"

#include "Jobs/OutputSafety.h"
#include "RunOverview/RunOverview.h"
#include "Services/MessageError.h"
#include "Services/RuntimeResolver.h"

using namespace Qt::StringLiterals;

RunningSplit::RunningSplit(std::function<int()> concurrency)
    : m_concurrency(std::move(concurrency))
    , m_overview(std::make_unique<RunOverview>())
    , m_writtenClips(std::make_shared<WrittenClips>())
{
    m_overview->onRetry = [this](const auto& rows) { retry(rows); };
}

RunningSplit::~RunningSplit() = default;

int RunningSplit::unfinishedJobs() const
{
    return m_coordinator ? m_coordinator->unfinishedJobs() : 0;
}

void RunningSplit::setParsing(bool isParsing)
{
    m_isParsing = isParsing;
    m_overview->setMayRetry(mayStart());
}

void RunningSplit::start(const QList<FFmpegJob>& jobs, const std::optional<FileURL>& outputDirectory)
{
    tryToStart(jobs, outputDirectory, {});
}

/// Jobs of an earlier split, with their own numbers and places.
void RunningSplit::retry(const QList<int>& rows)
{
    const QList<FFmpegJob> jobs = m_overview->jobs(rows);
    if (!jobs.isEmpty())
        tryToStart(jobs, jobs.first().outputURL.deletingLastPathComponent(), rows);
}

void RunningSplit::tryToStart(const QList<FFmpegJob>& jobs, const std::optional<FileURL>& outputDirectory,
                              const QList<int>& retriedRows)
{
    if (!mayStart())
        return;
    try {
        const RuntimeConfiguration runtime = RuntimeResolver::resolve();
        if (!outputDirectory)
            throw OutputError(u"无法确定输出目录。"_s);
        createOutputDirectory(*outputDirectory);
        run(jobs, runtime, retriedRows);
    } catch (const std::exception& error) {
        end();
        Q_EMIT statusChanged(u"分解启动失败。"_s);
        Q_EMIT failed(errorDescription(error));
    }
}

void RunningSplit::run(const QList<FFmpegJob>& jobs, const RuntimeConfiguration& runtime, const QList<int>& retriedRows)
{
    requireSourcesAreSafe(jobs);
    requireSingleFiles(jobs);
    const int concurrency = m_concurrency();
    const auto coordinator = std::make_shared<SplitCoordinator>(jobs, concurrency, runtime);
    coordinator->delegate = this;
    coordinator->writtenClips = m_writtenClips;
    m_coordinator = coordinator;
    if (!retriedRows.isEmpty())
        m_overview->watchAgain(retriedRows, concurrency, coordinator);
    else if (!jobs.isEmpty())
        m_overview->watch(jobs, concurrency, coordinator);
    Q_EMIT runningChanged();
    Q_EMIT statusChanged(u"开始分解..."_s);
    coordinator->start(); // may report its finish before it returns
}

void RunningSplit::end()
{
    m_coordinator.reset();
    m_overview->splitDidFinish();
    Q_EMIT runningChanged();
}

void RunningSplit::stopForQuitting()
{
    m_isQuitting = true;
    m_overview->stopAll();
}

void RunningSplit::splitCoordinatorDidStart(int totalJobs, int workerCount)
{
    m_overview->present(); // in front of the workers' windows
    Q_EMIT statusChanged(u"开始分解：%1 个任务，%2 个并发窗口。"_s.arg(totalJobs).arg(workerCount));
}

void RunningSplit::splitCoordinatorDidUpdate(int completed, int failed, int total)
{
    Q_EMIT statusChanged(u"分解中：完成 %1 / %2，失败 %3。"_s.arg(completed).arg(total).arg(failed));
}

void RunningSplit::splitCoordinatorDidFinish(int completed, int failedJobs, int total)
{
    end();
    Q_EMIT statusChanged(u"分解完成：成功 %1 / %2，失败 %3。"_s.arg(completed).arg(total).arg(failedJobs));
    if (m_overview->hasFailures() && !m_isQuitting)
        Q_EMIT failed(u"共有 %1 个 ffmpeg 任务失败，请检查子窗口日志。"_s.arg(failedJobs));
    Q_EMIT ended();
}
