#pragma once

#include "Models/EditableSegment.h"
#include "Models/FFmpegJob.h"

/// The jobs of a run: one for each enabled segment that has a length, in the order of the list, numbered from 1
/// without gaps. An empty or unusable prefix falls back to the video's base name; the output keeps its extension.
[[nodiscard]] QList<FFmpegJob> buildJobs(const QList<EditableSegment>& segments, const FileURL& videoURL,
                                         const FileURL& outputDirectoryURL, const QString& prefix,
                                         const std::optional<CropParameters>& crop);
