#include "Batch/FileMark.h"

#include "Jobs/FileIdentity.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 partLength = qint64(1) << 20;
constexpr qsizetype hashDigits = 32;
constexpr qint64 nanosecondsASecond = 1'000'000'000;

qint64 timeOf(const FileIdentity& file)
{
    return file.modificationSeconds * nanosecondsASecond + file.modificationNanoseconds;
}

} // namespace

std::optional<FileMark> FileMark::of(const FileURL& url)
{
    QFile file(url.path());
    if (!QFileInfo(url.path()).isFile() || !file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return std::nullopt;
    const FileIdentity identity = FileIdentity::ofOpenFile(file.handle());
    QCryptographicHash hash(QCryptographicHash::Blake2b_160);
    hash.addData(file.read(partLength));
    if (identity.size > partLength) {
        if (!file.seek(std::max(partLength, identity.size - partLength)))
            return std::nullopt;
        hash.addData(file.read(partLength));
    }
    if (file.error() != QFileDevice::NoError)
        return std::nullopt;
    return FileMark{identity.size, timeOf(identity), hash.result().toHex().first(hashDigits)};
}

std::optional<FileMark> FileMark::fromText(const QString& text)
{
    const QStringList parts = text.split(u':');
    bool hasSize = false;
    bool hasTime = false;
    if (parts.size() != 3 || parts[2].size() != hashDigits)
        return std::nullopt;
    const FileMark mark{parts[0].toLongLong(&hasSize), parts[1].toLongLong(&hasTime), parts[2].toLatin1()};
    return hasSize && hasTime ? std::optional(mark) : std::nullopt;
}

QString FileMark::text() const
{
    return QString::number(size) + u':' + QString::number(time) + u':' + QString::fromLatin1(hash);
}

bool FileMark::holdsFor(const FileURL& url) const
{
    const auto file = FileIdentity::of(url);
    if (!file || file->size != size)
        return false;
    if (timeOf(*file) == time)
        return true;
    const auto mark = of(url);
    return mark && mark->hash == hash;
}
