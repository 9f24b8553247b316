"""The viewer in the real program: opened, walked, retimed and quit by keyboard.

viewer.py <build folder> [folder for the README's pictures of it]
"""

import pathlib
import subprocess
import sys
import tempfile
import time

from kestrel_at_screen import (Desktop, Kestrel, descendants, expect, is_running, make_video, run_tests,
                               wait_until)
from screenshots import dark_desktop, place

TITLE = "画面"


def is_open(kestrel):
    return kestrel.window(TITLE)


def make_results(kestrel, video):
    kestrel.drop([video], "videoPathField")
    kestrel.click("parseButton")
    kestrel.wait_for_text("statusLabel", "解析完成")


def open_viewer(kestrel, table, row):
    kestrel.click_cell(table, row, 1)
    if table == "segmentTableView":
        kestrel.desktop.press("Escape")  # out of the time field that the click opened
    wait_until(lambda: kestrel.find(table)["focus"] and row in kestrel.selected_rows(table), "the row in use")
    kestrel.desktop.press("space")
    return wait_until(lambda: is_open(kestrel), "the viewer")


def by_keyboard(desktop, build_folder):
    with tempfile.TemporaryDirectory() as folder, Kestrel(desktop, build_folder) as kestrel:
        video = pathlib.Path(folder) / "video.mp4"
        make_video(video)
        kestrel.fill_screen()
        make_results(kestrel, video)
        open_viewer(kestrel, "segmentTableView", 1)
        expect(kestrel.find("segmentTableView")["focus"], "the table keeps the focus")
        before = kestrel.rows("segmentTableView")[1][1:]
        desktop.press("shift+Right")
        wait_until(lambda: kestrel.rows("segmentTableView")[1][1] != before[0], "the start one second on")
        desktop.press("Tab")

        def one_frame_back():
            desktop.press("Left")
            time.sleep(0.5)
            return kestrel.rows("segmentTableView")[1][2] != before[1]
        wait_until(one_frame_back, "the end one frame back, once the frames are known")
        desktop.press("Escape")
        wait_until(lambda: not is_open(kestrel), "the viewer's end")


def quit_while_it_works(desktop, build_folder):
    with tempfile.TemporaryDirectory() as folder, Kestrel(desktop, build_folder) as kestrel:
        video = pathlib.Path(folder) / "video.mp4"
        make_video(video, [20, 20, 20], size="1280x720")
        kestrel.fill_screen()
        make_results(kestrel, video)
        open_viewer(kestrel, "eventTableView", 1)
        readers = wait_until(lambda: descendants(kestrel.process.pid), "a process that reads pictures")
        desktop.press("alt+F4")  # the main window keeps the focus
        kestrel.process.wait(10)
        wait_until(lambda: not any(map(is_running, readers)), "the end of the readers", seconds=3)


def wait_for_pictures(kestrel):
    """Until the viewer waits for nothing any more: it has no processes left, now and a little later."""
    wait_until(lambda: descendants(kestrel.process.pid), "a process that reads pictures")
    for _ in range(3):
        wait_until(lambda: not descendants(kestrel.process.pid), "the end of the processes that read pictures")
        time.sleep(0.5)


def take_pictures(build_folder, pictures):
    with Desktop() as desktop, tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        video = folder / "假日.mp4"
        subprocess.run([pathlib.Path(__file__).parents[2] / "scripts" / "make-sample-video", video], check=True)
        for name, environment, table in (("light", None, "eventTableView"),
                                         ("dark", dark_desktop(folder), "segmentTableView")):
            with Kestrel(desktop, build_folder, environment=environment) as kestrel:
                place(kestrel)
                make_results(kestrel, video)
                row = 2
                if table == "segmentTableView":
                    kestrel.fill("cropField", "560:316:40:22")
                else:  # a gradual transition has frames of its own
                    row = next(row for row, cells in enumerate(kestrel.rows(table)) if "cut" not in cells)
                open_viewer(kestrel, table, row)
                wait_for_pictures(kestrel)
                desktop.do("mousemove", 1795, 995)
                time.sleep(0.3)
                left, top, width, height = is_open(kestrel)["frame"]
                desktop.picture(pictures / f"viewer-{name}.png", (left, top, width, height))


if __name__ == "__main__":
    if len(sys.argv) > 2:
        take_pictures(pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve())
    else:
        run_tests([by_keyboard, quit_while_it_works])
