#pragma once

#include <QIODevice>

enum class ClipContent {
    unknown, ///< none of the containers that are known here
    broken,  ///< a container without anything that a player could show
    playable
};

/// What a player would find in a file, told from the way in which the usual containers are built: it costs a few reads.
[[nodiscard]] ClipContent contentOfClip(QIODevice& file);
