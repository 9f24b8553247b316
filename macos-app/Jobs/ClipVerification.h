#pragma once

#include "Models/FFmpegJob.h"
#include "Models/FFmpegOutputReader.h"

/// Why the clip of a job that ffmpeg ended with success is not what was asked for, in words for the user; nothing when
/// there is no reason. `fileSize` is in bytes, absent when the file cannot be read.
[[nodiscard]] std::optional<QString> doubtAboutClip(const FFmpegJob& job, const FFmpegReport& report,
                                                    std::optional<qint64> fileSize);
