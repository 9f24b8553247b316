"""The analyses of earlier runs: another profile or padding needs no second decoding.

What lies in the cache's folder may have been put there by anybody, so it is believed only as far as it was checked.
"""

import array
import contextlib
import hashlib
import json
import os
import re
import signal
import stat
import sys
import zlib
from itertools import accumulate
from operator import sub

from kestrel_detector.analysis import Analysis
from kestrel_detector.events import Event

CACHE_LIMIT = 256 << 20  # bytes in all; the oldest files go first
LARGEST = 64 << 20       # bytes of one entry, unpacked; a day and a half of pictures
OURS = re.compile(r"[0-9a-f]{40}(\.\d+)?")
FIELDS = ("kind", "first", "last", "score", "source", "edge")


class Cache:
    """Whatever goes wrong here, the video is just analysed again."""

    def __init__(self, path, skip):
        if sys.platform == "darwin":
            base = os.path.expanduser("~/Library/Caches")
        else:
            base = os.environ.get("XDG_CACHE_HOME", "")
            base = base if os.path.isabs(base) else os.path.expanduser("~/.cache")
        if not os.path.isabs(base):
            raise FileNotFoundError(base)
        self.place = os.path.join(base, "kestrel", "detector")
        video = os.stat(path)
        key = hashlib.sha256(repr((os.fsencode(os.path.abspath(path)), video.st_size, video.st_mtime_ns, skip)).encode())
        here = os.path.dirname(__file__)
        for module in sorted(name for name in os.listdir(here) if name.endswith(".py")):
            with open(os.path.join(here, module), "rb") as file:
                key.update(file.read())  # another version may come to other results
        self.name = key.hexdigest()[:40]

    @contextlib.contextmanager
    def folder(self):
        """The cache's folder, opened. Files are only named within it, so that it cannot be swapped meanwhile."""
        number = os.open(self.place, os.O_RDONLY | os.O_DIRECTORY | os.O_NOFOLLOW)
        try:
            if os.fstat(number).st_uid != os.geteuid():
                raise PermissionError(self.place)
            yield number
        finally:
            os.close(number)

    def load(self):
        """The analysis, or None; an entry with anything wrong in it counts as absent."""
        try:
            with self.folder() as folder:
                return analysis_from(entry(self.name, folder))
        except Exception:  # such an entry may raise anything
            return None

    def save(self, analysis):
        data = zlib.compress(packed(analysis), 1)
        # A signal that arrives meanwhile waits for the few moments that this takes, so that nothing half-done stays.
        signals = signal.pthread_sigmask(signal.SIG_BLOCK, (signal.SIGINT, signal.SIGTERM))
        try:
            os.makedirs(self.place, mode=0o700, exist_ok=True)
            with self.folder() as folder:
                write(self.name, data, folder)
                prune(folder)
        except OSError:
            pass
        finally:
            signal.pthread_sigmask(signal.SIG_SETMASK, signals)


def entry(name, folder):
    """The unpacked contents of the file of that name: a regular one of ours, and not larger than one can be."""
    number = os.open(name, os.O_RDONLY | os.O_NOFOLLOW | os.O_NONBLOCK, dir_fd=folder)
    with open(number, "rb") as file:
        status = os.fstat(number)
        if not stat.S_ISREG(status.st_mode) or status.st_uid != os.geteuid() or status.st_size > LARGEST:
            raise ValueError(name)
        unpacker = zlib.decompressobj()
        data = unpacker.decompress(file.read(LARGEST), LARGEST)
        if not unpacker.eof:
            raise ValueError(name)
        os.utime(number)
    return data


def write(name, data, folder):
    new = "%s.%d" % (name, os.getpid())
    number = os.open(new, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o600, dir_fd=folder)
    try:
        with open(number, "wb") as file:
            file.write(data)
        os.replace(new, name, src_dir_fd=folder, dst_dir_fd=folder)
    except OSError:
        os.unlink(new, dir_fd=folder)
        raise


def prune(folder):
    """Deletes the oldest of our own files until the rest keeps within the limit."""
    with os.scandir(folder) as names:
        files = [(name.stat(follow_symlinks=False), name.name) for name in names if OURS.fullmatch(name.name)]
    files = sorted((status.st_mtime, status.st_size, name) for status, name in files if stat.S_ISREG(status.st_mode))
    size = sum(size for _, size, _ in files)
    for _, one, name in files:
        if size <= CACHE_LIMIT:
            break
        os.unlink(name, dir_fd=folder)
        size -= one


def packed(analysis):
    events = [[getattr(event, field) for field in FIELDS] for event in analysis.events]
    head = {"duration": analysis.duration, "events": events}
    gaps = array.array("q", map(sub, analysis.times, array.array("q", [0]) + analysis.times[:-1]))
    return json.dumps(head).encode() + b"\n" + gaps.tobytes()


def analysis_from(data):
    """The opposite of packed(); raises some exception when the data cannot have come from there."""
    head, _, data = data.partition(b"\n")
    head, gaps = json.loads(head), array.array("q")
    gaps.frombytes(data)
    times, events = array.array("q", accumulate(gaps)), [Event(*values) for values in head["events"]]
    sound = type(head["duration"]) is int and 0 <= head["duration"] < 1 << 62 and min(gaps[1:], default=1) > 0
    for event in events:
        texts = event.kind, event.source, event.edge
        sound &= all(type(text) is str for text in texts) and type(event.score) is float and 0 <= event.score <= 1
        sound &= type(event.first) is type(event.last) is int and times[0] <= event.first <= event.last <= times[-1]
    if not sound:
        raise ValueError("not an analysis")
    return Analysis(head["duration"], times, events)
