#pragma once

#include "Jobs/JobProcess.h"
#include "Models/FFmpegOutputReader.h"
#include "Services/RuntimeConfiguration.h"
#include "WorkerWindowController/WorkerWindowController.h"

#include <functional>

/// One lane of a split: a window, and at most one job at a time, whose output goes into the window's log.
/// A job that runs when its runner goes is not ended; nobody hears of it any more.
class WorkerRunner final : public QObject
{
public:
    WorkerRunner(int workerIndex, int totalWorkers, const RuntimeConfiguration& runtime);

    /// Called once for every job that was launched, when the window shows its end. A further job may be run in it, and
    /// the runner may be released in it.
    std::function<void(bool success)> onCompletion;
    /// Called when `report()` may have grown. The runner may not be released in it.
    std::function<void()> onOutput;

    /// Returns once ffmpeg runs; the window shows it from the event loop on, before the first output. Throws
    /// ProcessLaunchError when it cannot be started: then nothing is shown and `onCompletion` is not called.
    void run(const FFmpegJob& job, int position, int total);
    /// Ends the running job, if any, as JobProcess::stop() does; it then completes as a failed one.
    void stop();
    /// What ffmpeg has said about the last job that was run.
    [[nodiscard]] const FFmpegReport& report() const { return m_outputReader.report(); }

    [[nodiscard]] WorkerWindowController& windowController() { return m_windowController; }

private:
    void appendOutput();
    void finish();

    WorkerWindowController m_windowController;
    const RuntimeConfiguration m_runtime;
    JobProcess::Owner m_process;
    FFmpegOutputReader m_outputReader;
};
