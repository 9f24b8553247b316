#include "Services/ChildProcess.h"

#include <QCoreApplication>
#include <QList>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <csignal>
#ifdef Q_OS_LINUX
#include <sys/prctl.h>
#endif
#include <sys/resource.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/// How long a child may take to end after SIGTERM before it gets SIGKILL.
constexpr int terminationGraceMilliseconds = 3000;
/// How soon it is noticed that the last of a child is gone.
constexpr int pollMilliseconds = 10;
/// How long what got SIGKILL is awaited. It runs no more, but it may be held by a device, or its status be asked for
/// by nobody.
constexpr int killedMilliseconds = 500;

/// The system tells only what all children together have used: what was added since the last of them ended is that of
/// the one which ends now. Children of several threads may be taken for one another.
double processorTimeSinceLastEnd()
{
    static std::atomic<double> before = 0;
    rusage usage = {};
    ::getrusage(RUSAGE_CHILDREN, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    const double now = seconds(usage.ru_utime) + seconds(usage.ru_stime);
    return std::max(0.0, now - before.exchange(now));
}

/// In a child: when Kestrel is killed, nobody is left to stop the child, and an ffmpeg that has yet to open its output
/// would write over the older clip which the next Kestrel has put back there. Other systems than Linux know no such
/// wish.
void dieWithParent([[maybe_unused]] pid_t parent)
{
#ifdef Q_OS_LINUX
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) // killed already
        ::_exit(1);
#endif
}

} // namespace

/// The children of the main thread that run. The program may leave by exit(), which destroys this list but none of
/// their owners.
class RunningChildren final
{
public:
    static QList<ChildProcess*>& list()
    {
        static RunningChildren running;
        return running.m_list;
    }

private:
    RunningChildren() = default;
    ~RunningChildren()
    {
        for (ChildProcess* child : m_list) {
            child->onOutput = child->onErrorOutput = nullptr;
            child->onEnd = child->onProgramExit;
            child->stop();
        }
        while (!m_list.isEmpty()) { // in turns, because each must be read from
            const QList<ChildProcess*> left = m_list;
            for (ChildProcess* child : left)
                child->waitForEnd(pollMilliseconds);
        }
    }
    Q_DISABLE_COPY_MOVE(RunningChildren)

    QList<ChildProcess*> m_list;
};

ChildProcess::ChildProcess(const ChildCommand& command)
{
    m_process.setProgram(command.program);
    m_process.setArguments(command.arguments);
    m_process.setWorkingDirectory(command.workingDirectory);
    m_process.setProcessEnvironment(command.environment);
    if (command.sharesInput)
        m_process.setInputChannelMode(QProcess::ForwardedInputChannel);
    else
        m_process.setStandardInputFile(QProcess::nullDevice());
    if (command.mergesOutputs)
        m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.setChildProcessModifier([niceness = command.niceness, kestrel = ::getpid()] {
        ::setsid(); // a terminal refuses to be read by another group of its own session only
        dieWithParent(kestrel);
        if (niceness != 0)
            ::setpriority(PRIO_PROCESS, 0, niceness);
    });
    connect(&m_process, &QProcess::readyReadStandardOutput, this, &ChildProcess::readOutput);
    connect(&m_process, &QProcess::readyReadStandardError, this, &ChildProcess::readOutput);
    connect(&m_process, &QProcess::finished, this, [this] {
        m_processorTime = processorTimeSinceLastEnd();
        if (m_killTime.isForever())
            endWithin(0);
        pursueEnd();
    });
    m_poll.setInterval(pollMilliseconds);
    connect(&m_poll, &QTimer::timeout, this, &ChildProcess::pursueEnd);
}

ChildProcess::~ChildProcess()
{
    onOutput = onErrorOutput = nullptr;
    onEnd = nullptr;
    m_process.closeReadChannel(QProcess::StandardOutput);
    m_process.closeReadChannel(QProcess::StandardError);
    kill();
    while (m_group != 0)
        waitForEnd(-1);
}

void ChildProcess::start()
{
    m_process.start(QIODevice::ReadOnly);
    if (!m_process.waitForStarted(-1)) // waits for exec alone, not for the program's work
        throw ProcessLaunchError(m_process.errorString());
    m_group = static_cast<pid_t>(m_process.processId());
    m_isListed = QCoreApplication::instance()->thread() == thread();
    if (m_isListed)
        RunningChildren::list().append(this);
}

void ChildProcess::stop()
{
    if (m_group == 0 || !m_killTime.isForever())
        return;
    signalAll(SIGTERM);
    endWithin(terminationGraceMilliseconds);
}

void ChildProcess::kill()
{
    if (m_group == 0)
        return;
    signalAll(SIGKILL);
    endWithin(0);
}

bool ChildProcess::waitForEnd(int milliseconds)
{
    if (m_process.state() != QProcess::NotRunning)
        m_process.waitForFinished(milliseconds);
    else if (m_group != 0)
        QThread::msleep(pollMilliseconds);
    pursueEnd();
    return m_group == 0;
}

QString ChildProcess::endDescription() const
{
    const int code = m_process.exitCode(); // or the signal's number
    return wasKilled() ? u"被信号 %1 终止"_s.arg(code) : u"退出状态 %1"_s.arg(code);
}

void ChildProcess::signalAll(int signal) const
{
    ::kill(-m_group, signal);
}

void ChildProcess::endWithin(int milliseconds)
{
    // Newer releases of Qt give a timer made for 0 ms no time of its own.
    m_killTime = std::min(m_killTime, QDeadlineTimer::current() + milliseconds);
    m_poll.start();
}

/// Kills what is left when its time has come, and tells when there is nothing left.
void ChildProcess::pursueEnd()
{
    if (m_group == 0)
        return;
    const qint64 overdue = QDeadlineTimer::current().deadline() - m_killTime.deadline();
    if (overdue >= 0)
        signalAll(SIGKILL);
    const bool restIsGone = ::kill(-m_group, 0) == -1;
    if (m_process.state() != QProcess::NotRunning || (!restIsGone && overdue < killedMilliseconds))
        return;
    m_poll.stop();
    readOutput();
    m_group = 0;
    if (m_isListed)
        RunningChildren::list().removeOne(this);
    if (const auto notify = onEnd)
        notify(); // may give us up
}

void ChildProcess::readOutput()
{
    const QByteArray output = m_process.readAllStandardOutput();
    if (onOutput && !output.isEmpty())
        onOutput(output);
    if (m_process.processChannelMode() == QProcess::MergedChannels)
        return;
    const QByteArray errorOutput = m_process.readAllStandardError();
    if (onErrorOutput && !errorOutput.isEmpty())
        onErrorOutput(errorOutput);
}
