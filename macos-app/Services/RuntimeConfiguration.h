#pragma once

#include "Models/FileURL.h"

#include <QProcessEnvironment>

/// The outside programs that a request works with, found once and then copied freely.
struct RuntimeConfiguration
{
    FileURL pythonURL;
    FileURL detectorScriptURL;
    FileURL ffmpegURL;

    /// The whole environment of every child process: our own, with a PATH in which the tools' folders and the system's
    /// come before what was inherited. Computed anew on each call.
    [[nodiscard]] QProcessEnvironment subprocessEnvironment() const;

    friend bool operator==(const RuntimeConfiguration&, const RuntimeConfiguration&) = default;
};

/// The PATH of a child process: both tools' folders, the system's folders, then the entries of `inheritedPath`; empty
/// entries and later duplicates (compared as text) are dropped.
[[nodiscard]] QString subprocessPath(const FileURL& pythonURL, const FileURL& ffmpegURL, const QString& inheritedPath);
