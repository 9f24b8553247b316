"""The viewer in the real program: opened, walked, retimed and quit by keyboard.

viewer.py <build folder>
"""

import pathlib
import tempfile
import time

from kestrel_at_screen import Kestrel, descendants, expect, is_running, make_video, run_tests, wait_until

TITLE = "画面"


def is_open(kestrel):
    return kestrel.window(TITLE)


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
        kestrel.detect(video)
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
        kestrel.detect(video)
        open_viewer(kestrel, "eventTableView", 1)
        readers = wait_until(lambda: descendants(kestrel.process.pid), "a process that reads pictures")
        desktop.press("alt+F4")  # the main window keeps the focus
        kestrel.process.wait(10)
        wait_until(lambda: not any(map(is_running, readers)), "the end of the readers", seconds=3)


if __name__ == "__main__":
    run_tests([by_keyboard, quit_while_it_works])
