#include "Jobs/ClipContent.h"

#include <QByteArray>
#include <QtEndian>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype headLength = 256 * 1024; ///< within which the first picture lies

ClipContent playableIf(bool isPlayable)
{
    return isPlayable ? ClipContent::playable : ClipContent::broken;
}

/// A movie that was not written to its end lacks the box with its index.
bool movieHasIndex(QIODevice& file)
{
    constexpr qint64 headerLength = 8;
    for (qint64 position = 0; file.seek(position);) {
        const QByteArray header = file.read(2 * headerLength);
        if (header.size() < headerLength)
            return false;
        if (header.sliced(4, 4) == "moov")
            return true;
        qint64 length = qFromBigEndian<quint32>(header.constData());
        if (length == 1 && header.size() == 2 * headerLength)
            length = qFromBigEndian<qint64>(header.constData() + headerLength);
        if (length < headerLength || length > file.size() - position)
            return false;
        position += length;
    }
    return false;
}

/// A packet of a stream begins with 00 00 01 and its kind: of pictures, of sound, of either.
bool holdsPacketizedStream(QByteArrayView bytes)
{
    for (qsizetype at = bytes.indexOf("\0\0\1"_ba); at >= 0 && at + 3 < bytes.size();
         at = bytes.indexOf("\0\0\1"_ba, at + 1)) {
        const auto kind = static_cast<uchar>(bytes[at + 3]);
        if ((kind >= 0xc0 && kind <= 0xef) || kind == 0xbd || kind == 0xfd)
            return true;
    }
    return false;
}

/// Whether `marker`, which opens the part with pictures and sound, is there and something follows it. What is longer
/// than the head is not looked through.
bool holdsDataAfter(QByteArrayView marker, const QByteArray& head)
{
    constexpr qsizetype leastData = 64;
    const qsizetype found = head.indexOf(marker);
    return found >= 0 ? head.size() > found + leastData : head.size() == headLength;
}

bool isTransportStream(const QByteArray& head)
{
    const auto repeatsEvery = [&head](qsizetype length, qsizetype first) {
        return head.size() > first + length && head[first] == 'G' && head[first + length] == 'G';
    };
    return repeatsEvery(188, 0) || repeatsEvery(192, 4);
}

} // namespace

ClipContent contentOfClip(QIODevice& file)
{
    if (!file.seek(0))
        return ClipContent::unknown;
    const QByteArray head = file.read(headLength);
    if (head.sliced(0, std::min<qsizetype>(head.size(), 8)).endsWith("ftyp"))
        return playableIf(movieHasIndex(file));
    if (isTransportStream(head) || head.startsWith("\0\0\1\xba"_ba))
        return playableIf(holdsPacketizedStream(head));
    if (head.startsWith("\x1a\x45\xdf\xa3"))
        return playableIf(holdsDataAfter("\x1f\x43\xb6\x75", head));
    if (head.startsWith("RIFF"))
        return playableIf(holdsDataAfter("movi", head));
    if (head.startsWith("\x30\x26\xb2\x75"))
        return playableIf(holdsDataAfter("\x36\x26\xb2\x75", head));
    constexpr std::array streams = {"FLV", "OggS", "GIF8", "nut/", "\x06\x0e\x2b\x34", "\x1f\x07"};
    const bool isStream =
        std::any_of(streams.begin(), streams.end(), [&](const char* m) { return head.startsWith(m); });
    constexpr qsizetype longestHeader = 16 * 1024;
    return isStream && head.size() > longestHeader ? ClipContent::playable : ClipContent::unknown;
}
