#pragma once

#include "Models/FileURL.h"

#include <optional>

struct stat;

/// Which file something is, and enough of its state to notice that it was written since.
struct FileIdentity
{
    quint64 device = 0;
    quint64 inode = 0;
    qint64 size = 0;
    qint64 modificationSeconds = 0;
    qint64 modificationNanoseconds = 0; ///< of the second

    /// Follows links. Nothing when the path names no file or folder that can be asked.
    [[nodiscard]] static std::optional<FileIdentity> of(const FileURL& url);
    [[nodiscard]] static FileIdentity of(const struct stat& status);
    [[nodiscard]] static FileIdentity ofOpenFile(int descriptor);

    /// Whether both are one file, however each was spelled and whatever was written to it in between.
    [[nodiscard]] bool sameFile(const FileIdentity& other) const
    {
        return device == other.device && inode == other.inode;
    }

    friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};
