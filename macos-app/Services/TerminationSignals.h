#pragma once

#include <QSocketNotifier>

#include <array>
#include <functional>
#include <optional>

/// Hands SIGINT, SIGTERM and SIGHUP to the event loop while it lives; afterwards they are ignored, because the program
/// ends. A SIGHUP that was ignored from the start stays so.
/// At most one object at a time.
class TerminationSignals final
{
public:
    TerminationSignals();
    ~TerminationSignals();
    Q_DISABLE_COPY_MOVE(TerminationSignals)

    /// Called on the main thread when a signal has come.
    std::function<void(int signal)> onSignal;

private:
    void receive();

    std::array<int, 2> m_pipe = {-1, -1};
    std::optional<QSocketNotifier> m_notifier;
};
