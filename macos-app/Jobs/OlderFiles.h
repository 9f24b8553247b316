#pragma once

#include "Jobs/WrittenClips.h"
#include "Models/FFmpegJob.h"

#include <QHash>

/// How many files lie under the outputs' names that a split would move to the trash.
[[nodiscard]] int olderFilesToTrash(const QList<FFmpegJob>& jobs, const WrittenClips& writtenClips);

/// Puts back what a Kestrel that was killed had set aside in the folders of these outputs. What was only begun makes
/// room for it; where anything else has taken its name it lies beside that afterwards: then the result tells so, in
/// words for the user, by the output's path.
[[nodiscard]] QHash<QString, QString> putOlderFilesBack(const QList<FFmpegJob>& jobs);
