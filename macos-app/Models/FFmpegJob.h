#pragma once

#include "Models/CropParameters.h"
#include "Models/FileURL.h"

#include <QStringList>

#include <optional>

/// One output file of a run and the ffmpeg call that writes it. `index` counts from 1; times are seconds.
struct FFmpegJob
{
    qint64 index = 0;
    FileURL inputURL;
    FileURL outputURL;
    double start = 0;
    double duration = 0;
    std::optional<CropParameters> crop;

    /// ffmpeg's words for display, without the flags that only a child process of ours needs.
    [[nodiscard]] QStringList arguments() const;
    /// The words that ffmpeg really gets: no reading of standard input, progress lines on standard error.
    [[nodiscard]] QStringList executionArguments() const;
    /// "ffmpeg" and `arguments()` as one line with shell-like quoting, for reading only.
    [[nodiscard]] QString commandPreview() const;
    /// The same words as a line that can be given to a shell.
    [[nodiscard]] QString shellCommand() const;

    friend bool operator==(const FFmpegJob&, const FFmpegJob&) = default;
};
