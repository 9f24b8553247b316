#include "Services/ProcessLaunching.h"

#include <QFile>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <optional>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/// The error that the fork would run into, in the words that QProcess has for it; nothing when only a fork can tell.
std::optional<QString> foreseenLaunchError(const QProcess& process)
{
    const auto mayExecute = [](const QString& path) {
        return ::faccessat(AT_FDCWD, QFile::encodeName(path).constData(), X_OK, AT_EACCESS) == 0;
    };
    if (!process.workingDirectory().isEmpty() && !mayExecute(process.workingDirectory() + u"/."_s))
        return u"chdir: "_s + qt_error_string(errno);
    if (process.program().contains(u'/') && !mayExecute(process.program()))
        return u"execvp: "_s + qt_error_string(errno);
    return std::nullopt;
}

} // namespace

void useOwnProcessGroup(QProcess& process)
{
    process.setChildProcessModifier([] { ::setpgid(0, 0); });
}

void startOrThrow(QProcess& process)
{
    if (const auto error = foreseenLaunchError(process))
        throw ProcessLaunchError(*error);
    process.start(QIODevice::ReadOnly);
    if (!process.waitForStarted(-1)) // waits for exec alone, not for the program's work
        throw ProcessLaunchError(process.errorString());
}

void signalProcessGroup(const QProcess& process, int signal)
{
    const auto pid = static_cast<pid_t>(process.processId());
    if (process.state() == QProcess::NotRunning || pid <= 0)
        return;
    const bool leadsGroup = ::getpgid(pid) == pid;
    ::kill(leadsGroup ? -pid : pid, signal);
}
