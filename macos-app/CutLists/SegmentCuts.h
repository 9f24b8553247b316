#pragma once

#include "CutLists/CutList.h"
#include "Models/FFmpegJob.h"
#include "Models/SegmentList.h"

/// The segments that are enabled, or all that have a length, with the names of the clips that `jobs` write: one for
/// each enabled segment, in the same order. Pictures are not numbered.
[[nodiscard]] CutList cutListOf(const SegmentList& list, const QList<FFmpegJob>& jobs, bool takesDisabled);

/// "name-2.edl" for the second file of several.
[[nodiscard]] FileURL numberedFile(const FileURL& file, qsizetype number);
