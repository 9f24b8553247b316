#pragma once

#include "Jobs/ClipContent.h"
#include "Models/FFmpegJob.h"
#include "Models/FFmpegOutputReader.h"

/// Why the clip of a job that ffmpeg ended with success is not what was asked for.
struct ClipDoubt
{
    QString text;             ///< for the user
    bool isWorthless = false; ///< there is nothing in it

    friend bool operator==(const ClipDoubt&, const ClipDoubt&) = default;
};

/// Nothing when there is no reason to doubt. `fileSize` is in bytes, absent when there is no file of this job's.
[[nodiscard]] std::optional<ClipDoubt> doubtAboutClip(const FFmpegJob& job, const FFmpegReport& report,
                                                      std::optional<qint64> fileSize, ClipContent content);
