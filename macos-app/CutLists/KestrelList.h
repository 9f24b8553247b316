#pragma once

#include "Models/SegmentList.h"

#include <QJsonObject>

/// A review as a document, NAME.kestrel.json: the detector's result as a detector writes it, and beside it one object,
/// "kestrel", with what the user made of it.
struct KestrelList
{
    /// Enough to find the video again and to notice that it is another one.
    struct Video
    {
        QString path;
        qint64 size = 0;     ///< bytes
        double duration = 0; ///< seconds; 0 when it is not known

        friend bool operator==(const Video&, const Video&) = default;
    };

    Video video;
    SegmentList list; ///< its video's address is `video.path`
    QString crop;     ///< as typed
    QString prefix;   ///< as typed
    /// What the document held beyond this: at its top, and under "kestrel". It is written back.
    QJsonObject otherKeys;
    QJsonObject otherKestrelKeys;

    friend bool operator==(const KestrelList&, const KestrelList&) = default;
};

/// UTF-8, the keys always in the same order, a line for each event, keep segment and segment, so that two lists can be
/// compared as text. Times are exact.
[[nodiscard]] QByteArray encodeKestrelList(const KestrelList& list);

/// The list in a document; a detector's plain result gives the segments that it proposes. Throws PayloadDecodingError,
/// which names the place and what was wrong there; so does a document of a later version.
[[nodiscard]] KestrelList decodeKestrelList(const QByteArray& document);
