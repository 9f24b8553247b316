"""The overview of a run in the real program, by keyboard: jobs stopped, their files gone, and run again.

overview.py <build folder>
"""

import os
import pathlib
import signal
import tempfile

from kestrel_at_screen import Kestrel, descendants, expect, expect_equal, make_video, run_tests, wait_until

TITLE = "分解总览"
TABLE = "jobTableView"
STATE = 3


def rows(kestrel):
    return [[cell["text"] for cell in row] for row in kestrel.find(TABLE, window=TITLE)["table"]["rows"]]


def states(kestrel):
    return [row[STATE] for row in rows(kestrel)]


def start_split(kestrel, concurrency):
    kestrel.fill("concurrencyField", concurrency)
    kestrel.click("splitButton")
    wait_until(lambda: kestrel.window(TITLE), "the overview")
    wait_until(lambda: "运行中" in states(kestrel), "a running job")


def use_overview(kestrel):
    kestrel.desktop.do("windowactivate", "--sync", kestrel.window(TITLE)["id"])
    wait_until(lambda: kestrel.find(TABLE, window=TITLE)["focus"], "the focus in the overview")


def stop_and_retry(desktop, build_folder):
    with tempfile.TemporaryDirectory() as folder, Kestrel(desktop, build_folder) as kestrel:
        video = pathlib.Path(folder) / "video.mp4"
        make_video(video, [20, 2, 2, 2], size="640x360")
        kestrel.fill_screen()
        kestrel.detect(video)
        start_split(kestrel, "1")
        for child in descendants(kestrel.process.pid):
            os.kill(child, signal.SIGSTOP)  # it can neither end before the keys come nor obey when told to end
        expect(not kestrel.window(TITLE)["active"], "the overview takes the focus")
        use_overview(kestrel)
        desktop.press("End", "Delete")
        wait_until(lambda: states(kestrel) == ["运行中", "等待", "等待", "已停止"], "the last job stopped before its launch")
        desktop.press("ctrl+period")
        wait_until(kestrel.alert, "the main window's word about failed jobs")
        expect_equal(states(kestrel), ["已停止"] * 4, "states")
        expect_equal(descendants(kestrel.process.pid), [], "processes")
        expect_equal(list(pathlib.Path(folder).glob("video-*.mp4")), [], "files")
        desktop.do("windowactivate", "--sync", kestrel.alert()[2]["id"])
        desktop.press("Return")
        wait_until(lambda: not kestrel.alert(), "the end of the alert")
        use_overview(kestrel)
        desktop.press("ctrl+r")
        wait_until(lambda: states(kestrel) == ["完成"] * 4, "all jobs run again", seconds=120)
        names = sorted(path.name for path in pathlib.Path(folder).glob("video-*.mp4"))
        expect_equal(names, [row[1] for row in rows(kestrel)], "files")


if __name__ == "__main__":
    run_tests([stop_and_retry])
