#include "Jobs/Folder.h"

#include "Jobs/SideNames.h"

#include <QFile>

#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

#ifdef Q_OS_MACOS
constexpr int searchOnly = O_SEARCH;
#else
constexpr int searchOnly = O_PATH;
#endif

/// A stranger may take the names as fast as they are tried.
constexpr int mostNames = 1000;

int renameIfFree(int folder, const QByteArray& name, int newFolder, const QByteArray& newName)
{
#ifdef Q_OS_MACOS
    if (::renameatx_np(folder, name, newFolder, newName, RENAME_EXCL) == 0)
        return 0;
    const bool isUnsupported = errno == ENOTSUP;
#else
    if (::renameat2(folder, name, newFolder, newName, RENAME_NOREPLACE) == 0)
        return 0;
    const bool isUnsupported = errno == EINVAL || errno == ENOSYS;
#endif
    if (!isUnsupported)
        return -1;
    // Some network file systems: what is free now may be taken before the next call.
    struct stat status = {};
    if (::fstatat(newFolder, newName, &status, AT_SYMLINK_NOFOLLOW) == 0) {
        errno = EEXIST;
        return -1;
    }
    return ::renameat(folder, name, newFolder, newName);
}

} // namespace

Folder::Folder(const FileURL& url)
    : m_descriptor(::open(QFile::encodeName(url.path()), searchOnly | O_DIRECTORY | O_CLOEXEC))
{}

Folder::~Folder()
{
    if (isOpen())
        ::close(m_descriptor);
}

bool Folder::isAt(const FileURL& url) const
{
    const auto there = FileIdentity::of(url);
    return there && there->sameFile(FileIdentity::ofOpenFile(m_descriptor));
}

QStringList Folder::names() const
{
    QStringList names;
    const int descriptor = ::openat(m_descriptor, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* directory = descriptor >= 0 ? ::fdopendir(descriptor) : nullptr;
    if (!directory)
        return names;
    while (const dirent* entry = ::readdir(directory))
        names << QFile::decodeName(entry->d_name);
    ::closedir(directory);
    names.sort();
    return names;
}

std::optional<Folder::Entry> Folder::entry(const QString& name) const
{
    struct stat status = {};
    if (::fstatat(m_descriptor, QFile::encodeName(name), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    const auto kind = S_ISREG(status.st_mode)   ? Entry::Kind::file
                      : S_ISLNK(status.st_mode) ? Entry::Kind::link
                                                : Entry::Kind::other;
    return Entry{kind, FileIdentity::of(status)};
}

bool Folder::isLocked(const QString& name) const
{
    const auto found = entry(name);
    if (!found || found->kind != Entry::Kind::file)
        return false;
    const int descriptor =
        ::openat(m_descriptor, QFile::encodeName(name), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    const bool isLocked = ::flock(descriptor, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    ::close(descriptor);
    return isLocked;
}

int Folder::create(const QString& name) const
{
    const int descriptor = ::openat(m_descriptor, QFile::encodeName(name), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor >= 0)
        ::flock(descriptor, LOCK_EX | LOCK_NB);
    return descriptor;
}

bool Folder::move(const QString& name, const QString& newName) const
{
    return moveTo(*this, name, newName);
}

bool Folder::moveTo(const Folder& other, const QString& name, const QString& newName) const
{
    return renameIfFree(m_descriptor, QFile::encodeName(name), other.m_descriptor, QFile::encodeName(newName)) == 0;
}

std::optional<QString> Folder::moveToFirstFree(const QString& name, const NameAt& nameAt) const
{
    for (int number = 1; number <= mostNames; ++number) {
        QString newName = nameAt(number);
        if (move(name, newName))
            return newName;
        if (errno != EEXIST)
            return std::nullopt;
    }
    return std::nullopt;
}

bool Folder::isFile(const QString& name, const FileIdentity& file) const
{
    const auto found = entry(name);
    return found && found->identity.sameFile(file);
}

std::optional<QString> Folder::moveFileToFirstFree(const QString& name, const FileIdentity& file,
                                                   const NameAt& nameAt) const
{
    if (!isFile(name, file))
        return std::nullopt;
    const auto newName = moveToFirstFree(name, nameAt);
    if (!newName || isFile(*newName, file))
        return newName;
    if (!move(*newName, name)) // a stranger's, which came in between
        moveToFirstFree(*newName, [&](int number) { return olderName(name, number); });
    return std::nullopt;
}

bool Folder::removeFile(const QString& name, const FileIdentity& file) const
{
    const auto hidden = moveFileToFirstFree(name, file, [&](int number) { return hiddenName(name, number); });
    return hidden && ::unlinkat(m_descriptor, QFile::encodeName(*hidden), 0) == 0;
}
