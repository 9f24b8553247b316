#pragma once

#include "Services/ProcessLaunching.h"

#include <QDeadlineTimer>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>
#include <QTimer>

#include <functional>
#include <sys/types.h>

/// What a child process is started with. No shell comes between.
struct ChildCommand
{
    QString program; ///< absolute
    QStringList arguments;
    QString workingDirectory;        ///< empty: ours
    QProcessEnvironment environment; ///< the whole of it
    bool sharesInput = false;        ///< reads our standard input; otherwise it finds nothing there
    bool mergesOutputs = false;      ///< standard error comes through `onOutput` too
    int niceness = 0;
};

/// A child process together with whatever it starts in turn. It leads a session of its own: a signal reaches all of it,
/// the terminal's signals reach Kestrel alone, and it may read our standard input even when that is the terminal.
/// It has ended when all of it is gone: what a child leaves behind is killed. On Linux it dies with the thread that
/// started it, however that ends. Belongs to one thread, with an event loop
/// or without.
class ChildProcess final : public QObject
{
public:
    explicit ChildProcess(const ChildCommand& command);
    /// Kills what still runs and waits until it is gone; calls nobody.
    ~ChildProcess() override;

    /// Output as it arrives, never empty. Without a listener it is read all the same and dropped.
    std::function<void(const QByteArray& chunk)> onOutput;
    std::function<void(const QByteArray& chunk)> onErrorOutput;
    /// Called once, after the last output, when nothing is left of the child. It may be given up in it by deleteLater.
    std::function<void()> onEnd;
    /// Called instead of `onEnd` when the program leaves by exit() while the child runs, as Qt does when the display
    /// goes. By then nothing is left of the child. No window may be touched, only files.
    std::function<void()> onProgramExit;

    /// Returns once the child runs; throws ProcessLaunchError when it cannot be started. Once.
    void start();
    /// SIGTERM, and SIGKILL to what is left after the grace period. Returns at once.
    void stop();
    /// SIGKILL. Returns at once.
    void kill();

    /// For a thread without an event loop: runs the child for about that long. Whether it has ended.
    bool waitForEnd(int milliseconds);

    /// After the end. Death by a signal is a failure whatever the status says.
    [[nodiscard]] bool succeeded() const
    {
        return m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0;
    }
    /// After the end, whether a signal brought it.
    [[nodiscard]] bool wasKilled() const { return m_process.exitStatus() == QProcess::CrashExit; }
    /// After the end, how it came: "退出状态 1", "被信号 9 终止".
    [[nodiscard]] QString endDescription() const;

    /// After the end: seconds on all processors that the child and those that it waited for have used.
    [[nodiscard]] double processorTime() const { return m_processorTime; }

private:
    friend class RunningChildren;

    void signalAll(int signal) const;
    void endWithin(int milliseconds);
    void pursueEnd();
    void readOutput();

    QProcess m_process;
    QTimer m_poll;
    QDeadlineTimer m_killTime = QDeadlineTimer::Forever;
    pid_t m_group = 0; ///< 0: nothing runs
    double m_processorTime = 0;
    bool m_isListed = false;
};
