#pragma once

#include "CutLists/CutList.h"

#include <QStringView>

#include <utility>

/// Seconds from "83.5", "83,5", "1:23.5", "0:01:23,500"; nothing for any other text.
[[nodiscard]] std::optional<double> parseListTime(QStringView text);

/// Seconds with a point, as many digits as tell the number exactly.
[[nodiscard]] QString formatListSeconds(double seconds);

/// The microsecond, or any other unit, that a time lies in: never rounded up, since a clip that begins a moment late
/// loses its first picture. `perSecond` units make a second.
[[nodiscard]] qint64 unitsBefore(double seconds, qint64 perSecond);

/// The times from which ffmpeg, which is given whole milliseconds, cuts the pictures between two times: the start is
/// not rounded up, and the end keeps its distance from it.
[[nodiscard]] std::pair<double, double> wholeMilliseconds(double start, double end);

/// The bytes of a list as text, without its byte order mark. Throws CutListError when they are no UTF-8.
[[nodiscard]] QString listText(const QByteArray& bytes);

/// The range of pictures of an enabled or disabled item; throws CutListError where none is known.
[[nodiscard]] PictureRange picturesOf(const CutListItem& item);

/// Throws CutListError when the list's pictures come at varying intervals: `kind` counts pictures.
[[nodiscard]] FrameRate constantRate(const CutList& list, const QString& kind);

/// "第 7 行：" and what is wrong there.
[[nodiscard]] QString atLine(qsizetype line, const QString& fault);
