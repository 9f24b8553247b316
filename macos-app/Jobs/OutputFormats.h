#pragma once

#include <QString>

#include <optional>

/// What becomes of a clip by its extension, from which ffmpeg takes the container. Extensions come without the point.

/// Whether ffmpeg writes more files than the one that it is told to.
[[nodiscard]] bool makesSeveralFiles(const QString& extension);

/// What is wrong with an extension that ffmpeg cannot write, and what to do, in one sentence for the user.
[[nodiscard]] std::optional<QString> doubtAboutExtension(const QString& extension);
