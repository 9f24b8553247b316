"""The fault campaign: the real program on a virtual display, and everything around it going wrong.

faults.py [--report FILE] <build folder> [part of a case's title]...

Run it by scripts/faults, in a mount namespace of its own: it mounts small disks and a false ffmpeg. Every case runs the
program in order, then with the fault, then in order again, and quits it.
"""

import argparse
import contextlib
import hashlib
import os
import pathlib
import platform
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from kestrel_at_screen import (Desktop, Failure, Kestrel, descendants, expect, expect_equal, make_video, middle, probe,
                               wait_until)
from quitting import Installation

LONG = 600  # seconds that nothing takes which is not stuck
STOPPING_SECONDS = 4  # 3 s of grace, then a kill
MOST_GROWTH_MB = 24  # caches of fonts and pictures, and what the allocator keeps
VIDEO_SECONDS = 20
CLIP_SECONDS = 4
UNHURRIED = "exec /usr/bin/ffmpeg -re \"$@\""  # takes as long as the clip lasts
FAULTY_BIN = pathlib.Path("/usr/local/bin")  # comes before /usr/bin, where the real ffmpeg lies

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

CASES = []


def case(title, *, twice=False, **options):
    """`options` are those of Trial. `twice`: memory may not grow the second time; of what is freed after the first the
    allocator keeps hold."""
    def register(function):
        CASES.append((title, function, twice, options))
        return function
    return register


def checksum(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


class Trial:
    """One run of the program, from its start to its end."""

    video = None  # made once

    def __init__(self, desktop, build_folder, launcher="exec {kestrel}", workers=3):
        """`launcher` is a line of shell that becomes the program; `workers` is how many run when all is in order."""
        self._workers = workers
        self._stack = contextlib.ExitStack()
        installation = self._stack.enter_context(Installation(build_folder, DETECTOR))
        self.folder = installation.clips.parent
        self.clips = installation.clips
        self._plan = self.folder / "share" / "kestrel" / "plan.py"
        self.source = self.folder / "source.mp4"
        shutil.copy2(Trial.video, self.source)
        self.plan(IN_ORDER)
        start = self.folder / "bin" / "start"
        start.write_text("#!/bin/sh\n" + launcher.format(kestrel=installation.executable) + "\n")
        start.chmod(0o755)
        self.desktop = desktop
        self.kestrel = self._stack.enter_context(Kestrel(desktop, build_folder, start))
        self.pid = self.kestrel.process.pid
        self._stack.callback(self._end_what_is_left)

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

    @contextlib.contextmanager
    def ffmpeg(self, script):
        """Another ffmpeg, in shell; `$output` is the file to write."""
        folder = self.folder / "false bin"
        folder.mkdir()
        tool = folder / "ffmpeg"
        tool.write_text("#!/bin/sh\nfor output; do :; done\n" + script + "\n")
        tool.chmod(0o755)
        with self.mounted(folder, FAULTY_BIN, "--bind"):
            yield
        shutil.rmtree(folder)

    @contextlib.contextmanager
    def mounted(self, what, where, *options):
        subprocess.run(["mount", *options, str(what), str(where)], check=True)
        try:
            yield
        finally:
            subprocess.run(["umount", "--lazy", str(where)], check=True)

    def ffmpegs(self):
        """The running ffmpegs by the file that each writes."""
        found = {}
        for pid in descendants(self.pid):
            with contextlib.suppress(OSError):
                words = pathlib.Path(f"/proc/{pid}/cmdline").read_bytes().split(b"\0")[:-1]
                if words and words[0].endswith(b"ffmpeg"):
                    found[pathlib.Path(os.fsdecode(words[-1]))] = pid
        return found

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
        self.kestrel.fill("outputDirectoryField", str(self.clips))
        self.kestrel.fill("videoPathField", str(self.source))
        self.set_concurrency(self._workers)

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

    def finish_split(self, total, seconds=LONG):
        """The numbers of completed and failed jobs, which the window must tell; closes the worker windows."""
        status = wait_until(lambda: (text := self.status()).startswith("分解完成") and text, "the finish", seconds)
        completed, of_all, failed = map(int, re.fullmatch(r"分解完成：成功 (\d+) / (\d+)，失败 (\d+)。", status).groups())
        expect(completed + failed == of_all == total, status)
        if failed:
            expect_equal(self.take_alert(), f"共有 {failed} 个 ffmpeg 任务失败，请检查子窗口日志。", "the alert")
        else:
            expect(not self.kestrel.alert(), "no alert without a failure")
        self.close_worker_windows()
        return completed, failed

    def worker_windows(self):
        return [window for window in self.kestrel.windows() if window["title"].startswith("分解任务")]

    def logs(self):
        return "".join(widget["text"] for window in self.worker_windows() for widget in window["widgets"]
                       if widget["name"] == "textView")

    def close_worker_windows(self):
        self.last_logs = self.logs()
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


class Row:
    """What came of one case."""

    def __init__(self, title):
        self.title = title
        self.seen = ""
        self.vitals = []
        self.seconds = 0.0

    def markdown(self):
        (descriptors, memory, _), (descriptors_later, memory_later, peak) = self.vitals or [([], 0, 0)] * 2
        numbers = (f"{len(descriptors)} → {len(descriptors_later)}", f"{memory:.0f} → {memory_later:.0f}", f"{peak:.0f}") \
            if self.vitals else ("", "", "")
        return "| " + " | ".join([self.title, self.seen.replace("|", "\\|").replace("\n", " "), *numbers,
                                  f"{self.seconds:.0f} s"]) + " |"


def run_case(desktop, build_folder, title, function, twice, options):
    """True and the row, or False and the row with what was wrong."""
    row = Row(title)
    start = time.monotonic()
    try:
        with Trial(desktop, build_folder, **options) as trial:
            trial.prepare()
            before = trial.work_in_order()
            if twice:
                function(trial)
                before = trial.work_in_order()
            row.seen = function(trial)
            if trial.kestrel.process.poll() is None:
                after = trial.work_in_order()
                row.vitals = [before, after]
                expect(len(after[0]) <= len(before[0]), f"descriptors: {before[0]}, then {after[0]}")
                expect(after[1] - before[1] < MOST_GROWTH_MB, f"memory: {before[1]:.0f} MB, then {after[1]:.0f} MB")
                trial.quit()
        passed = True
    except (Failure, subprocess.CalledProcessError, OSError) as failure:
        row.seen = f"FAILED: {failure} {row.seen}"
        passed = False
    row.seconds = time.monotonic() - start
    return passed, row


# ffmpeg


@case("ffmpeg gets each of the signals, in mid-run, 12 at a time")
def ffmpeg_signals(trial):
    trial.set_concurrency(12)
    trial.parse_segments([(0, CLIP_SECONDS)] * len(ALL_SIGNALS))
    shutil.rmtree(trial.clips)
    sent = {}

    def send_what_is_due():
        for output, pid in trial.ffmpegs().items():
            number = ALL_SIGNALS[int(output.stem.rpartition("-")[2]) - 1]
            if output not in sent and output.exists():
                with contextlib.suppress(ProcessLookupError):
                    os.kill(pid, number)
                    sent[output] = number
                    if number in STOPPING:
                        time.sleep(0.1)
                        os.kill(pid, signal.SIGCONT)
        return trial.status().startswith("分解完成")
    with trial.ffmpeg(UNHURRIED):
        trial.start_split()
        wait_until(send_what_is_due, "the finish", LONG)
    completed, failed = trial.finish_split(len(ALL_SIGNALS))
    expect_equal(len(sent), len(ALL_SIGNALS), "signals that reached a running ffmpeg")
    survivors = HARMLESS | STOPPING | {signal.SIGPIPE}  # ffmpeg ignores the last one itself
    deadly = len(set(ALL_SIGNALS) - survivors)
    expect_equal((completed, failed), (len(survivors), deadly), "completed and failed")
    for output, number in sent.items():
        if number in survivors:
            expect(is_whole(output), f"{output.name}, after signal {number}, is whole")
    return f"{deadly} deadly signals: {failed} counted failures; {len(survivors)} harmless ones: {completed} whole clips"


@case("ffmpeg never ends and ignores SIGTERM; then quit")
def endless_ffmpeg(trial):
    trial.set_concurrency(12)
    trial.parse_segments([(0, 1)] * 20)
    with trial.ffmpeg("trap '' TERM; echo part > \"$output\"; while :; do sleep 1; done"):
        trial.start_split()
        wait_until(lambda: len(list(trial.clips.glob("*.mp4"))) == 12, "twelve running jobs")
        trial.bring_forward()
        trial.desktop.press("ctrl+q")
        text, detail, window = wait_until(trial.kestrel.alert, "the question")
        expect_equal(text, "分解仍在进行", "the question")
        expect(detail.startswith("还有 20 个任务没有完成。"), detail)
        start = time.monotonic()
        trial.desktop.click(middle(next(w["rect"] for w in window["widgets"] if w["text"] == "停止并退出")))
        trial.expect_clean_end()
        seconds = time.monotonic() - start
    expect(seconds < STOPPING_SECONDS + 1, f"the end took {seconds:.1f} s")
    expect(not list(trial.clips.iterdir()), "the unfinished files are removed")
    return f"asks, kills after 3 s, gone after {seconds:.1f} s; status 0, no process, no file"


@case("every fifth of 1,000 jobs on 12 workers fails, twice", twice=True)
def many_jobs(trial):
    trial.set_concurrency(12)
    trial.parse_segments([(0, 0.04)] * 1000)
    with trial.ffmpeg("case $output in *[05].mp4) exit 3;; esac; exec /usr/bin/ffmpeg \"$@\""):
        trial.start_split()
        completed, failed = trial.finish_split(1000)
    expect_equal((completed, failed), (800, 200), "completed and failed")
    expect_equal(len(list(trial.clips.glob("*.mp4"))), 800, "the clips")
    return f"{completed} completed, {failed} failed"


# The disk


@case("disk full (tmpfs of 300 KB)")
def disk_full(trial):
    trial.parse_segments([(5, 5 + CLIP_SECONDS)] * 6)  # the scene that takes the most room
    trial.clips.mkdir(exist_ok=True)
    with trial.mounted("none", trial.clips, "-t", "tmpfs", "-o", "size=300k"):
        trial.start_split()
        completed, failed = trial.finish_split(6)
        expect(failed > 0 and "No space left on device" in trial.last_logs, f"{completed} completed, {failed} failed")
        whole = [clip for clip in trial.clips.iterdir() if is_whole(clip)]
    return (f"{failed} failed; {completed} for which ffmpeg ended with status 0, {len(whole)} of them whole; the logs say "
            "“No space left on device”")


def is_whole(clip):
    with contextlib.suppress(subprocess.CalledProcessError, KeyError, IndexError):
        return abs(probe(clip)[2] - CLIP_SECONDS) < 0.2
    return False


def split_with_a_fault(trial, fault, running=2, total=8):
    """Something happens while the first jobs run; completed and failed jobs."""
    shutil.rmtree(trial.clips)
    trial.set_concurrency(running)
    trial.parse_segments([(0, CLIP_SECONDS)] * total)
    with trial.ffmpeg(UNHURRIED):
        trial.start_split()
        wait_until(lambda: len(list(trial.clips.glob("*.mp4"))) == running, "running jobs")
        fault()
        completed, failed = trial.finish_split(total)
    return completed, failed


def launch_failures(trial):
    """What the logs tell of jobs that could not be started."""
    reasons = sorted(set(re.findall(r"启动失败：.*", trial.last_logs)))
    expect(reasons, "the log tells why")
    return "; ".join(f"“{reason}”" for reason in reasons)


@case("output folder removed during the run")
def folder_removed(trial):
    completed, failed = split_with_a_fault(trial, lambda: shutil.rmtree(trial.clips))
    expect(failed >= 6, f"{failed} failed")
    return f"{completed} were being written and ended well for ffmpeg, {failed} failed: {launch_failures(trial)}"


@case("output folder renamed during the run")
def folder_renamed(trial):
    other = trial.folder / "renamed"
    completed, failed = split_with_a_fault(trial, lambda: trial.clips.rename(other))
    expect(failed >= 6, f"{failed} failed")
    expect_equal(sum(map(is_whole, other.iterdir())), completed, "whole clips in the renamed folder")
    return f"{completed} completed and whole in the renamed folder, {failed} failed: {launch_failures(trial)}"


@case("output folder made read-only during the run",
      launcher="exec setpriv --bounding-set=-dac_override {kestrel}")
def folder_read_only(trial):
    completed, failed = split_with_a_fault(trial, lambda: trial.clips.chmod(0o555))
    trial.clips.chmod(0o755)
    expect(failed >= 6 and "Permission denied" in trial.last_logs, f"{failed} failed")
    expect_equal(sum(map(is_whole, trial.clips.iterdir())), completed, "whole clips")
    return f"{completed} completed and whole, {failed} failed: “Permission denied”"


@case("source removed during the run")
def source_removed(trial):
    completed, failed = split_with_a_fault(trial, trial.source.unlink)
    expect(failed >= 6 and "No such file or directory" in trial.last_logs, f"{failed} failed")
    expect_equal(sum(map(is_whole, trial.clips.iterdir())), completed, "whole clips")
    return f"{completed} completed and whole, {failed} failed: “No such file or directory”"


@case("source truncated during the run")
def source_truncated(trial):
    completed, failed = split_with_a_fault(trial, lambda: os.truncate(trial.source, 5000))
    expect(failed >= 6, f"{failed} failed")
    return f"{completed} completed as far as the source went, {failed} failed"


# The detector


@case("detector hangs and ignores SIGTERM; then quit")
def hanging_detector(trial):
    trial.plan("signal.signal(signal.SIGTERM, signal.SIG_IGN); say('hangs'); time.sleep(600)")
    trial.start_parse()
    wait_until(lambda: trial.status() == "hangs", "the hanging detector")
    start = time.monotonic()
    trial.desktop.press("ctrl+q")
    wait_until(lambda: not trial.desktop.has_window("kestrel"), "the window's disappearance", 2)
    gone = time.monotonic() - start
    trial.expect_clean_end()
    return f"window gone after {gone:.1f} s, process after {time.monotonic() - start:.1f} s; status 0, no process"


FLOOD = "line = b'x' * 99 + b'\\n'\nfor _ in range(500): sys.stderr.buffer.write(line * 10000)\n"


@case("detector floods 500 MB of standard error, then answers")
def error_flood(trial):
    trial.plan(FLOOD + "answer([(0, 1)])")
    status, alert = trial.parse()
    expect(status.startswith("解析完成：0 个换场，1 个保留片段"), f"{status} {alert}")
    return status


@case("detector floods 500 MB of standard error, then fails")
def error_flood_and_failure(trial):
    trial.plan(FLOOD + "sys.exit('the reason')")
    _, alert = trial.parse()
    expect(alert.startswith("解析失败：xxx") and alert.endswith("the reason") and len(alert) < 3000, alert)
    return f"alert of {len(alert)} characters: “解析失败：xxx … the reason”"


@case("detector prints 200 MB of JSON (100,000 events), twice", twice=True)
def huge_payload(trial):
    trial.plan("text = 'x' * 1900\nanswer([(0, 1)], events=[{'index': n, 'type': 'cut', 'start': n, 'end': n + 1, "
               "'duration': 1, 'score': 1, 'source': text} for n in range(100000)])")
    status, alert = trial.parse()
    expect(status.startswith("解析完成：100000 个换场，1 个保留片段"), f"{status} {alert}")
    return status


@case("detector prints 200 MB that are no JSON")
def huge_nonsense(trial):
    trial.plan("for _ in range(200): sys.stdout.write('x' * 1000000)")
    _, alert = trial.parse()
    expect(alert.startswith("无法解析检测脚本输出："), alert)
    return alert


@case("detector closes its pipes and goes on for 2 s")
def early_close(trial):
    trial.plan("answer([(0, 1)]); os.close(1); os.close(2); time.sleep(2); os._exit(0)")
    status, alert = trial.parse()
    expect(status.startswith("解析完成：0 个换场，1 个保留片段"), f"{status} {alert}")
    trial.plan("os.close(1); os.close(2); time.sleep(2); os._exit(0)")
    _, alert = trial.parse()
    expect_equal(alert, "无法解析检测脚本输出：输出为空。", "the alert")
    return f"with an answer before: {status} Without: {alert}"


@case("detector forks and exits; its child keeps the pipes")
def forking_detector(trial):
    trial.plan("answer([(0, 1)])\nif os.fork() == 0: time.sleep(600)\nos._exit(0)")
    status, alert = trial.parse()
    expect(status.startswith("解析完成：0 个换场，1 个保留片段"), f"{status} {alert}")
    wait_until(lambda: not trial.kestrel.offspring(), "the child's end", 5)
    trial.plan("if os.fork() == 0: time.sleep(600)\nos._exit(1)")
    _, alert = trial.parse()
    expect_equal(alert, "解析失败：", "the alert")
    return status + " The child is ended"


@case("detector dies by each of the signals")
def detector_signals(trial):
    failures = []
    for number in ALL_SIGNALS:
        trial.plan(f"if {number} not in (9, 19): signal.signal({number}, signal.SIG_DFL)\n"
                   f"say('about to die')\nos.kill(os.getpid(), {number})\nanswer([(0, 1)])")
        trial.start_parse()

        def is_over():
            if number in STOPPING:
                for pid in descendants(trial.pid):
                    os.kill(pid, signal.SIGCONT)
            return trial.status().startswith(("解析完成", "解析失败"))
        wait_until(is_over, f"the end by signal {number}")
        if trial.status().startswith("解析失败"):
            expect_equal(trial.take_alert(), "解析失败：about to die", "the alert")
            failures.append(number)
    deadly = [number for number in ALL_SIGNALS if number not in HARMLESS | STOPPING]
    expect_equal(failures, deadly, "the signals that failed the detection")
    return f"{len(deadly)} deadly signals: “解析失败：about to die”; {len(HARMLESS | STOPPING)} harmless ones: 解析完成"


# What the program inherits


@case("at most 24 descriptors (ulimit -n 24)", launcher="ulimit -n 24; exec {kestrel}", workers=1)
def few_descriptors(trial):
    trial.set_concurrency(12)
    trial.parse_segments([(0, 3)] * 30)
    trial.start_split()
    completed, failed = trial.finish_split(30)
    trial.set_concurrency(1)
    expect(failed > 0 and completed > 0, f"{completed} completed, {failed} failed")
    return f"12 workers: {completed} completed, {failed} failed: {launch_failures(trial)}"


@case("no descriptor left for a child")
def no_descriptors(trial):
    in_use = len(trial.descriptors())
    limits = f"{in_use + 3}:4096"
    subprocess.run(["prlimit", f"--pid={trial.pid}", f"--nofile={limits}"], check=True)
    _, alert = trial.parse()
    subprocess.run(["prlimit", f"--pid={trial.pid}", "--nofile=1024:4096"], check=True)
    return alert


@case("200 MB of JSON with 300 MB of memory")
def little_memory(trial):
    size = int(re.search(r"VmSize:\s+(\d+)", pathlib.Path(f"/proc/{trial.pid}/status").read_text())[1]) * 1024
    trial.plan("import resource\nresource.setrlimit(resource.RLIMIT_AS, (-1, -1))\n"
               "for _ in range(200): sys.stdout.write(' ' * 1000000)\nanswer([(0, 1)])")
    subprocess.run(["prlimit", f"--pid={trial.pid}", f"--as={size + 300_000_000}:unlimited"], check=True)
    _, alert = trial.parse()
    subprocess.run(["prlimit", f"--pid={trial.pid}", "--as=unlimited:unlimited"], check=True)
    expect_equal(alert, "内存不足。", "the alert")
    return alert


@case("closed standard streams", launcher="exec {kestrel} <&- >&- 2>&-")
def closed_streams(trial):
    streams = [os.readlink(f"/proc/{trial.pid}/fd/{number}") for number in (0, 1, 2)]
    expect_equal(streams, ["/dev/null"] * 3, "the streams")
    trial.plan("sys.exit('the reason')")
    _, alert = trial.parse()
    expect_equal(alert, "解析失败：the reason", "the alert")
    return "parse, failure and split as ever; the streams are /dev/null"


@case("SIGCHLD ignored at the start", launcher="exec env --ignore-signal=CHLD {kestrel}")
def ignored_children(trial):
    trial.plan("sys.exit('the reason')")
    _, alert = trial.parse()
    expect_equal(alert, "解析失败：the reason", "the alert")
    trial.parse_segments([(0, 1), (30, 31), (2, 3)])
    with trial.ffmpeg("case $output in *2.mp4) exit 3;; esac; exec /usr/bin/ffmpeg \"$@\""):
        trial.start_split()
        expect_equal(trial.finish_split(3), (2, 1), "completed and failed")
    return "exit statuses are seen: a failed detection, 2 completed and 1 failed job"


def write_report(path, rows, failed):
    lines = ["# Faults", "",
             "What Kestrel does when everything around it goes wrong: made by `scripts/faults`, which runs the real "
             "program on a", "virtual display, in order, with the fault, and in order again.", "",
             f"{len(rows)} cases, {failed} failed; {time.strftime('%Y-%m-%d %H:%M')}, {platform.system()} "
             f"{platform.release()}, {os.cpu_count()} cores.", "",
             "In every case the numbers of completed and failed jobs make up the total, the window works on "
             "afterwards, the source", "is untouched by us, the program ends with status 0, and no process is left.",
             "", "| Case | What was seen | Descriptors | Memory, MB | Peak, MB | Time |", "|---|---|---|---|---|---|",
             *(row.markdown() for row in rows), ""]
    path.write_text("\n".join(lines))


def main():
    arguments = argparse.ArgumentParser()
    arguments.add_argument("--report", type=pathlib.Path)
    arguments.add_argument("build_folder", type=pathlib.Path)
    arguments.add_argument("titles", nargs="*")
    wanted = arguments.parse_args()
    for inherited in (signal.SIGHUP, signal.SIGINT, signal.SIGQUIT):  # a shell's background has them ignored
        signal.signal(inherited, signal.SIG_DFL)
    rows = []
    failed = 0
    with Desktop() as desktop, contextlib.ExitStack() as stack:
        folder = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory()))
        Trial.video = Installation.video = folder / "source.mp4"
        make_video(Trial.video, [VIDEO_SECONDS / 4] * 4)
        for title, function, *options in CASES:
            if wanted.titles and not any(part in title for part in wanted.titles):
                continue
            passed, row = run_case(desktop, wanted.build_folder.resolve(), title, function, *options)
            rows.append(row)
            failed += not passed
            print(row.markdown(), flush=True)
            if wanted.report:
                write_report(wanted.report, rows, failed)
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
