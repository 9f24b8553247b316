#pragma once

#include "Models/FFmpegJob.h"
#include "Services/AppRuntimeError.h"

#include <system_error>

/// What must hold before ffmpeg may write.

/// Creates the folder with any missing parents. Throws AppRuntimeError with the path and the reason.
void createOutputDirectory(const FileURL& url);

/// Throws AppRuntimeError when a job would write onto its own source, however differently the two are spelled.
void requireSourcesAreSafe(const QList<FFmpegJob>& jobs);
[[nodiscard]] AppRuntimeError sourceWouldBeOverwritten();

/// Why a file or folder could not be written, in words for the user.
[[nodiscard]] QString writingFailureText(const std::error_code& error);
