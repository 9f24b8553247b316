#pragma once

#include "Models/FileURL.h"

#include <QWidget>

#include <functional>
#include <optional>

/// The dialogs in which the user picks a video or a folder. They return at once; `onChosen` is called when one was
/// confirmed. They begin in `startingFolder`, if that is given.

/// Offers the files that are videos by their names, in whatever letter case.
void chooseVideo(QWidget* window, const std::optional<FileURL>& startingFolder,
                 const std::function<void(const FileURL&)>& onChosen);
void chooseFolder(QWidget* window, const std::optional<FileURL>& startingFolder,
                  const std::function<void(const FileURL&)>& onChosen);
/// A list to open, Kestrel's own or another program's.
void chooseList(QWidget* window, const std::optional<FileURL>& startingFolder,
                const std::function<void(const FileURL&)>& onChosen);
/// A file to write, which the user confirms if it exists; the suffix of the chosen filter is added where there is none.
/// `onChosen` hears the filter's place too.
void chooseNewFile(QWidget* window, const QString& title, const FileURL& suggestion, const QStringList& nameFilters,
                   const std::function<void(const FileURL&, int filter)>& onChosen);
