#include "Services/RecoveryStore.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QString ending = u".kestrel.json"_s;

} // namespace

RecoveryStore RecoveryStore::standard()
{
    return RecoveryStore(QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + u"/kestrel/edits"_s);
}

std::optional<QString> RecoveryStore::nameFor(const FileURL& video)
{
    const QFileInfo file(video.path());
    if (!file.exists())
        return std::nullopt;
    const QString key = video.path() + u'\0' + QString::number(file.size()) + u'\0' +
                        QString::number(file.lastModified().toMSecsSinceEpoch());
    return QString::fromLatin1(QCryptographicHash::hash(key.toUtf8(), QCryptographicHash::Sha256).toHex());
}

bool RecoveryStore::save(const QString& name, const QByteArray& document) const
{
    if (document.size() > largestCopy || !QDir().mkpath(m_folder) || !isOurs())
        return false;
    QSaveFile file(pathOf(name));
    // Of what only its own buffer holds, QSaveFile does not notice that the disk is full.
    if (!file.open(QIODevice::WriteOnly) || file.write(document) != document.size() || !file.flush() || !file.commit())
        return false;
    removeOldest();
    return true;
}

QStringList RecoveryStore::copiesOf(const QString& video) const
{
    QStringList names = isOurs() ? newestFirst(video) : QStringList();
    for (QString& name : names)
        name.chop(ending.size());
    return names;
}

std::optional<RecoveryStore::Copy> RecoveryStore::load(const QString& name) const
{
    if (!isOurs())
        return std::nullopt;
    const int descriptor =
        ::open(QFile::encodeName(pathOf(name)).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    struct stat status = {};
    QFile file;
    if (descriptor < 0 || !file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
        return std::nullopt;
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) || status.st_uid != ::geteuid() ||
        status.st_size > largestCopy)
        return std::nullopt;
    return Copy{file.read(largestCopy), file.fileTime(QFileDevice::FileModificationTime)};
}

void RecoveryStore::remove(const QString& name) const
{
    if (isOurs())
        QFile::remove(pathOf(name));
}

bool RecoveryStore::isOurs() const
{
    struct stat status = {};
    return ::lstat(QFile::encodeName(m_folder).constData(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == ::geteuid();
}

QString RecoveryStore::pathOf(const QString& name) const
{
    return m_folder + u'/' + name + ending;
}

/// Of the files of copies whose name begins so.
QStringList RecoveryStore::newestFirst(const QString& beginning) const
{
    return QDir(m_folder).entryList({beginning + u'*' + ending}, QDir::Files | QDir::NoSymLinks, QDir::Time);
}

void RecoveryStore::removeOldest() const
{
    const QStringList files = newestFirst({});
    for (const QString& old : files.mid(mostCopies))
        QFile::remove(m_folder + u'/' + old);
}
