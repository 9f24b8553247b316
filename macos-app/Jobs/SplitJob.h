#pragma once

#include "Jobs/JobEnd.h"
#include "Jobs/OutputPlace.h"
#include "Services/ChildProcess.h"
#include "Services/RuntimeConfiguration.h"

#include <functional>
#include <memory>

/// One job from its launch to its judged end: makes room for the clip, runs ffmpeg, follows what it says, looks at the
/// clip and sees to an older file under its name. Needs no window. A job that runs when its owner gives it up goes on
/// to its end without a report; at the application's end it is killed and leaves everything as it found it.
class SplitJob final : public QObject
{
public:
    /// Gives a job up without ending it, also from inside its own reports.
    struct Release
    {
        void operator()(SplitJob* job) const;
    };
    using Owner = std::unique_ptr<SplitJob, Release>;

    /// Returns once ffmpeg runs in the output's folder. Throws ProcessLaunchError when it cannot be started, and
    /// OutputError when it must not write there; then everything is as it was.
    [[nodiscard]] static Owner launch(const FFmpegJob& job, const RuntimeConfiguration& runtime,
                                      const std::shared_ptr<WrittenClips>& writtenClips);

    /// Each read of ffmpeg's output, after it went into `report()`. The job may not be released in it.
    std::function<void(const QByteArray& chunk)> onOutput;
    /// Called once, after all of the output. The job may be released in it.
    std::function<void(const JobEnd& end)> onEnd;

    /// Ends ffmpeg. Unless it had succeeded by then, nothing is left of its clip when the end is told.
    void stop();

    /// What ffmpeg has said so far.
    [[nodiscard]] const FFmpegReport& report() const { return m_outputReader.report(); }

private:
    SplitJob(const FFmpegJob& job, const RuntimeConfiguration& runtime,
             const std::shared_ptr<WrittenClips>& writtenClips);

    void finish();
    [[nodiscard]] JobEnd judgedEnd();
    [[nodiscard]] JobEnd judgedClip();

    const FFmpegJob m_job;
    OutputPlace m_place; // outlives ffmpeg
    ChildProcess m_process;
    FFmpegOutputReader m_outputReader;
    bool m_stopped = false;
    bool m_ended = false;
};
