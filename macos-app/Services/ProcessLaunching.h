#pragma once

#include "Services/MessageError.h"

#include <QProcess>

/// A child process could not be started; the message is the system's own.
class ProcessLaunchError final : public MessageError
{
public:
    using MessageError::MessageError;
};

/// How long a child may take to end after SIGTERM before it gets SIGKILL.
inline constexpr int terminationGraceMilliseconds = 3000;

/// Throws the error that a launch would end with when its program or folder, both absolute, cannot be used. It costs
/// no fork, so that thousands of launches may fail in a row. What passes may still fail to start.
void throwIfLaunchMustFail(const QString& program, const QString& workingDirectory);

/// Gives the child a process group of its own, so that stopping it reaches what it started in turn, and a signal from
/// the terminal reaches Kestrel alone. Before start().
void useOwnProcessGroup(QProcess& process);

/// Returns once the child runs; throws ProcessLaunchError with the system's own words otherwise.
void startOrThrow(QProcess& process);

/// Sends a signal to a running child, and to its process group when it leads one.
void signalProcessGroup(const QProcess& process, int signal);

/// Kills what a child that has ended left behind in the process group that it led. 0 is no group.
void killRestOfGroup(qint64 leader);

/// Seconds of processor time that all children which have ended so far have used, on all processors together.
[[nodiscard]] double processorTimeOfEndedChildren();
