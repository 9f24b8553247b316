"""Every window on small, dense and large screens, in light and dark: looks.py <build folder> <folder> <folder for few>

The first folder gets a picture of each; those that the README shows go to the second one.
"""

import contextlib
import itertools
import os
import pathlib
import shutil
import signal
import sys
import tempfile
import time

from kestrel_at_screen import Desktop, Kestrel, descendants, make_video, wait_until
from road import OVERVIEW, REVIEW, VIEWER, job_states
from screenshots import dark_desktop, place_with_a_name, wait_for_frames, wait_for_rest

SCREENS = {"1024x600": ((1024, 600), "1"), "1280x720": ((1280, 720), "1"), "1920x1080-at-200": ((1920, 1080), "2"),
           "4k": ((3840, 2160), "1"), "4k-at-200": ((3840, 2160), "2")}
SHOWN = ["1024x600-light-results", "1280x720-dark-viewer", "1920x1080-at-200-light-overview", "4k-at-200-dark-results"]


def signal_each(processes, number):
    for process in processes:
        with contextlib.suppress(ProcessLookupError):
            os.kill(process, number)


def look(screen, scale, environment, video, build_folder, prefix):
    """By keys, since a small screen does not show every control."""
    with Desktop(screen) as desktop, \
            Kestrel(desktop, build_folder, environment={"QT_SCALE_FACTOR": scale, **environment}) as kestrel:
        def take(name):
            desktop.do("mousemove", screen[0] - 1, screen[1] - 1)
            time.sleep(0.5)
            desktop.picture(f"{prefix}-{name}.png")

        take("start")
        kestrel.drop([video], "videoPathField")
        kestrel.tab_to("parseButton")
        desktop.press("space")
        kestrel.wait_for_text("statusLabel", "解析完成")
        take("results")
        kestrel.tab_to("eventTableView")
        desktop.press("Home", "ctrl+e")
        wait_until(lambda: kestrel.window(REVIEW), "the window for checking")
        wait_for_rest(kestrel)
        take("review")
        desktop.press("Escape")
        wait_until(lambda: not kestrel.window(REVIEW), "its end")
        kestrel.tab_to("eventTableView")
        desktop.press("Home", "space")
        wait_until(lambda: kestrel.window(VIEWER), "the viewer")
        wait_for_frames(kestrel)
        take("viewer")
        desktop.press("Delete")
        take("rejected")
        desktop.press("Escape", "ctrl+z")
        kestrel.tab_to("segmentTableView")
        desktop.press("Home", "space", "Tab", "Tab")  # the start, the end, a place between them
        wait_for_rest(kestrel)
        desktop.press("Menu")
        take("standing")
        desktop.press("Escape", "Escape")
        wait_until(lambda: not kestrel.window(VIEWER), "the viewer's end")
        kestrel.tab_to("splitButton")
        desktop.press("space")
        wait_until(lambda: kestrel.window(OVERVIEW) and "完成" in job_states(kestrel), "a finished job", seconds=120)
        children = descendants(kestrel.process.pid)
        signal_each(children, signal.SIGSTOP)
        take("split")
        kestrel.bring_forward(OVERVIEW)
        take("overview")
    signal_each(children, signal.SIGKILL)
    for clip in video.parent.glob("*-[0-9][0-9].mp4"):
        clip.unlink()


def main():
    build_folder, pictures, few = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
    for folder in (pictures, few):
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
    with tempfile.TemporaryDirectory() as settings, place_with_a_name() as folder:
        colours = {"light": {}, "dark": dark_desktop(pathlib.Path(settings))}
        place = folder / "actual footage - camera A - card 01 - do not delete"
        place.mkdir()
        video = place / "first day, from the departure to the arrival, uncut.mp4"
        make_video(video, [8, 11, 6, 14, 9, 12, 7, 10], size="640x360")
        for (name, (screen, scale)), (tone, environment) in itertools.product(SCREENS.items(), colours.items()):
            look(screen, scale, environment, video, build_folder, pictures / f"{name}-{tone}")
    for name in SHOWN:
        shutil.copy(pictures / f"{name}.png", few)


if __name__ == "__main__":
    main()
