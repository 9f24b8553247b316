#pragma once

#include "Batch/Manifest.h"
#include "Batch/VideoQueue.h"

/// The clips of a video, and which of them are still to be written.
struct ClipPlan
{
    VideoRecord record; ///< with what was noted of its clips before
    QList<FFmpegJob> jobs;
    QList<bool> isWritten; ///< of each job: its clip lies in its place as it was written
    QStringList remarks;   ///< for the user: what became of older files
};

/// Notes the clips in the manifest when they are others than before. Who uses the folder alone also puts right what one
/// that was killed has left in the video's folder. Throws CutListError when there are none, and
/// OutputError when they cannot be written there.
[[nodiscard]] ClipPlan planClips(const CommandLine& line, const VideoQueue::Video& video, const BatchFolder& folder,
                                 BatchFolder::Use use, Manifest& manifest);

/// Puts older files back that one that was killed had set aside; for the user, what became of those that had no place.
/// Only for one that is alone.
[[nodiscard]] QStringList putRight(const QList<FFmpegJob>& jobs);

/// Notes why a video has no clips, as far as that can be noted.
void noteFailure(const BatchInput& input, const QString& reason, const BatchFolder& folder, Manifest& manifest);
