#pragma once

#include "Services/RuntimeConfiguration.h"

#include <QList>

#include <optional>

/// The folders in which tools of our own are looked for, in this order.
struct SearchRoots
{
    std::optional<FileURL> resourcesDirectory;
    FileURL bundleParent;
    std::optional<FileURL> currentDirectory; ///< absent when the current folder was deleted

    [[nodiscard]] static SearchRoots current();
};

/// Finds the interpreter, the detector script and ffmpeg among fixed candidates. Nothing is cached or created, and a
/// candidate is reported as it was formed, its links unresolved. Safe on any thread.
class RuntimeResolver final
{
public:
    RuntimeResolver() = delete;

    /// Throws AppRuntimeError::missingDependency for the first missing piece, in the order interpreter, script, ffmpeg.
    [[nodiscard]] static RuntimeConfiguration resolve();

    [[nodiscard]] static QList<FileURL> pythonCandidates(const SearchRoots& roots);
    [[nodiscard]] static QList<FileURL> detectorScriptCandidates(const SearchRoots& roots);
    [[nodiscard]] static QList<FileURL> ffmpegCandidates();

    /// The first candidate that the current user may execute, or nothing. access(2) decides.
    [[nodiscard]] static std::optional<FileURL> firstExecutable(const QList<FileURL>& candidates);
    /// The same for reading.
    [[nodiscard]] static std::optional<FileURL> firstReadableFile(const QList<FileURL>& candidates);
};
