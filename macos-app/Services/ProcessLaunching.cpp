#include "Services/ProcessLaunching.h"

#include <QFile>

#include <cerrno>
#include <csignal>
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

void signalProcessGroup(const QProcess& process, int signal)
{
    const auto pid = static_cast<pid_t>(process.processId());
    if (process.state() == QProcess::NotRunning || pid <= 0)
        return;
    const bool leadsGroup = ::getpgid(pid) == pid;
    ::kill(leadsGroup ? -pid : pid, signal);
}
