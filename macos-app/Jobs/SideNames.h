#pragma once

#include <QString>

#include <optional>

/// The names that a file gets which has to make room for another. `number` counts from 1 and tells those of one file
/// apart. All fit into 255 bytes.

/// ".movie-01.mp4.kestrel-older": for as long as its successor is written.
[[nodiscard]] QString hiddenName(const QString& name, int number);
/// The name that the hidden one stands for; nothing when it is no such name, or does not hold the whole of it.
[[nodiscard]] std::optional<QString> nameOfHidden(const QString& hidden);

/// "movie-01 (原文件).mp4", "movie-01 (原文件 2).mp4".
[[nodiscard]] QString olderName(const QString& name, int number);
/// "movie-01 (未完成).mp4".
[[nodiscard]] QString unfinishedName(const QString& name, int number);
