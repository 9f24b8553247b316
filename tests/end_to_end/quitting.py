"""Quitting in the middle of work: what is asked, what is left behind.

quitting.py <build folder>
"""

import contextlib
import pathlib
import shutil
import tempfile

from kestrel_at_screen import (Kestrel, descendants, expect, expect_equal, is_running, make_video, middle, probe, run_tests,
                               send, wait_until)

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
    for name in ("SIGINT", "SIGTERM", "SIGHUP"):
        with Kestrel(desktop, build_folder) as kestrel:
            send(kestrel.process, name)
            expect_clean_end(kestrel)


def split_asks_before_quitting(desktop, build_folder):
    with kestrel_with_results(desktop, build_folder) as (kestrel, installation):
        start_split(kestrel, installation)
        kestrel.bring_forward("Kestrel")
        for refusal in ("Escape", "Return"):
            desktop.press("ctrl+q")
            text, detail, _ = wait_until(kestrel.alert, "the question")
            expect_equal(text, QUESTION, "the question")
            expect(detail in [EXPLANATION.format(left) for left in range(1, SEGMENTS + 1)], detail)
            wait_until(lambda: kestrel.alert()[2]["active"], "the focus on the question")
            desktop.press(refusal)
            wait_until(lambda: not kestrel.alert(), "the question's end")
            expect(descendants(kestrel.process.pid), "the split goes on")

        titles = ["Kestrel"] + [f"分解任务 {number}/3" for number in (1, 2, 3)]
        for title in titles:
            kestrel.bring_forward(title)
            desktop.press("alt+F4")
            if title != titles[-1]:  # the last one asks
                wait_until(lambda: not kestrel.window(title), f"{title} closed without a question")
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


if __name__ == "__main__":
    run_tests([idle_quits_at_once, split_asks_before_quitting, detection_is_not_waited_for])
