#pragma once

#include "CutLists/CutList.h"

#include <QByteArray>

/// A kind of list that other programs read or write. A further one is added to the table and nowhere else.
struct CutListKind
{
    QString id;                 ///< for the command line: "otio"
    QString title;              ///< for the user: "OpenTimelineIO"
    QString suffix;             ///< of its files, without a point
    bool takesDisabled = false; ///< disabled segments are written too
    bool needsPictures = false; ///< it counts pictures, so that their numbers must be known
    /// One file, or several where a list does not fit into one. Throws CutListError.
    QList<QByteArray> (*write)(const CutList& list) = nullptr;
    /// The clips; the second argument describes the video that they are meant for. Throws CutListError.
    CutList (*read)(const QByteArray& bytes, const CutList& video) = nullptr;
    /// Whether a file of that suffix and content is of this kind, the first in the table being taken.
    bool (*matches)(const QString& suffix, const QByteArray& bytes) = nullptr;
};

[[nodiscard]] const QList<CutListKind>& cutListKinds();

/// The list in a file of any kind in the table. Throws CutListError when none fits.
[[nodiscard]] CutList readCutList(const QString& suffix, const QByteArray& bytes, const CutList& video);

/// Whether a file is taken for a list by its name, Kestrel's own included.
[[nodiscard]] bool hasListName(const FileURL& file);

/// Larger files than this are no lists; in bytes.
inline constexpr qint64 largestCutList = 100'000'000;
