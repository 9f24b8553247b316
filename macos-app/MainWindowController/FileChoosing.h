#pragma once

#include "Models/FileURL.h"

#include <QWidget>

#include <functional>
#include <optional>

/// The dialogs in which the user picks a video or a folder. They return at once; `onChosen` is called when one was
/// confirmed.

/// Offers the files that are videos by their names, in whatever letter case.
void chooseVideo(QWidget* window, const std::function<void(const FileURL&)>& onChosen);
/// Begins in `startingFolder`, if that is given.
void chooseFolder(QWidget* window, const std::optional<FileURL>& startingFolder,
                  const std::function<void(const FileURL&)>& onChosen);
