"""The pictures of the README: screenshots.py <build folder> <folder for the pictures>"""

import contextlib
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time

from kestrel_at_screen import SCREEN, Desktop, Kestrel, descendants, expect_equal, make_video, wait_until
from road import JOBS, OVERVIEW, REVIEW, STATE, VIEWER, job_states, use_overview

CONTENT = (1440, 900)  # wide enough for all three panels

# The colours of a common dark desktop, read by Qt where such a desktop runs.
DARK_COLOURS = """[Colors:Window]
BackgroundNormal=42,46,50
ForegroundNormal=252,252,252
[Colors:View]
BackgroundNormal=27,30,32
BackgroundAlternate=35,38,41
ForegroundNormal=252,252,252
[Colors:Button]
BackgroundNormal=49,54,59
ForegroundNormal=252,252,252
[Colors:Selection]
BackgroundNormal=61,174,233
ForegroundNormal=252,252,252
[Colors:Tooltip]
BackgroundNormal=49,54,59
ForegroundNormal=252,252,252
"""


def dark_desktop(folder):
    (folder / "kdeglobals").write_text(DARK_COLOURS)
    return {"XDG_CURRENT_DESKTOP": "KDE", "KDE_SESSION_VERSION": "5", "XDG_CONFIG_HOME": str(folder),
            "XDG_CONFIG_DIRS": str(folder)}


def take(kestrel, path, rest_seconds=0.4):
    """The whole frames of all windows, once they are painted."""
    kestrel.desktop.do("mousemove", 1795, 995)
    time.sleep(rest_seconds)
    frames = [window["frame"] for window in kestrel.windows()]
    left, top = (max(0, min(frame[axis] for frame in frames) - 12) for axis in (0, 1))
    right, bottom = (min(SCREEN[axis], max(frame[axis] + frame[axis + 2] for frame in frames) + 12) for axis in (0, 1))
    kestrel.desktop.picture(path, (left, top, right - left, bottom - top))


def show_results(kestrel, video):
    kestrel.detect(video)
    kestrel.click("addSegmentButton")
    kestrel.click_cell("eventTableView", 2, 1)


@contextlib.contextmanager
def place_with_a_name():
    """A folder whose path may be seen in the pictures, the same each time."""
    folder = pathlib.Path(tempfile.gettempdir()) / "视频"
    folder.mkdir()
    try:
        yield folder
    finally:
        shutil.rmtree(folder)


def take_main_window(build_folder, pictures):
    with Desktop() as desktop, tempfile.TemporaryDirectory() as settings, place_with_a_name() as folder:
        video = folder / "假日.mp4"
        make_video(video, [8, 11, 6, 14, 9, 12, 7, 10], size="1280x720")
        with Kestrel(desktop, build_folder) as kestrel:
            take(kestrel, pictures / "start.png")
            kestrel.place(40, 40, *CONTENT)
            show_results(kestrel, video)
            take(kestrel, pictures / "results.png")
            kestrel.fill("concurrencyField", "2")
            kestrel.click("splitButton")
            wait_until(lambda: kestrel.window("分解任务 2/2"), "the worker windows")
            for title, (x, y) in {"分解总览": (850, 110), "分解任务 1/2": (560, 380), "分解任务 2/2": (700, 560)}.items():
                desktop.do("windowmove", kestrel.window(title)["id"], x, y, "windowraise", kestrel.window(title)["id"])
            wait_until(lambda: "frame=" in kestrel.text("textView", window="分解任务 2/2"), "ffmpeg's progress")
            take(kestrel, pictures / "split.png", rest_seconds=2)
            kestrel.wait_for_text("statusLabel", "分解完成", seconds=300)
        with Kestrel(desktop, build_folder, environment=dark_desktop(pathlib.Path(settings))) as kestrel:
            kestrel.place(40, 40, *CONTENT)
            show_results(kestrel, video)
            take(kestrel, pictures / "dark.png")


def wait_for_frames(kestrel):
    wait_until(lambda: descendants(kestrel.process.pid), "a process that reads pictures")
    wait_for_rest(kestrel)


def wait_for_rest(kestrel):
    """Until the viewer waits for nothing any more: it has no processes left, now and a little later."""
    for _ in range(3):
        wait_until(lambda: not descendants(kestrel.process.pid), "the end of the processes that read pictures")
        time.sleep(0.5)


def take_viewer(build_folder, pictures):
    with Desktop() as desktop, tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        video = folder / "假日.mp4"
        subprocess.run([pathlib.Path(__file__).parents[1] / "scripts" / "make-sample-video", video], check=True)
        for name, environment, table in (("light", None, "eventTableView"),
                                         ("dark", dark_desktop(folder), "segmentTableView")):
            with Kestrel(desktop, build_folder, environment=environment) as kestrel:
                kestrel.place(40, 40, *CONTENT)
                kestrel.detect(video)
                row = 2
                if table == "segmentTableView":
                    kestrel.fill("cropField", "560:316:40:22")
                else:  # a gradual transition has frames of its own
                    row = next(row for row, cells in enumerate(kestrel.rows(table)) if "cut" not in cells)
                kestrel.click_cell(table, row, 1)
                desktop.press("Escape", "space")  # out of the time field that a click opens
                wait_until(lambda: kestrel.window(VIEWER), "the viewer")
                wait_for_frames(kestrel)
                desktop.do("mousemove", 1795, 995)
                time.sleep(0.3)
                left, top, width, height = kestrel.window(VIEWER)["frame"]
                desktop.picture(pictures / f"viewer-{name}.png", (left, top, width, height))


def take_review(build_folder, pictures):
    """One transition confirmed, one rejected, a gradual one in hand."""
    with Desktop() as desktop, tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        video = folder / "假日.mp4"
        subprocess.run([pathlib.Path(__file__).parents[1] / "scripts" / "make-sample-video", video], check=True)
        for name, environment in (("light", None), ("dark", dark_desktop(folder))):
            with Kestrel(desktop, build_folder, environment=environment) as kestrel:
                kestrel.place(40, 40, *CONTENT)
                kestrel.detect(video)
                kestrel.click_cell("eventTableView", 0, 1)
                desktop.press("ctrl+e")
                wait_until(lambda: kestrel.window(REVIEW), "the window for checking")
                wait_for_rest(kestrel)
                desktop.press("Return", "Delete")
                desktop.do("mousemove", 1795, 995)
                time.sleep(0.3)
                desktop.picture(pictures / f"review-{name}.png", tuple(kestrel.window(REVIEW)["frame"]))


def percentages(kestrel):
    return [int(row[STATE + 1].rstrip("%")) for row in kestrel.rows(JOBS, window=OVERVIEW) if row[STATE] == "运行中"]


def take_overview(build_folder, pictures):
    """All states at once: the second clip cannot be written, the third lies beyond the video's end."""
    with Desktop() as desktop, tempfile.TemporaryDirectory() as settings, place_with_a_name() as folder:
        video = folder / "假日.mp4"
        make_video(video, [8, 11, 6, 14, 9, 12, 7, 10], size="1280x720")
        (folder / "假日-02.mp4").mkdir()
        for name, environment in (("light", None), ("dark", dark_desktop(pathlib.Path(settings)))):
            with Kestrel(desktop, build_folder, environment=environment) as kestrel:
                kestrel.fill_screen()
                kestrel.detect(video)
                kestrel.retime(2, 2, "00:10:06.000")
                kestrel.retime(2, 1, "00:10:00.000")
                kestrel.fill("concurrencyField", "2")
                kestrel.click("splitButton")
                wait_until(lambda: kestrel.window(OVERVIEW), "the overview")
                wait_until(lambda: job_states(kestrel)[4] == "运行中", "the fifth job", seconds=120)
                use_overview(kestrel)
                desktop.press("End", "Up", "Delete")
                desktop.do("mousemove", 1795, 5)
                wait_until(lambda: min(percentages(kestrel), default=0) >= 20, "progress", seconds=120)
                desktop.picture(pictures / f"overview-{name}.png", tuple(kestrel.window(OVERVIEW)["frame"]))
                expect_equal(set(job_states(kestrel)), {"等待", "运行中", "完成", "失败", "已停止", "可疑"}, "states")
                desktop.press("ctrl+period")
                wait_until(kestrel.alert, "the end")


def main():
    build_folder, pictures = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
    pictures.mkdir(parents=True, exist_ok=True)
    take_main_window(build_folder, pictures)
    take_viewer(build_folder, pictures)
    take_review(build_folder, pictures)
    take_overview(build_folder, pictures)


if __name__ == "__main__":
    main()
