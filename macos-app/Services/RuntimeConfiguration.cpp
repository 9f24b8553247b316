#include "Services/RuntimeConfiguration.h"

#include <QStringList>

using namespace Qt::StringLiterals;

QProcessEnvironment RuntimeConfiguration::subprocessEnvironment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QString inheritedPath = QString::fromLocal8Bit(qgetenv("PATH"));
    environment.insert(u"PATH"_s, subprocessPath(pythonURL, ffmpegURL, inheritedPath));
    return environment;
}

QString subprocessPath(const FileURL& pythonURL, const FileURL& ffmpegURL, const QString& inheritedPath)
{
    QStringList directories = {pythonURL.deletingLastPathComponent().path(),
                               ffmpegURL.deletingLastPathComponent().path(),
                               u"/opt/homebrew/bin"_s,
                               u"/usr/local/bin"_s,
                               u"/usr/bin"_s,
                               u"/bin"_s,
                               u"/usr/sbin"_s,
                               u"/sbin"_s};
    directories += inheritedPath.split(u':');
    directories.removeAll(QString());
    directories.removeDuplicates();
    return directories.join(u':');
}
