"""How long the program's main thread leaves a person waiting: gaps.py <inspector's socket> <pid>

Asks the thread every 10 ms for something that costs it next to nothing, and prints the longest wait for an answer, in
milliseconds, once standard input closes. Time in which the thread, or this process, was ready to run and other programs
had the processors does not count.
"""

import contextlib
import os
import pathlib
import select
import socket
import subprocess
import sys
import time

INTERVAL_SECONDS = 0.01


@contextlib.contextmanager
def watched_gaps(kestrel):
    """A list that holds the longest gap in the end."""
    longest = []
    with subprocess.Popen([sys.executable, __file__, str(kestrel.socket_path), str(kestrel.process.pid)],
                          stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as watcher:
        watcher.stdout.readline()
        try:
            yield longest
        finally:
            longest.append(float(watcher.communicate()[0]))


def waited_for_processor(pid):
    """Seconds of a process' main thread."""
    with contextlib.suppress(OSError):
        return int(pathlib.Path(f"/proc/{pid}/task/{pid}/schedstat").read_text().split()[1]) / 1e9
    return 0.0


def wait_for_answer(connection):
    """Whether one came before the end of the watch."""
    answer = b""
    while not answer.endswith(b"\n"):
        if connection not in select.select([sys.stdin, connection], [], [])[0]:
            return False
        part = connection.recv(1 << 16)
        if not part:
            return False
        answer += part
    return True


def main():
    kestrel = int(sys.argv[2])
    longest = 0.0
    with socket.socket(socket.AF_UNIX) as connection, contextlib.suppress(OSError):
        connection.connect(sys.argv[1])
        print("ready", flush=True)
        while not select.select([sys.stdin], [], [], INTERVAL_SECONDS)[0]:
            waited = [waited_for_processor(pid) for pid in (kestrel, os.getpid())]
            start = time.monotonic()
            connection.sendall(b"-\n")
            has_answered = wait_for_answer(connection)
            gap = time.monotonic() - start
            for pid, before in zip((kestrel, os.getpid()), waited):
                gap -= waited_for_processor(pid) - before
            longest = max(longest, gap)
            if not has_answered:
                break
    print(longest * 1000)


if __name__ == "__main__":
    main()
