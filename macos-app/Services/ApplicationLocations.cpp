#include "Services/ApplicationLocations.h"

#include <QDir>
#include <QFileInfo>

#ifdef Q_OS_MACOS
#include <mach-o/dyld.h>
#endif

using namespace Qt::StringLiterals;

namespace {

#ifdef Q_OS_MACOS

FileURL executableURL()
{
    uint32_t size = 0;
    _NSGetExecutablePath(nullptr, &size);
    QByteArray path(static_cast<qsizetype>(size), '\0');
    _NSGetExecutablePath(path.data(), &size);
    return FileURL(QFileInfo(QFile::decodeName(path.constData())).canonicalFilePath());
}

constexpr auto resourcesFromExecutableDirectory = "../Resources";
constexpr auto bundleParentFromExecutableDirectory = "../../..";

#else

FileURL executableURL()
{
    return FileURL(QFile::symLinkTarget(u"/proc/self/exe"_s));
}

constexpr auto resourcesFromExecutableDirectory = "../share/kestrel";
constexpr auto bundleParentFromExecutableDirectory = ".";

#endif

FileURL resolved(const FileURL& directory, const char* relativePath)
{
    return FileURL(QDir::cleanPath(directory.appendingPathComponent(QString::fromLatin1(relativePath)).path()));
}

} // namespace

ApplicationLocations ApplicationLocations::current()
{
    const FileURL executableDirectory = executableURL().deletingLastPathComponent();
    ApplicationLocations locations;
    locations.bundleParent = resolved(executableDirectory, bundleParentFromExecutableDirectory);
    const FileURL resources = resolved(executableDirectory, resourcesFromExecutableDirectory);
    if (QFileInfo(resources.path()).isDir())
        locations.resourcesDirectory = resources;
    return locations;
}
