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

/// What becomes of files that lie under the names of outputs; nothing when there are none.
[[nodiscard]] QString replacementToolTip(int olderFiles);
