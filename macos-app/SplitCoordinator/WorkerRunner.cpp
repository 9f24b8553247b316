#include "SplitCoordinator/WorkerRunner.h"

#include "Models/Utf8Text.h"

using namespace Qt::StringLiterals;

WorkerRunner::WorkerRunner(int workerIndex, int totalWorkers, const RuntimeConfiguration& runtime)
    : m_windowController(workerIndex, totalWorkers)
    , m_runtime(runtime)
{}

void WorkerRunner::run(const FFmpegJob& job, int position, int total)
{
    m_process = JobProcess::launch(job, m_runtime);
    m_outputReader = {};
    connect(m_process.get(), &QProcess::readyRead, this, &WorkerRunner::appendOutput);
    connect(m_process.get(), &QProcess::finished, this, &WorkerRunner::finish);
    const auto showRunning = [this, job, position, total] { m_windowController.setRunning(job, position, total); };
    QMetaObject::invokeMethod(this, showRunning, Qt::QueuedConnection);
}

void WorkerRunner::stop()
{
    if (m_process)
        m_process->stop();
}

/// One read of the pipe is decoded on its own; a character cut between two reads is lost in both.
void WorkerRunner::appendOutput()
{
    const QByteArray chunk = m_process->readAll();
    m_windowController.appendLog(decodedUtf8OrEmpty(chunk));
    m_outputReader.append(chunk);
    if (onOutput)
        onOutput();
}

void WorkerRunner::finish()
{
    appendOutput();
    m_outputReader.finish();
    const bool success = m_process->succeeded();
    m_windowController.appendLog(success ? u"\n>>> 完成\n"_s : u"\n>>> 失败\n"_s);
    m_windowController.completeLog();
    m_windowController.setFinished(success, success ? u"当前任务已完成"_s : u"当前任务执行失败"_s);
    m_process.reset();
    if (const auto notify = onCompletion)
        notify(success); // may release us
}
