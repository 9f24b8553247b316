#pragma once

#include "CutLists/CutList.h"

#include <QByteArray>

/// The lists that are tables of comma-separated values. All writers and readers throw CutListError, a reader with the
/// line at which it stopped.

/// LosslessCut's: start, end and name of a clip a line, in seconds, no heading.
[[nodiscard]] QByteArray writeLosslessCutCsv(const CutList& list);
/// An empty start is the video's, an empty end the video's end.
[[nodiscard]] CutList readLosslessCutCsv(const QByteArray& bytes, const CutList& video);

/// PySceneDetect's list of scenes: pictures from 1, the last one included, times with milliseconds: those of the
/// numbers where the rate is constant, else the clip's own. Needs numbered pictures.
[[nodiscard]] QByteArray writeSceneCsv(const CutList& list);
/// With or without the first row of all cuts. Pictures are taken where those of the video are known, else seconds.
[[nodiscard]] CutList readSceneCsv(const QByteArray& bytes, const CutList& video);

/// number, name, start, end, length, enabled, transition; times in seconds, exact; disabled segments too.
[[nodiscard]] QByteArray writePlainCsv(const CutList& list);
/// Columns by their headings; without headings the first two columns are start and end.
[[nodiscard]] CutList readPlainCsv(const QByteArray& bytes, const CutList& video);
