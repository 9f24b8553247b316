#pragma once

#include "Models/FFmpegOutputReader.h"

enum class JobOutcome {
    completed,
    doubtful, ///< ffmpeg ended with success, but the clip is not what was asked for
    failed,
    stopped
};

/// How a job ended, once everything about its clip is known.
struct JobEnd
{
    JobOutcome outcome = JobOutcome::failed;
    FFmpegReport report;
    QString remark;   ///< for the user: what is wrong with the clip, or why there is none; what became of an older file
    QString reason{}; ///< of these, only what is wrong or was said, nothing of an older file
    double processorTime = 0; ///< seconds that ffmpeg kept processors busy

    /// A doubtful clip counts as written.
    [[nodiscard]] bool succeeded() const { return outcome == JobOutcome::completed || outcome == JobOutcome::doubtful; }
};
