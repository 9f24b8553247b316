#pragma once

#include "Jobs/JobEnd.h"
#include "Jobs/JobProcess.h"

#include <functional>
#include <optional>

/// One job from its launch to its judged end: runs ffmpeg, follows what it says, and looks at the clip afterwards.
/// Needs no window. A job that runs when its owner gives it up goes on to its end without a report.
class SplitJob final : public QObject
{
public:
    /// Gives a job up without ending it, also from inside its own reports.
    struct Release
    {
        void operator()(SplitJob* job) const;
    };
    using Owner = std::unique_ptr<SplitJob, Release>;

    /// Returns once ffmpeg runs; throws ProcessLaunchError when it cannot be started.
    [[nodiscard]] static Owner launch(const FFmpegJob& job, const RuntimeConfiguration& runtime);

    /// Each read of ffmpeg's output, after it went into `report()`. The job may not be released in it.
    std::function<void(const QByteArray& chunk)> onOutput;
    /// Called once, after all of the output. The job may be released in it.
    std::function<void(const JobEnd& end)> onEnd;

    /// Ends the running ffmpeg as JobProcess::stop() does.
    void stop();

    /// What ffmpeg has said so far.
    [[nodiscard]] const FFmpegReport& report() const { return m_outputReader.report(); }

private:
    SplitJob(const FFmpegJob& job, const RuntimeConfiguration& runtime);
    void readOutput();
    void finish();
    [[nodiscard]] JobEnd judgedEnd() const;

    const FFmpegJob m_job;
    std::unique_ptr<JobProcess> m_process; ///< until it has ended
    FFmpegOutputReader m_outputReader;
    bool m_stopped = false;
};
