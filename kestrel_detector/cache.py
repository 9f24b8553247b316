"""The analyses of earlier runs: another profile or padding needs no second decoding."""

import array
import json
import os
import sys
import zlib
from itertools import accumulate
from operator import sub

from kestrel_detector.analysis import Analysis
from kestrel_detector.events import Event

CACHE_LIMIT = 256 << 20  # bytes in all; the oldest files go first
FIELDS = ("kind", "first", "last", "score", "source", "edge")


class Cache:
    """The analyses of earlier runs. Whatever goes wrong here, the video is just analysed again."""

    def __init__(self, path, skip):
        import hashlib
        if sys.platform == "darwin":
            base = os.path.expanduser("~/Library/Caches")
        else:
            base = os.environ.get("XDG_CACHE_HOME", "")
            base = base if os.path.isabs(base) else os.path.expanduser("~/.cache")
        self.folder = os.path.join(base, "kestrel", "detector")
        video = os.stat(path)
        key = hashlib.sha256(repr((os.fsencode(os.path.abspath(path)), video.st_size, video.st_mtime_ns, skip)).encode())
        here = os.path.dirname(__file__)
        for module in sorted(name for name in os.listdir(here) if name.endswith(".py")):
            with open(os.path.join(here, module), "rb") as file:
                key.update(file.read())  # another version may come to other results
        self.file = os.path.join(self.folder, key.hexdigest()[:40])

    def load(self):
        try:
            with open(self.file, "rb") as file:
                head, _, gaps = zlib.decompress(file.read()).partition(b"\n")
            os.utime(self.file)
            head = json.loads(head)
            times = array.array("q")
            times.frombytes(gaps)
            events = [Event(**dict(zip(FIELDS, values))) for values in head["events"]]
            return Analysis(head["duration"], array.array("q", accumulate(times)), events)
        except (OSError, ValueError, KeyError, TypeError, zlib.error):
            return None

    def save(self, analysis):
        import tempfile
        events = [[getattr(event, field) for field in FIELDS] for event in analysis.events]
        head = {"duration": analysis.duration, "events": events}
        gaps = array.array("q", map(sub, analysis.times, array.array("q", [0]) + analysis.times[:-1]))
        try:
            os.makedirs(self.folder, mode=0o700, exist_ok=True)
            number, name = tempfile.mkstemp(dir=self.folder)
            try:
                with open(number, "wb") as file:
                    file.write(zlib.compress(json.dumps(head).encode() + b"\n" + gaps.tobytes(), 1))
                os.replace(name, self.file)
            except BaseException:
                os.unlink(name)
                raise
            self.prune()
        except OSError:
            pass

    def prune(self):
        files = sorted((entry.stat().st_mtime, entry.stat().st_size, entry.path) for entry in os.scandir(self.folder))
        size = sum(size for _, size, _ in files)
        for _, one, path in files:
            if size <= CACHE_LIMIT:
                break
            os.unlink(path)
            size -= one
