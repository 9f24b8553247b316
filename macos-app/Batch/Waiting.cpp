#include "Batch/Waiting.h"

#include "Services/TerminationSignals.h"

#include <QCoreApplication>

#include <csignal>

namespace {

int receivedSignal = 0;

} // namespace

void waitForEnd(const std::function<void()>& stop)
{
    std::signal(SIGPIPE, SIG_IGN); // when nobody reads the events, what was begun is still removed
    TerminationSignals signals;
    signals.onSignal = [&stop](int signal) {
        receivedSignal = signal;
        stop();
    };
    QCoreApplication::exec();
}

void raiseSignal()
{
    if (receivedSignal == 0)
        return;
    std::signal(receivedSignal, SIG_DFL);
    std::raise(receivedSignal);
}
