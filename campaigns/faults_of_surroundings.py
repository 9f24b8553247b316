"""Faults of what the program inherits and runs in."""

import os
import pathlib
import re
import subprocess
import time

from false_ffmpeg import UNHURRIED, false_ffmpeg
from faults_of_jobs import launch_failures
from kestrel_at_screen import expect, expect_equal, wait_until
from keepsakes import checksum, make_older_clip
from trial import STOPPING_SECONDS, case

IN_A_TERMINAL = "exec setsid --ctty {kestrel} <{terminal} >{terminal} 2>&1"
@case("at most 32 descriptors (ulimit -n 32)", launcher="ulimit -n 32; exec {kestrel}", workers=1)
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
    with false_ffmpeg("case $output in *2.mp4) exit 3;; esac; exec /usr/bin/ffmpeg \"$@\""):
        trial.start_split()
        expect_equal(trial.finish_split(3), (2, 1), "completed and failed")
    return "exit statuses are seen: a failed detection, 2 completed and 1 failed job"



# What it runs in


HANGING = """
subprocess.Popen(["sleep", "600"])
subprocess.Popen(["sh", "-c", "trap '' TERM HUP INT; sleep 600; sleep 600"])
say("hangs")
time.sleep(600)
"""


def detect_for_ever(trial):
    """A detector that has children, one of which obeys nobody."""
    trial.plan(HANGING)
    trial.start_parse()
    wait_until(lambda: trial.status() == "hangs", "the hanging detector")


def split_over_older_clips(trial):
    trial.parse_segments([(0, 4)] * 6)
    older = [trial.clips / f"source-{number:02}.mp4" for number in range(1, 7)]
    trial.clips.mkdir(exist_ok=True)
    for clip in older:
        make_older_clip(clip, trial.source)
    before = {clip: checksum(clip) for clip in older}
    trial.start_split()
    wait_until(lambda: sum(not clip.exists() or checksum(clip) != content for clip, content in before.items()) == 3,
               "three outputs that are written")
    return before


def expect_end(trial, older=None, status=0):
    """The program and all that it started are gone in time, and older clips are what they were."""
    start = time.monotonic()
    expect(trial.kestrel.wait_for_end(STOPPING_SECONDS + 1) in (0, status), f"status {trial.kestrel.process.poll()}")
    wait_until(lambda: not trial.kestrel.offspring(), "no process is left", 1)
    for clip, content in (older or {}).items():
        expect(clip.is_file() and checksum(clip) == content, f"{clip.name} is lost")
    expect(not older or set(trial.clips.iterdir()) == set(older), "nothing else is left")
    return f"gone after {time.monotonic() - start:.1f} s, status {trial.kestrel.process.poll()}"


@case("started in a terminal; quit during a detection whose children are stubborn", launcher=IN_A_TERMINAL)
def quit_in_a_terminal(trial):
    detect_for_ever(trial)
    trial.desktop.press("ctrl+q")
    return expect_end(trial)


@case("started in a terminal; Ctrl-C during a split", launcher=IN_A_TERMINAL)
def interrupt_in_a_terminal(trial):
    with false_ffmpeg(UNHURRIED):
        older = split_over_older_clips(trial)
        os.write(trial.terminal, b"\x03")
        return expect_end(trial, older)


@case("the terminal closes during a detection (SIGHUP)", launcher=IN_A_TERMINAL)
def terminal_closes_in_detection(trial):
    detect_for_ever(trial)
    os.close(trial.terminal)
    return expect_end(trial)


@case("the terminal closes during a split (SIGHUP)", launcher=IN_A_TERMINAL)
def terminal_closes_in_split(trial):
    with false_ffmpeg(UNHURRIED):
        older = split_over_older_clips(trial)
        os.close(trial.terminal)
        return expect_end(trial, older)


@case("the display server dies during a detection", own_desktop=True)
def display_dies_in_detection(trial):
    detect_for_ever(trial)
    trial.desktop.server.kill()
    return expect_end(trial, status=1)


@case("the display server dies during a split", own_desktop=True)
def display_dies_in_split(trial):
    with false_ffmpeg(UNHURRIED):
        older = split_over_older_clips(trial)
        trial.desktop.server.kill()
        return expect_end(trial, older, status=1)
