#include "Services/FileIdentity.h"

#include <QFile>

#include <sys/stat.h>

std::optional<FileIdentity> FileIdentity::of(const FileURL& url)
{
    struct stat status = {};
    if (::stat(QFile::encodeName(url.path()).constData(), &status) != 0)
        return std::nullopt;
#ifdef Q_OS_MACOS
    const timespec modified = status.st_mtimespec;
#else
    const timespec modified = status.st_mtim;
#endif
    return FileIdentity{.device = static_cast<quint64>(status.st_dev),
                        .inode = static_cast<quint64>(status.st_ino),
                        .size = static_cast<qint64>(status.st_size),
                        .modificationSeconds = modified.tv_sec,
                        .modificationNanoseconds = modified.tv_nsec};
}
