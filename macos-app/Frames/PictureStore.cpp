#include "Frames/PictureStore.h"

#include "Services/RecoveryStore.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QtEndian>

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QString ending = u".pictures"_s;
/// A record is this word, the payload's length in four bytes, its digest, and the payload: a line of JSON, then
/// pictures.
const QByteArray word = "Kestrel1";
constexpr qsizetype digestBytes = 20;
constexpr qsizetype headBytes = 8 + 4 + digestBytes;
constexpr int quality = 85;

QByteArray digest(const QByteArray& payload)
{
    return QCryptographicHash::hash(payload, QCryptographicHash::Sha1);
}

/// Sixty-four bits outlive JSON as text only.
QJsonValue json(qint64 number)
{
    return QString::number(number);
}

QByteArray encode(const StoredReply& stored)
{
    const FrameReply& reply = stored.times;
    QJsonArray pictures;
    QByteArray images;
    for (const StoredPicture& picture : stored.pictures) {
        pictures.append(QJsonArray{json(picture.ticks), picture.sourceSize.width(), picture.sourceSize.height(),
                                   picture.box.width(), picture.box.height(), picture.jpeg.size()});
        images += picture.jpeg;
    }
    const VideoClock& clock = reply.clock;
    QJsonArray frames;
    for (const qint64 ticks : reply.frames)
        frames.append(json(ticks));
    const QJsonObject head{
        {u"clock"_s, QJsonArray{json(clock.tickNumerator), json(clock.tickDenominator), json(clock.rateNumerator),
                                json(clock.rateDenominator), json(clock.startMicroseconds), clock.hasOneStream,
                                clock.seeksExactly, clock.packetsAreFrames}},
        {u"from"_s, json(reply.from)},
        {u"to"_s, json(reply.to)},
        {u"frames"_s, frames},
        {u"pictures"_s, pictures}};
    return QJsonDocument(head).toJson(QJsonDocument::Compact) + '\n' + images;
}

qint64 number(const QJsonValue& value)
{
    return value.toString().toLongLong();
}

std::optional<StoredReply> decode(const QByteArray& payload)
{
    const qsizetype line = payload.indexOf('\n');
    const QJsonObject head = QJsonDocument::fromJson(payload.left(std::max<qsizetype>(line, 0))).object();
    const QJsonArray clock = head.value(u"clock"_s).toArray();
    StoredReply stored;
    FrameReply& times = stored.times;
    times.clock = {number(clock.at(0)), number(clock.at(1)),  number(clock.at(2)),  number(clock.at(3)),
                   number(clock.at(4)), clock.at(5).toBool(), clock.at(6).toBool(), clock.at(7).toBool()};
    const VideoClock& read = times.clock;
    if (read.tickNumerator <= 0 || read.tickDenominator <= 0 || read.rateNumerator <= 0 || read.rateDenominator <= 0)
        return std::nullopt;
    times.from = number(head.value(u"from"_s));
    times.to = number(head.value(u"to"_s));
    for (const QJsonValue& ticks : head.value(u"frames"_s).toArray())
        times.frames.append(number(ticks));
    if (times.from > times.to || !std::is_sorted(times.frames.begin(), times.frames.end()))
        return std::nullopt;
    qsizetype at = line + 1;
    for (const QJsonValue& value : head.value(u"pictures"_s).toArray()) {
        const QJsonArray picture = value.toArray();
        const qsizetype length = picture.at(5).toInteger();
        if (length < 0 || length > payload.size() - at)
            return std::nullopt;
        stored.pictures.append({number(picture.at(0)),
                                {picture.at(1).toInt(), picture.at(2).toInt()},
                                {picture.at(3).toInt(), picture.at(4).toInt()},
                                payload.mid(at, length)});
        at += length;
    }
    return stored;
}

} // namespace

StoredPicture StoredPicture::of(const FramePicture& picture)
{
    const QSize size = picture.image.size();
    const bool isSmall = size.boundedTo(PictureStore::box) == size;
    const QImage image = isSmall
                             ? picture.image
                             : picture.image.scaled(PictureStore::box, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    QBuffer jpeg;
    image.save(&jpeg, "JPEG", quality);
    return {picture.ticks, picture.sourceSize, isSmall ? picture.box : PictureStore::box, jpeg.data()};
}

std::optional<FramePicture> StoredPicture::picture() const
{
    QByteArray bytes = jpeg;
    QBuffer buffer(&bytes);
    QImageReader reader(&buffer, "JPEG");
    const QSize size = reader.size();
    if (sourceSize.isEmpty() || size.isEmpty() || size.boundedTo(PictureStore::box) != size)
        return std::nullopt;
    const QImage image = reader.read().convertToFormat(QImage::Format_RGB32);
    return image.isNull() ? std::nullopt : std::optional(FramePicture{ticks, image, sourceSize, box});
}

PictureStore PictureStore::standard()
{
    return PictureStore(QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) +
                        u"/kestrel/pictures"_s);
}

std::optional<QString> PictureStore::nameFor(const FileURL& video)
{
    return RecoveryStore::nameFor(video);
}

QList<StoredReply> PictureStore::load(const QString& name) const
{
    QList<StoredReply> replies;
    QFile file(pathOf(name));
    if (!open(file, O_RDWR) || file.size() > mostBytesOfVideo())
        return replies;
    const QByteArray bytes = file.readAll();
    ::futimens(file.handle(), nullptr); // it was looked at now
    for (qsizetype at = 0; bytes.size() - at >= headBytes && bytes.mid(at, word.size()) == word;) {
        const auto length = qFromLittleEndian<quint32>(bytes.constData() + at + word.size());
        if (length > bytes.size() - at - headBytes)
            break;
        const QByteArray payload = bytes.mid(at + headBytes, length);
        if (digest(payload) != bytes.mid(at + headBytes - digestBytes, digestBytes))
            break;
        if (auto reply = decode(payload))
            replies.append(*reply);
        at += headBytes + length;
    }
    return replies;
}

/// One write, so that another Kestrel's lies before or behind it.
void PictureStore::append(const QString& name, const StoredReply& reply) const
{
    const QByteArray payload = encode(reply);
    QByteArray length(4, '\0');
    qToLittleEndian(static_cast<quint32>(payload.size()), length.data());
    QFile file(pathOf(name));
    if (!QDir().mkpath(m_folder) || !open(file, O_RDWR | O_APPEND | O_CREAT))
        return;
    const QByteArray record = word + length + digest(payload) + payload;
    if (file.size() + record.size() > mostBytesOfVideo())
        return;
    const qint64 before = file.size();
    if (::write(file.handle(), record.constData(), static_cast<std::size_t>(record.size())) != record.size())
        std::ignore = ::ftruncate(file.handle(), before); // the disk is full
    makeRoom(name);
}

QString PictureStore::pathOf(const QString& name) const
{
    return m_folder + u'/' + name + ending;
}

bool PictureStore::open(QFile& file, int flags) const
{
    struct stat folder = {};
    if (::lstat(QFile::encodeName(m_folder).constData(), &folder) != 0 || !S_ISDIR(folder.st_mode) ||
        folder.st_uid != ::geteuid())
        return false;
    const int descriptor = ::open(QFile::encodeName(file.fileName()).constData(),
                                  flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, S_IRUSR | S_IWUSR);
    struct stat status = {};
    if (descriptor < 0)
        return false;
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) || status.st_uid != ::geteuid()) {
        ::close(descriptor);
        return false;
    }
    return file.open(descriptor, QIODevice::ReadWrite | QIODevice::Unbuffered, QFileDevice::AutoCloseHandle);
}

/// The oldest go first; the one in use stays.
void PictureStore::makeRoom(const QString& forName) const
{
    const QFileInfoList files =
        QDir(m_folder).entryInfoList({u'*' + ending}, QDir::Files | QDir::NoSymLinks, QDir::Time | QDir::Reversed);
    qint64 bytes = 0;
    for (const QFileInfo& file : files)
        bytes += file.size();
    for (const QFileInfo& file : files) {
        if (bytes <= m_mostBytes)
            return;
        if (file.fileName() != forName + ending && QFile::remove(file.filePath()))
            bytes -= file.size();
    }
}
