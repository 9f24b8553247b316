#pragma once

#include "CutLists/CutList.h"

#include <QByteArray>

/// The lists that are chapters of a video. Chapters have names and times, and cannot be switched off. Readers throw
/// CutListError.

/// ffmpeg's metadata file. Times are pictures where the rate is constant and the pictures are numbered, else
/// microseconds; both ends are written.
[[nodiscard]] QByteArray writeFFMetadata(const CutList& list);
[[nodiscard]] CutList readFFMetadata(const QByteArray& bytes, const CutList& video);

/// Matroska's chapters in XML, as mkvmerge takes them: nanoseconds, elements in the order of its DTD.
[[nodiscard]] QByteArray writeMatroskaChapters(const CutList& list);
/// A chapter without an end goes on to the next one's start, the last one to the video's end.
[[nodiscard]] CutList readMatroskaChapters(const QByteArray& bytes, const CutList& video);
