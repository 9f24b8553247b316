#pragma once

#include "CutLists/KestrelList.h"

#include <QList>

#include <functional>

/// A video, or a list that names one.
struct BatchInput
{
    FileURL file;
    bool isList = false;
    FileURL video;  ///< of a list that cannot be read, nothing
    QString folder; ///< the name of the folder for the video's clips
};

/// Throws UsageError when two inputs would be written to one place, of which `placeOf` tells, or a video's name cannot
/// be a folder's.
[[nodiscard]] QList<BatchInput> readInputs(const QStringList& operands,
                                           const std::function<QString(const BatchInput&)>& placeOf);

/// The list in a file. Throws CutListError or PayloadDecodingError.
[[nodiscard]] KestrelList readList(const FileURL& file);

/// A list's video where the list says, else beside the list. Throws CutListError when it is in neither place.
[[nodiscard]] FileURL videoOfList(const KestrelList& list, const FileURL& file);

/// Throws CutListError when the list was made for a video of another size.
void requireVideoFits(const KestrelList& list, const FileURL& video);
