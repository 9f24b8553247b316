#include "Services/ProcessLaunching.h"

#include <csignal>
#include <unistd.h>

void useOwnProcessGroup(QProcess& process)
{
    process.setChildProcessModifier([] { ::setpgid(0, 0); });
}

void startOrThrow(QProcess& process)
{
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
