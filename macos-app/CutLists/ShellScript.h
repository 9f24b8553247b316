#pragma once

#include "Models/FFmpegJob.h"

#include <QByteArray>

/// A POSIX shell script that does what a split of these jobs does, one ffmpeg after another; it goes on after a failure
/// and then ends with status 1, unless it is called with -e, which stops at the first one. Each call stands on a line
/// of its own that begins with "ffmpeg", so that GNU parallel can be given them.
[[nodiscard]] QByteArray writeShellScript(const QList<FFmpegJob>& jobs);
