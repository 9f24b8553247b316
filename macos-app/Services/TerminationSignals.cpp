#include "Services/TerminationSignals.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

volatile std::sig_atomic_t writingEnd = -1;

/// All that is allowed here: a byte into the pipe that the event loop watches.
void writeByte(int signal)
{
    const int savedError = errno;
    const char byte = static_cast<char>(signal);
    [[maybe_unused]] const auto written = ::write(writingEnd, &byte, 1); // a full pipe holds enough bytes
    errno = savedError;
}

void setHandlers(void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
    struct sigaction inherited = {};
    ::sigaction(SIGHUP, nullptr, &inherited);
    if (inherited.sa_handler != SIG_IGN) // as nohup wants it
        ::sigaction(SIGHUP, &action, nullptr);
}

} // namespace

TerminationSignals::TerminationSignals()
{
    if (::pipe(m_pipe.data()) != 0)
        return; // out of descriptors: the signals keep their default effect
    for (const int end : m_pipe) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
        ::fcntl(end, F_SETFL, O_NONBLOCK);
    }
    m_notifier.emplace(m_pipe[0], QSocketNotifier::Read);
    QObject::connect(&*m_notifier, &QSocketNotifier::activated, &*m_notifier, [this] { receive(); });
    writingEnd = m_pipe[1];
    setHandlers(writeByte);
}

TerminationSignals::~TerminationSignals()
{
    if (!m_notifier)
        return;
    setHandlers(SIG_IGN); // the end is under way; a second signal would only leave children behind
    m_notifier.reset();
    for (const int end : m_pipe)
        ::close(end);
}

void TerminationSignals::receive()
{
    std::array<char, 64> bytes;
    int signal = 0;
    while (::read(m_pipe[0], bytes.data(), bytes.size()) > 0)
        signal = bytes.front();
    if (onSignal && signal != 0)
        onSignal(signal);
}
