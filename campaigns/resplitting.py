"""A window with results, in a small world of its own, whose splits can be repeated and brought to every end."""

import collections
import concurrent.futures
import contextlib
import os
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from endings import quit_and_confirm
from kestrel_at_screen import Desktop, Failure, Kestrel, descendants, expect, wait_until
from quitting import Installation
from road import OVERVIEW

SEGMENTS = 5

DETECTOR = """
import json, sys
segments = [{{"index": n, "start": 0, "end": {0}, "duration": {0}}} for n in range({1})]
print(json.dumps({{"video": sys.argv[1], "fps": 25, "duration": 60, "aggressive": False, "events": [],
                  "keep_segments": segments}}))
"""

IMPOSSIBLE_CROP = "9999:10:0:0"  # which ffmpeg refuses


class World:
    """A folder for clips of a length, a trash, and a copy of the program."""

    def __init__(self, build_folder, clip_seconds):
        self._installation = Installation(build_folder, DETECTOR.format(clip_seconds, SEGMENTS))
        self.executable = self._installation.executable
        self.clips = self._installation.clips
        self.folder = self.clips.parent
        self.home = self.folder / "home"
        self.trash = self.folder / "data"
        self.outputs = [self.clips / f"c-{number:02}.mp4" for number in range(1, SEGMENTS + 1)]
        for folder in (self.clips, self.home, self.trash):
            folder.mkdir()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._installation.__exit__()

    def empty_trash(self):
        shutil.rmtree(self.trash / "Trash", ignore_errors=True)

    def clear(self):
        self.empty_trash()
        shutil.rmtree(self.clips, ignore_errors=True)
        self.clips.mkdir()


class Splitter:
    """The program, started in a world."""

    def __init__(self, desktop, build_folder, world, video, concurrency, has_trash=True):
        self.world = world
        data = world.trash if has_trash else world.executable / "no folder"
        self.kestrel = Kestrel(desktop, build_folder, world.executable,
                               {"HOME": str(world.home), "XDG_DATA_HOME": str(data),
                                "XDG_CACHE_HOME": str(world.home / "cache")})
        self.kestrel.fill_screen()
        self.kestrel.fill("outputDirectoryField", str(world.clips))
        self.kestrel.fill("concurrencyField", str(concurrency))
        self.choose(video)
        self.kestrel.fill("prefixField", "c")

    def close(self):
        """Whatever still runs is killed."""
        with self.kestrel:
            for pid in [self.kestrel.process.pid, *self.kestrel.offspring()]:
                with contextlib.suppress(ProcessLookupError):
                    os.kill(pid, signal.SIGKILL)

    def runs(self):
        return self.kestrel.process.poll() is None

    # What a person does

    def bring_forward(self, title="Kestrel"):
        self.kestrel.desktop.do("windowactivate", "--sync", self.kestrel.window(title)["id"])

    def choose(self, video):
        self.bring_forward()
        self.kestrel.fill("videoPathField", str(video))
        self.kestrel.click("parseButton")
        self.kestrel.wait_for_text("statusLabel", "解析完成")

    def split(self, crop=None):
        """Until it runs or is refused."""
        self.bring_forward()
        if crop:
            self.kestrel.fill("cropField", crop)
        self.kestrel.click("splitButton")
        self._wait_for_beginning()

    def retry(self):
        self.press_in_overview("ctrl+r")
        self._wait_for_beginning()

    def _wait_for_beginning(self):
        """Or for a while: a short split may have ended between two looks, and there may be nothing to retry."""
        def has_begun():
            return any("alert" in window or any(widget["name"] == "splitButton" and not widget["enabled"]
                                                for widget in window["widgets"])
                       for window in self.kestrel.windows("splitButton"))
        with contextlib.suppress(Failure):
            wait_until(has_begun, "the beginning", seconds=3)

    def press_in_overview(self, *keys):
        if self.kestrel.window(OVERVIEW):
            self.bring_forward(OVERVIEW)
            self.kestrel.desktop.press(*keys)

    def settle(self):
        """Until nothing runs and nothing is asked; the last alert's text."""
        told = []

        def is_settled():
            windows = self.kestrel.windows("splitButton")
            for window in windows:
                if "alert" in window:
                    told[:] = [window["detail"]]
                    with contextlib.suppress(subprocess.CalledProcessError):  # it may just have gone
                        self.kestrel.desktop.do("windowactivate", window["id"], "key", "Return")
                    return False
            return any(widget["name"] == "splitButton" and widget["enabled"] for window in windows
                       for widget in window["widgets"])
        wait_until(is_settled, "the end of the split")
        return told[0] if told else None

    def ffmpegs(self):
        return descendants(self.kestrel.process.pid)

    def quit(self, way):
        quit_and_confirm(self.kestrel, way)
        status = self.kestrel.wait_for_end()
        expect(status == 0, f"exit status {status}")
        left = self.kestrel.offspring()
        expect(not left, f"processes are left: {left}")
        self.close()


class Campaign:
    """Run after run in a world whose program goes on from one to the next, until one ends it. Whatever is wrong ends the
    world too."""

    def __init__(self, desktop, build_folder, clip_seconds):
        self._desktop = desktop
        self._build_folder = build_folder
        self._clip_seconds = clip_seconds
        self.world = None
        self.splitter = None
        self.counts = collections.Counter()

    def run(self, number):
        random.seed(number)
        if not self.world:
            self.world = World(self._build_folder, self._clip_seconds)
        try:
            self.run_once()
        except BaseException:
            self.close()
            raise

    def close(self):
        if self.splitter:
            self.splitter.close()
        self.world.__exit__()
        self.splitter = self.world = None

    def open(self, video, concurrency, has_trash=True):
        self.splitter = Splitter(self._desktop, self._build_folder, self.world, video, concurrency, has_trash)

    def quit(self, way):
        self.splitter.quit(way)
        self.splitter = None

    def kill(self):
        """The program; its ffmpegs die with it."""
        self.splitter.kestrel.process.kill()
        self.splitter.kestrel.process.wait()
        wait_until(lambda: not self.splitter.kestrel.offspring(), "the end of the ffmpegs")
        self.splitter.close()
        self.splitter = None


def run_in_parallel(campaign):
    """So many runs of a campaign, each of its own seed, as the command line says: <build folder> <number> <how many at a
    time> [first seed]. Ends the process, with status 0 when nothing was wrong with any."""
    build_folder = pathlib.Path(sys.argv[1]).resolve()
    count, at_once, first = map(int, [*sys.argv[2:], 0][:3])
    start = time.monotonic()
    with concurrent.futures.ProcessPoolExecutor(at_once) as pool:
        parts = list(pool.map(_run_each, [campaign] * at_once, [build_folder] * at_once,
                              [range(first + lane, first + count, at_once) for lane in range(at_once)]))
    wrong = sum(number for number, _ in parts)
    counts = sum((part for _, part in parts), collections.Counter())
    print(f"\n{count - wrong} of {count} {campaign.__name__.lower()} were in order, {time.monotonic() - start:.0f} s, "
          f"{at_once} at a time: " + ", ".join(f"{name} {number}" for name, number in sorted(counts.items())))
    sys.exit(1 if wrong else 0)


def _run_each(campaign, build_folder, numbers):
    """How many went wrong, and what the campaign counted."""
    wrong = 0
    with tempfile.TemporaryDirectory() as folder, Desktop() as desktop:
        current = campaign(desktop, build_folder, pathlib.Path(folder))
        for number in numbers:
            try:
                current.run(number)
                print(".", end="", flush=True)
            except Exception as failure:  # pylint: disable=broad-except
                wrong += 1
                print(f"\n{number}: {type(failure).__name__}: {failure}", flush=True)
        if current.world:
            current.close()
    return wrong, current.counts
