#pragma once

#include "Jobs/SplitJob.h"
#include "WorkerWindowController/WorkerWindowController.h"

/// One lane of a split: a window, and at most one job at a time, whose output goes into the window's log.
/// A job that runs when its runner goes is not ended; nobody hears of it any more.
class WorkerRunner final : public QObject
{
public:
    WorkerRunner(int workerIndex, int totalWorkers, const RuntimeConfiguration& runtime);

    /// What the window has written so far, of which each job takes account.
    std::shared_ptr<WrittenClips> writtenClips = std::make_shared<WrittenClips>();
    /// Called once for every job that was launched, when the window shows its end. A further job may be run in it, and
    /// the runner may be released in it.
    std::function<void(bool success)> onCompletion;
    /// Called when `report()` may have grown. The runner may not be released in it.
    std::function<void()> onOutput;

    /// Returns once ffmpeg runs; the window shows it from the event loop on, before the first output. Throws as
    /// SplitJob::launch() does: then nothing is shown and `onCompletion` is not called.
    void run(const FFmpegJob& job, int position, int total);
    /// Ends the running job, if any, as SplitJob::stop() does; it then completes as a failed one.
    void stop();
    /// What ffmpeg has said so far about the running job.
    [[nodiscard]] const FFmpegReport& report() const { return m_job->report(); }
    /// How the last job ended.
    [[nodiscard]] const JobEnd& end() const { return m_end; }

    [[nodiscard]] WorkerWindowController& windowController() { return m_windowController; }

private:
    void appendOutput(const QByteArray& chunk);
    void finish(const JobEnd& end);

    WorkerWindowController m_windowController;
    const RuntimeConfiguration m_runtime;
    SplitJob::Owner m_job;
    JobEnd m_end;
};
