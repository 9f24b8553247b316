#include "SplitCoordinator/WorkerRunner.h"

#include "Models/Utf8Text.h"

using namespace Qt::StringLiterals;

WorkerRunner::WorkerRunner(int workerIndex, int totalWorkers, const RuntimeConfiguration& runtime)
    : m_windowController(workerIndex, totalWorkers)
    , m_runtime(runtime)
{}

void WorkerRunner::run(const FFmpegJob& job, int position, int total)
{
    m_job = SplitJob::launch(job, m_runtime, writtenClips);
    m_job->onOutput = [this](const QByteArray& chunk) { appendOutput(chunk); };
    m_job->onEnd = [this](const JobEnd& end) { finish(end); };
    const auto showRunning = [this, job, position, total] { m_windowController.setRunning(job, position, total); };
    QMetaObject::invokeMethod(this, showRunning, Qt::QueuedConnection);
}

void WorkerRunner::stop()
{
    if (m_job)
        m_job->stop();
}

/// One read of the pipe is decoded on its own; a character cut between two reads is lost in both.
void WorkerRunner::appendOutput(const QByteArray& chunk)
{
    m_windowController.appendLog(decodedUtf8OrEmpty(chunk));
    if (onOutput)
        onOutput();
}

void WorkerRunner::finish(const JobEnd& end)
{
    const bool success = end.succeeded();
    m_windowController.appendLog(success ? u"\n>>> 完成\n"_s : u"\n>>> 失败\n"_s);
    m_windowController.setFinished(success, success ? u"当前任务已完成"_s : u"当前任务执行失败"_s);
    m_end = end;
    m_job.reset();
    if (const auto notify = onCompletion)
        notify(success); // may release us
}
