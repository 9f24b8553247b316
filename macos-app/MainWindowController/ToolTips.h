#pragma once

#include "Models/EditableSegment.h"
#include "Models/FFmpegJob.h"

class MainWindow;

/// What the window tells where the pointer rests.

/// Gives every control of the form its tool tip.
void addToolTips(const MainWindow& window);

/// What becomes of the segment in that row: its file and length, or why there is none. `jobs` are those of all
/// segments, or none when they cannot be built.
[[nodiscard]] QString segmentToolTip(const QList<EditableSegment>& segments, const QList<FFmpegJob>& jobs, int row);

/// What the naming preview has to tell beside the name: that ffmpeg cannot write such a file, and how many files a
/// split would move to the trash. Empty when there is nothing to tell.
[[nodiscard]] QString namingToolTip(const std::optional<FileURL>& videoURL, int olderFiles);
