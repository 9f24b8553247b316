"""The pictures of the README: screenshots.py <build folder> <folder for the pictures>"""

import contextlib
import pathlib
import shutil
import sys
import tempfile
import time

from kestrel_at_screen import SCREEN, Desktop, Kestrel, make_video, wait_until

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


def place(kestrel):
    window = kestrel.window("Kestrel")
    kestrel.desktop.do("windowsize", "--sync", window["id"], *CONTENT)
    kestrel.desktop.do("windowmove", window["id"], 40, 60)
    wait_until(lambda: kestrel.window("Kestrel")["widgets"][0]["rect"] == [40, 60, *CONTENT], "the window's place")


def take(kestrel, path, rest_seconds=0.4):
    """The whole frames of all windows, once they are painted."""
    kestrel.desktop.do("mousemove", 1795, 995)
    time.sleep(rest_seconds)
    frames = [window["frame"] for window in kestrel.windows()]
    left, top = (max(0, min(frame[axis] for frame in frames) - 12) for axis in (0, 1))
    right, bottom = (min(SCREEN[axis], max(frame[axis] + frame[axis + 2] for frame in frames) + 12) for axis in (0, 1))
    kestrel.desktop.picture(path, (left, top, right - left, bottom - top))


def show_results(kestrel, video):
    kestrel.drop([video], "videoPathField")
    kestrel.click("parseButton")
    kestrel.wait_for_text("statusLabel", "解析完成")
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


def main():
    build_folder, pictures = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
    pictures.mkdir(parents=True, exist_ok=True)
    with Desktop() as desktop, tempfile.TemporaryDirectory() as settings, place_with_a_name() as folder:
        video = folder / "假日.mp4"
        make_video(video, [8, 11, 6, 14, 9, 12, 7, 10], size="1280x720")
        with Kestrel(desktop, build_folder) as kestrel:
            take(kestrel, pictures / "start.png")
            place(kestrel)
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
            place(kestrel)
            show_results(kestrel, video)
            take(kestrel, pictures / "dark.png")


if __name__ == "__main__":
    main()
