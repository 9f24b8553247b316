"""One run of the program to which everything around it means no good, and what a person does in it."""

import contextlib
import dataclasses
import os
import pathlib
import re
import shutil
import signal
import typing

from false_ffmpeg import PLACE as FFMPEG_PLACE
from kestrel_at_screen import (NO_CONTROL, Kestrel, descendants, expect, expect_equal, middle, probe, wait_until)
from keepsakes import checksum
from quitting import Installation
from road import OVERVIEW

LONG = 600  # seconds that nothing takes which is not stuck
STOPPING_SECONDS = 4  # 3 s of grace, then a kill
VIDEO_SECONDS = 20

# Does what the file plan.py beside it says, with these words.
DETECTOR = """
import json, os, signal, subprocess, sys, time
def say(text): print(text, file=sys.stderr, flush=True)
def answer(segments, **more):
    json.dump({"video": sys.argv[1], "fps": 25, "duration": 20, "aggressive": True, "events": [],
               "keep_segments": [{"index": n, "start": s, "end": e, "duration": e - s}
                                 for n, (s, e) in enumerate(segments)], **more}, sys.stdout)
    sys.stdout.flush()
folder = os.path.dirname(__file__)
open(os.path.join(folder, "runs"), "a").write(".")
exec(open(os.path.join(folder, "plan.py")).read())
"""
IN_ORDER = "answer([(0, 0.2), (1, 1.2), (2, 2.2)])"
ALL_SIGNALS = [number for number in range(1, signal.SIGRTMAX + 1) if number not in (32, 33)]  # the C library's own
HARMLESS = {signal.SIGCHLD, signal.SIGCONT, signal.SIGURG, signal.SIGWINCH}
STOPPING = {signal.SIGSTOP, signal.SIGTSTP, signal.SIGTTIN, signal.SIGTTOU}  # sent together with SIGCONT


@dataclasses.dataclass
class Case:
    """A fault and what holds for it."""

    title: str
    function: typing.Callable
    twice: bool  # memory may not grow the second time; of what is freed after the first the allocator keeps hold
    own_desktop: bool
    gap_ms: float  # for how long the window may stand still
    peak_mb: float  # of memory that the program may need
    options: dict  # those of Trial


CASES = []


def case(title, *, twice=False, own_desktop=False, gap_ms=250, peak_mb=float("inf"), **options):
    def register(function):
        CASES.append(Case(title, function, twice, own_desktop, gap_ms, peak_mb, options))
        return function
    return register


class Trial:
    """One run of the program, from its start to its end."""

    video = None  # made once

    def __init__(self, desktop, build_folder, launcher="exec {kestrel}", workers=3):
        """`launcher` is a line of shell that becomes the program; `workers` is how many run when all is in order. A
        launcher that speaks of a {terminal} gets one, of which `self.terminal` is the other end."""
        self._workers = workers
        self._stack = contextlib.ExitStack()
        installation = self._stack.enter_context(Installation(build_folder, DETECTOR))
        self.folder = installation.clips.parent
        self.clips = installation.clips
        self._plan = self.folder / "share" / "kestrel" / "plan.py"
        self._detector = build_folder / "share" / "kestrel" / "detect_scene_changes.py"
        self.cache = self.folder / "cache"
        self.source = self.folder / "source.mp4"
        shutil.copy2(Trial.video, self.source)
        self.plan(IN_ORDER)
        start = self.folder / "bin" / "start"
        start.write_text("#!/bin/sh\n" + launcher.format(kestrel=installation.executable,
                                                         terminal=self._open_terminal(launcher)) + "\n")
        start.chmod(0o755)
        self.desktop = desktop
        self.kestrel = self._stack.enter_context(Kestrel(desktop, build_folder, start, {
            "HOME": str(self.folder), "XDG_CACHE_HOME": str(self.cache), "XDG_DATA_HOME": str(self.folder)}))
        self.pid = self.kestrel.process.pid
        self._stack.callback(self._end_what_is_left)

    def _open_terminal(self, launcher):
        if "{terminal}" not in launcher:
            return None
        self.terminal, ours = os.openpty()
        return os.ttyname(ours)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._stack.close()

    def _end_what_is_left(self):
        for pid in self.kestrel.offspring():
            with contextlib.suppress(OSError):
                os.kill(pid, signal.SIGKILL)

    # Surroundings

    def plan(self, text):
        """What the detector does from now on."""
        self._plan.write_text(text)

    def plan_real_detector(self):
        """The one that comes with the program. It looks for ffmpeg beside Python first, where no false one lies."""
        self.plan(f"os.environ['PATH'] = '{FFMPEG_PLACE}:' + os.environ['PATH']\n"
                  f"sys.argv[0] = {str(self._detector)!r}\nos.execv(sys.executable, [sys.executable, *sys.argv])")

    def ffmpegs(self):
        """The running ffmpegs by the file that each writes."""
        found = {}
        for pid in descendants(self.pid):
            with contextlib.suppress(OSError):
                words = pathlib.Path(f"/proc/{pid}/cmdline").read_bytes().split(b"\0")[:-1]
                if words and words[0].endswith(b"ffmpeg"):
                    found[pathlib.Path(os.fsdecode(words[-1]))] = pid
        return found

    def written_clips(self):
        """Those that ffmpeg has begun; it finds its output there, empty."""
        return [clip for clip in self.clips.glob("*.mp4") if clip.stat().st_size > 0]

    def vitals(self):
        """Descriptors, and megabytes of memory now and at most."""
        status = pathlib.Path(f"/proc/{self.pid}/status").read_text()
        now, most = (int(re.search(rf"{name}:\s+(\d+)", status)[1]) / 1024 for name in ("VmRSS", "VmHWM"))
        return self.descriptors(), now, most

    def descriptors(self):
        """What they lead to; without the index of the icons, which is opened once for the first alert."""
        targets = [os.readlink(entry) for entry in pathlib.Path(f"/proc/{self.pid}/fd").iterdir()]
        return sorted(target for target in targets if "/icons/" not in target)

    # What a person does

    def bring_forward(self):
        self.desktop.do("windowactivate", "--sync", self.kestrel.window("Kestrel")["id"])

    def prepare(self):
        self.kestrel.fill_screen()
        self.choose(self.source, self.clips)
        self.set_concurrency(self._workers)

    def choose(self, video, clips):
        self.bring_forward()
        self.kestrel.fill("outputDirectoryField", str(clips))
        self.kestrel.fill("videoPathField", str(video))

    def set_concurrency(self, number):
        self.kestrel.fill("concurrencyField", str(number))

    def status(self):
        return self.kestrel.text("statusLabel")

    def take_alert(self):
        """The text of the alert, which must be there; closes it."""
        title, detail, _ = wait_until(self.kestrel.alert, "the alert")
        expect_equal(title, "操作失败", "the alert's title")
        window = wait_until(lambda: (alert := self.kestrel.alert()) and alert[2]["active"] and alert[2], "the focus")
        self.desktop.click(middle(next(w["rect"] for w in window["widgets"] if w["class"] == "QPushButton")))
        wait_until(lambda: not self.kestrel.alert(), "the alert's end")
        return detail

    def start_parse(self):
        """Until the detector runs or cannot be started."""
        runs = self._plan.with_name("runs")
        before = runs.stat().st_size if runs.exists() else 0
        self.bring_forward()
        self.kestrel.click("parseButton")
        wait_until(lambda: runs.exists() and runs.stat().st_size > before or self.kestrel.alert(), "the detector")

    def parse(self, seconds=LONG):
        """Parses to the end; the status that is shown then, and the text of an alert."""
        self.start_parse()
        wait_until(lambda: self.status().startswith(("解析完成", "解析失败")), "the end of the detection", seconds)
        status = self.status()
        return status, self.take_alert() if status.startswith("解析失败") else None

    def parse_segments(self, segments):
        self.plan(f"answer({segments!r})")
        status, alert = self.parse()
        expect(f"，{len(segments)} 个保留片段" in status, f"{status} {alert}")

    def start_split(self):
        self.bring_forward()
        self.kestrel.click("splitButton")

    def stop_all(self):
        """Until nothing can be stopped any more."""
        self.desktop.do("windowactivate", "--sync", self.kestrel.window(OVERVIEW)["id"])
        self.desktop.press("ctrl+period")
        wait_until(lambda: self.kestrel.find("splitButton")["enabled"], "the finish")
        if self.kestrel.alert():
            self.take_alert()
        self.close_worker_windows()

    def finish_split(self, total, seconds=LONG, has_short_logs=True):
        """The numbers of completed and failed jobs, which the window must tell; closes the worker windows."""
        status = wait_until(lambda: (text := self.status()).startswith("分解完成") and text, "the finish", seconds)
        completed, of_all, failed = map(int, re.fullmatch(r"分解完成：成功 (\d+) / (\d+)，失败 (\d+)。", status).groups())
        expect(completed + failed == of_all == total, status)
        if failed:
            expect_equal(self.take_alert(), f"共有 {failed} 个 ffmpeg 任务失败，请检查子窗口日志。", "the alert")
        else:
            expect(not self.kestrel.alert(), "no alert without a failure")
        self.close_worker_windows(has_short_logs)
        return completed, failed

    def worker_windows(self, control=NO_CONTROL):
        return [window for window in self.kestrel.windows(control) if window["title"].startswith("分解任务")]

    def logs(self):
        return "".join(widget["text"] for window in self.worker_windows("textView") for widget in window["widgets"]
                       if widget["name"] == "textView")

    def job_rows(self):
        """What the overview tells of each job: number, file, progress, state, speed and the like, remark."""
        return [[cell["text"] for cell in row]
                for row in self.kestrel.find("jobTableView", window=OVERVIEW)["table"]["rows"]]

    def close_worker_windows(self, has_short_logs=True):
        """Keeps the logs, unless asking for them would take long."""
        self.last_logs = self.logs() if has_short_logs else ""
        while windows := self.worker_windows():
            self.desktop.do("windowactivate", "--sync", windows[0]["id"])
            self.desktop.press("alt+F4")
            wait_until(lambda: len(self.worker_windows()) < len(windows), "the worker window's end")

    def work_in_order(self):
        """One parse and one split as they shall be; how the program is afterwards."""
        if not self.source.exists() or checksum(self.source) != checksum(Trial.video):
            shutil.copy2(Trial.video, self.source)
        shutil.rmtree(self.clips, ignore_errors=True)
        self.plan(IN_ORDER)
        status, alert = self.parse()
        expect(status.startswith("解析完成：0 个换场，3 个保留片段"), f"{status} {alert}")
        self.start_split()
        expect_equal(self.finish_split(3), (3, 0), "clips in order")
        for clip in sorted(self.clips.iterdir()):
            expect(abs(probe(clip)[2] - 0.2) < 0.05, f"{clip.name} is whole")
        expect_equal(checksum(self.source), checksum(Trial.video), "the source")
        wait_until(lambda: not self.kestrel.offspring(), f"no process is left: {self.kestrel.offspring()}", 5)
        return self.vitals()

    def quit(self):
        self.bring_forward()
        self.desktop.press("ctrl+q")
        self.expect_clean_end()

    def expect_clean_end(self):
        expect_equal(self.kestrel.wait_for_end(), 0, "the exit status")
        wait_until(lambda: not self.kestrel.offspring(), "no process is left", 1)


