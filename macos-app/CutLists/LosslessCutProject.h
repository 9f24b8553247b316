#pragma once

#include "CutLists/CutList.h"

#include <QByteArray>

/// A project of LosslessCut (.llc), version 2; read are versions 1 and 2, which are JSON5.
[[nodiscard]] QByteArray writeLosslessCutProject(const CutList& list);

/// A segment without a start begins with the video, one without an end ends with it. Throws CutListError.
[[nodiscard]] CutList readLosslessCutProject(const QByteArray& bytes, const CutList& video);
