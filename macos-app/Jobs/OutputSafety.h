#pragma once

#include "Models/FFmpegJob.h"
#include "Services/MessageError.h"

#include <system_error>

/// What must hold before ffmpeg may write.

/// Creates the folder with any missing parents. Throws OutputError with the path and the reason.
void createOutputDirectory(const FileURL& url);

/// Throws OutputError when a job would write onto its own source, however differently the two are spelled.
void requireSourcesAreSafe(const QList<FFmpegJob>& jobs);
[[nodiscard]] OutputError sourceWouldBeOverwritten();

/// Throws OutputError when ffmpeg would write more files than the outputs.
void requireSingleFiles(const QList<FFmpegJob>& jobs);

/// Why a file or folder could not be written, in words for the user.
[[nodiscard]] QString writingFailureText(const std::error_code& error);
