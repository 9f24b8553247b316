#pragma once

#include "CutLists/CutList.h"

#include <QByteArray>

/// OpenTimelineIO: a timeline with one video track of clips without gaps, times at the video's true rate, counted from
/// the video's own timecode. Needs a constant rate and numbered pictures; throws CutListError otherwise.
[[nodiscard]] QByteArray writeOtio(const CutList& list);

/// The clips of the first video track, nested ones left out. `video` tells where the picture numbers begin if the clips
/// do not. Throws CutListError.
[[nodiscard]] CutList readOtio(const QByteArray& bytes, const CutList& video);
