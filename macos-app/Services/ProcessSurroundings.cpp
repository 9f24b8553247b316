#include "Services/ProcessSurroundings.h"

#include <csignal>
#include <fcntl.h>
#include <initializer_list>
#include <unistd.h>

void repairProcessSurroundings()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) == -1)
            ::open("/dev/null", stream == STDIN_FILENO ? O_RDONLY : O_WRONLY); // takes the lowest free number
    }
    std::signal(SIGCHLD, SIG_DFL);
}
