"""Quitting in the middle of work: what is asked, what is left behind.

quitting.py <build folder>
"""

import contextlib
import pathlib
import random
import re
import shutil
import subprocess
import tempfile
import time

from kestrel_at_screen import (Failure, Kestrel, descendants, expect, expect_equal, is_running, make_video, middle, probe,
                               run_tests, send, wait_until)

SEGMENTS = 6
VIDEO_SECONDS = 12
QUESTION = "分解仍在进行"
EXPLANATION = "还有 {} 个任务没有完成。退出会停止它们，并删除未完成的输出文件。"

INSTANT_DETECTOR = """
import json, sys
segments = [{"index": n, "start": 0, "end": %d, "duration": 0} for n in range(%d)]
print(json.dumps({"video": sys.argv[1], "fps": 25, "duration": 60, "aggressive": False, "events": [],
                  "keep_segments": segments}))
""" % (VIDEO_SECONDS, SEGMENTS)
STUBBORN_DETECTOR = """
import signal, sys, time
signal.signal(signal.SIGTERM, signal.SIG_IGN)
print("started", file=sys.stderr, flush=True)
time.sleep(600)
"""


class Installation:
    """A copy of the program with a detector of ours, and a video that takes a while to cut."""

    video = None  # made once, it takes longest

    def __init__(self, build_folder, detector):
        self._folder = tempfile.TemporaryDirectory()
        folder = pathlib.Path(self._folder.name)
        self.executable = folder / "bin" / "kestrel"
        self.executable.parent.mkdir()
        shutil.copy2(build_folder / "bin" / "kestrel", self.executable)
        script = folder / "share" / "kestrel" / "detect_scene_changes.py"
        script.parent.mkdir(parents=True)
        script.write_text(detector)
        self.clips = folder / "clips"
        if not Installation.video:
            Installation.keep = tempfile.TemporaryDirectory()
            Installation.video = pathlib.Path(Installation.keep.name) / "long.mp4"
            make_video(Installation.video, [VIDEO_SECONDS], size="1280x720")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._folder.cleanup()


@contextlib.contextmanager
def kestrel_with_results(desktop, build_folder):
    with Installation(build_folder, INSTANT_DETECTOR) as installation, \
            Kestrel(desktop, build_folder, installation.executable) as kestrel:
        kestrel.fill_screen()
        kestrel.fill("videoPathField", str(installation.video))
        kestrel.fill("outputDirectoryField", str(installation.clips))
        kestrel.click("parseButton")
        kestrel.wait_for_text("statusLabel", "解析完成")
        yield kestrel, installation


def start_split(kestrel, installation):
    kestrel.click("splitButton")
    wait_until(lambda: descendants(kestrel.process.pid) and list(installation.clips.glob("*.mp4")), "running ffmpegs")


def bring_main_window_forward(kestrel):
    kestrel.desktop.do("windowactivate", "--sync", kestrel.window("Kestrel")["id"])


def answer(kestrel, button):
    window = kestrel.alert()[2]
    rect = next(widget["rect"] for widget in window["widgets"] if widget["text"] == button)
    kestrel.desktop.click(middle(rect))


def expect_clean_end(kestrel, installation=None):
    expect_equal(kestrel.wait_for_end(), 0, "the exit status")
    expect(not kestrel.offspring(), f"no process is left: {kestrel.offspring()}")
    for clip in installation.clips.iterdir() if installation else []:
        _, _, duration = probe(clip)
        expect(abs(duration - VIDEO_SECONDS) < 0.2, f"{clip.name} is whole: {duration} s")


def idle_quits_at_once(desktop, build_folder):
    for keys in ("ctrl+q", "alt+F4"):
        with Kestrel(desktop, build_folder) as kestrel:
            desktop.press(keys)
            expect_clean_end(kestrel)
    for name in ("SIGINT", "SIGTERM"):
        with Kestrel(desktop, build_folder) as kestrel:
            send(kestrel.process, name)
            expect_clean_end(kestrel)


def split_asks_before_quitting(desktop, build_folder):
    with kestrel_with_results(desktop, build_folder) as (kestrel, installation):
        start_split(kestrel, installation)
        bring_main_window_forward(kestrel)
        for refusal in ("Escape", "Return"):
            desktop.press("ctrl+q")
            text, detail, _ = wait_until(kestrel.alert, "the question")
            expect_equal(text, QUESTION, "the question")
            expect(detail in [EXPLANATION.format(left) for left in range(1, SEGMENTS + 1)], detail)
            wait_until(lambda: kestrel.alert()[2]["active"], "the focus on the question")
            desktop.press(refusal)
            wait_until(lambda: not kestrel.alert(), "the question's end")
            expect(descendants(kestrel.process.pid), "the split goes on")
        desktop.press("ctrl+q")
        wait_until(kestrel.alert, "the question")
        answer(kestrel, "停止并退出")
        expect_clean_end(kestrel, installation)


def worker_windows(kestrel):
    return [window for window in kestrel.windows() if window["title"].startswith("分解任务")]


def close_a_worker_window(kestrel):
    kestrel.desktop.do("windowactivate", "--sync", worker_windows(kestrel)[0]["id"])
    kestrel.desktop.press("alt+F4")


def closing_the_last_window_asks(desktop, build_folder):
    with kestrel_with_results(desktop, build_folder) as (kestrel, installation):
        start_split(kestrel, installation)
        bring_main_window_forward(kestrel)
        desktop.press("alt+F4")
        wait_until(lambda: not kestrel.window("Kestrel"), "the main window closed without a question")
        for left in (2, 1):
            close_a_worker_window(kestrel)
            wait_until(lambda: len(worker_windows(kestrel)) == left, f"{left} worker windows")
        close_a_worker_window(kestrel)
        wait_until(kestrel.alert, "the question")
        answer(kestrel, "停止并退出")
        expect_clean_end(kestrel, installation)


def detection_is_not_waited_for(desktop, build_folder):
    with Installation(build_folder, STUBBORN_DETECTOR) as installation, \
            Kestrel(desktop, build_folder, installation.executable) as kestrel:
        kestrel.fill_screen()
        kestrel.fill("videoPathField", str(installation.video))
        kestrel.click("parseButton")
        kestrel.wait_for_text("statusLabel", "started")
        children = descendants(kestrel.process.pid)
        desktop.press("ctrl+q")
        wait_until(lambda: not desktop.has_window("kestrel"), "the window's disappearance")
        expect(any(map(is_running, children)), "the window goes before the detector")
        for impatient in ("SIGTERM", "SIGINT"):
            send(kestrel.process, impatient)
        expect_clean_end(kestrel)


def quit_by_shortcut(kestrel):
    bring_main_window_forward(kestrel)
    kestrel.desktop.press("ctrl+q")


def quit_by_menu(kestrel):
    bring_main_window_forward(kestrel)
    click_item(kestrel, "QMenuBar", "Kestrel")
    wait_until(lambda: shown_items(kestrel, "QMenu"), "the open menu")
    click_item(kestrel, "QMenu", "退出 Kestrel")


def shown_items(kestrel, kind):
    return [item for window in kestrel.windows() for widget in window["widgets"] if widget["class"] == kind
            for item in widget["items"]]


def click_item(kestrel, kind, text):
    kestrel.desktop.click(middle(next(item["rect"] for item in shown_items(kestrel, kind) if item["text"] == text)))


def quit_by_closing(kestrel):
    while not kestrel.alert():
        windows = kestrel.windows()
        kestrel.desktop.do("windowactivate", "--sync", random.choice(windows)["id"])
        kestrel.desktop.press("alt+F4")
        wait_until(lambda: kestrel.alert() or len(kestrel.windows()) < len(windows), "one window less")


def interrupt(kestrel):
    send(kestrel.process, "SIGINT")


def terminate(kestrel):
    send(kestrel.process, "SIGTERM")


WAYS = [quit_by_shortcut, quit_by_menu, quit_by_closing, interrupt, terminate]


def split_is_complete(kestrel):
    return kestrel.window("Kestrel") and kestrel.text("statusLabel").startswith(f"分解完成：成功 {SEGMENTS} ")


def quit_and_confirm(kestrel, way):
    """The split may end at any moment, and the program with it: then nothing is asked, or the question closes by itself."""
    gone = (Failure, StopIteration, TypeError, subprocess.CalledProcessError)
    answered = way in (interrupt, terminate)
    with contextlib.suppress(*gone):
        way(kestrel)

    def has_ended():
        nonlocal answered
        if kestrel.process.poll() is not None:
            return True
        with contextlib.suppress(*gone):
            if kestrel.alert():
                answer(kestrel, "停止并退出")
                answered = True
            elif split_is_complete(kestrel) or not answered and not descendants(kestrel.process.pid):
                send(kestrel.process, "SIGTERM")
                answered = True
        return False
    wait_until(has_ended, "the end")


def quit_at_a_random_moment(desktop, build_folder, way):
    """Clips of an earlier split lie where some of this one go, and beside them."""
    with kestrel_with_results(desktop, build_folder) as (kestrel, installation):
        source = installation.video.read_bytes()
        clips = [installation.clips / f"{installation.video.stem}-{number:02}.mp4" for number in range(1, SEGMENTS + 3)]
        installation.clips.mkdir()
        for clip in clips[SEGMENTS // 2:]:
            shutil.copy2(installation.video, clip)
        kestrel.fill("concurrencyField", str(random.randint(1, 5)))
        kestrel.click("splitButton")
        time.sleep(random.uniform(0, 2.5))
        finished = re.search(r"完成 (\d+) ", kestrel.text("statusLabel"))
        quit_and_confirm(kestrel, way)
        expect_clean_end(kestrel, installation)
        expect(sum(clip.exists() for clip in clips[:SEGMENTS]) >= int(finished[1] if finished else 0),
               "clips that were finished before stay")
        expect(all(clip.read_bytes() == source for clip in clips[SEGMENTS:]), "clips of other names stay")
        expect(installation.video.read_bytes() == source, "the source is as it was")


def quits_at_random_moments(desktop, build_folder):
    for way in WAYS:
        quit_at_a_random_moment(desktop, build_folder, way)


if __name__ == "__main__":
    run_tests([idle_quits_at_once, split_asks_before_quitting, closing_the_last_window_asks,
               detection_is_not_waited_for, quits_at_random_moments])
