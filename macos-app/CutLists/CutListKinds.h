#pragma once

#include "CutLists/CutList.h"

#include <QByteArray>

/// Whether a kind of list counts the pictures of the video.
enum class PictureUse {
    unused,
    welcome, ///< it is written in units of a picture where they are known, else in time
    needed   ///< it cannot be written without, and is read by them
};

/// A kind of list that other programs read or write. A further one is added to the table and nowhere else.
struct CutListKind
{
    QString id;                 ///< for the command line: "otio"
    QString title;              ///< for the user: "OpenTimelineIO"
    QString suffix;             ///< of its files, without a point
    bool takesDisabled = false; ///< disabled segments are written too
    PictureUse pictures = PictureUse::unused;
    /// One file, or several where a list does not fit into one. Throws CutListError.
    QList<QByteArray> (*write)(const CutList& list) = nullptr;
    /// The clips; the second argument describes the video that they are meant for. Throws CutListError.
    CutList (*read)(const QByteArray& bytes, const CutList& video) = nullptr;
    /// Whether a file of that suffix and content is of this kind, the first in the table being taken.
    bool (*matches)(const QString& suffix, const QByteArray& bytes) = nullptr;
};

[[nodiscard]] const QList<CutListKind>& cutListKinds();

/// The kind in the table that such a file is of. Throws CutListError when none fits.
[[nodiscard]] const CutListKind& cutListKindOf(const QString& suffix, const QByteArray& bytes);

/// The list in a file of any kind in the table. Throws CutListError when none fits, and when it is empty.
[[nodiscard]] CutList readCutList(const QString& suffix, const QByteArray& bytes, const CutList& video);

/// Whether a file is taken for a list by its name, Kestrel's own included.
[[nodiscard]] bool hasListName(const FileURL& file);

/// Larger files than this are no lists; in bytes. 10,000 clips take 22 millions in the longest kind.
inline constexpr qint64 largestCutList = 32'000'000;
