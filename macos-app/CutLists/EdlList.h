#pragma once

#include "CutLists/CutList.h"

#include <QByteArray>

/// Edit decision lists as CMX 3600 has them: one video track of cuts, the record side from 01:00:00:00, every out point
/// exclusive. At most 999 events fit into one, so that a longer list becomes several, each with its own record side.
/// Needs a constant rate and numbered pictures; throws CutListError otherwise.
[[nodiscard]] QList<QByteArray> writeEdl(const CutList& list);

/// The source side of every video event; `video` tells the rate and the timecode at which the video begins. Throws
/// CutListError, which names the line.
[[nodiscard]] CutList readEdl(const QByteArray& bytes, const CutList& video);
