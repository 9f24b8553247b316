#pragma once

#include "Models/FFmpegJob.h"
#include "Services/FileIdentity.h"
#include "Services/RuntimeConfiguration.h"

#include <QProcess>

#include <memory>

/// The ffmpeg that carries out one job. Both of its outputs come through one pipe.
class JobProcess final : public QProcess
{
public:
    /// An ffmpeg that still runs is killed, and what it had begun is removed.
    ~JobProcess() override;

    /// Returns once ffmpeg runs in the output's folder; throws ProcessLaunchError when it cannot be started.
    [[nodiscard]] static std::unique_ptr<JobProcess> launch(const FFmpegJob& job, const RuntimeConfiguration& runtime);

    /// Asks ffmpeg to end, and kills it when it does not within the grace period. Unless it had succeeded by then, the
    /// output that it had begun is removed before finished() reaches anybody else; a file that it left alone stays.
    void stop();

    /// After finished(). Death by a signal is a failure whatever the status says.
    [[nodiscard]] bool succeeded() const { return exitStatus() == NormalExit && exitCode() == 0; }

private:
    JobProcess(const FFmpegJob& job, const RuntimeConfiguration& runtime);
    void removeUnfinishedOutput() const;

    const FileURL m_outputURL;
    const std::optional<FileIdentity> m_outputBefore;
    bool m_stopped = false;
};
