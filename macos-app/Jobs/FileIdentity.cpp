#include "Jobs/FileIdentity.h"

#include <QFile>

#include <sys/stat.h>

std::optional<FileIdentity> FileIdentity::of(const FileURL& url)
{
    struct stat status = {};
    if (::stat(QFile::encodeName(url.path()).constData(), &status) != 0)
        return std::nullopt;
    return of(status);
}

FileIdentity FileIdentity::of(const struct stat& status)
{
#ifdef Q_OS_MACOS
    const timespec modified = status.st_mtimespec;
#else
    const timespec modified = status.st_mtim;
#endif
    return FileIdentity{.device = static_cast<quint64>(status.st_dev),
                        .inode = static_cast<quint64>(status.st_ino),
                        .size = static_cast<qint64>(status.st_size),
                        .modificationSeconds = static_cast<qint64>(modified.tv_sec),
                        .modificationNanoseconds = static_cast<qint64>(modified.tv_nsec)};
}

FileIdentity FileIdentity::ofOpenFile(int descriptor)
{
    struct stat status = {};
    ::fstat(descriptor, &status);
    return of(status);
}
