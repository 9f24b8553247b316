#pragma once

#include "Models/FFmpegJob.h"

/// What must hold before ffmpeg may write.

/// Creates the folder with any missing parents. Throws AppRuntimeError with the path and the reason.
void createOutputDirectory(const FileURL& url);

/// Throws AppRuntimeError when a job would write onto its own source, however differently the two are spelled.
void requireSourcesAreSafe(const QList<FFmpegJob>& jobs);
