#pragma once

#include "Models/FileURL.h"

#include <QByteArray>

#include <optional>

/// What a file is known by wherever it lies: its size, its time and a hash of its first and last megabyte.
struct FileMark
{
    qint64 size = 0;
    qint64 time = 0; ///< of the last modification, nanoseconds since 1970
    QByteArray hash; ///< in hexadecimal digits

    /// Reads the file. Nothing when it cannot be read, or is no file.
    [[nodiscard]] static std::optional<FileMark> of(const FileURL& url);
    /// The text() of a mark.
    [[nodiscard]] static std::optional<FileMark> fromText(const QString& text);

    [[nodiscard]] QString text() const;
    /// Whether the file still is what was marked. It is only read when its time has changed.
    [[nodiscard]] bool holdsFor(const FileURL& url) const;

    friend bool operator==(const FileMark&, const FileMark&) = default;
};
