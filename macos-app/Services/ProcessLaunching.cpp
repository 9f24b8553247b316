#include "Services/ProcessLaunching.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

bool mayExecute(const QString& path)
{
    return ::faccessat(AT_FDCWD, QFile::encodeName(path).constData(), X_OK, AT_EACCESS) == 0;
}

} // namespace

void throwIfLaunchMustFail(const QString& program, const QString& workingDirectory)
{
    // In the order and the words of QProcess.
    if (!mayExecute(workingDirectory + u"/."_s))
        throw ProcessLaunchError(u"chdir: "_s + qt_error_string(errno));
    if (!mayExecute(program))
        throw ProcessLaunchError(u"execvp: "_s + qt_error_string(errno));
}
