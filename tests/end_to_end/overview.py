"""The overview of a run in the real program, by keyboard: jobs stopped, their files gone, and run again.

overview.py <build folder> [folder for the README's pictures of it]
"""

import os
import pathlib
import signal
import sys
import tempfile

from kestrel_at_screen import Desktop, Kestrel, descendants, expect, expect_equal, make_video, run_tests, wait_until
from screenshots import dark_desktop, place_with_a_name

TITLE = "分解总览"
TABLE = "jobTableView"
STATE, PROGRESS = 3, 4
AWAY = 1795, 5  # where the mouse touches nothing


def rows(kestrel):
    return [[cell["text"] for cell in row] for row in kestrel.find(TABLE, window=TITLE)["table"]["rows"]]


def states(kestrel):
    return [row[STATE] for row in rows(kestrel)]


def show_results(kestrel, video):
    kestrel.fill_screen()
    kestrel.drop([video], "videoPathField")
    kestrel.click("parseButton")
    kestrel.wait_for_text("statusLabel", "解析完成")


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
        show_results(kestrel, video)
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


def percentages(kestrel):
    return [int(row[PROGRESS].rstrip("%")) for row in rows(kestrel) if row[STATE] == "运行中"]


def take_pictures(build_folder, pictures):
    """All states at once: the second clip cannot be written, the third lies beyond the video's end."""
    with Desktop() as desktop, tempfile.TemporaryDirectory() as settings, place_with_a_name() as folder:
        video = folder / "假日.mp4"
        make_video(video, [8, 11, 6, 14, 9, 12, 7, 10], size="1280x720")
        (folder / "假日-02.mp4").mkdir()
        for name, environment in (("light", None), ("dark", dark_desktop(pathlib.Path(settings)))):
            with Kestrel(desktop, build_folder, environment=environment) as kestrel:
                show_results(kestrel, video)
                kestrel.retime(2, 2, "00:10:06.000")
                kestrel.retime(2, 1, "00:10:00.000")
                start_split(kestrel, "2")
                wait_until(lambda: states(kestrel)[4] == "运行中", "the fifth job", seconds=120)
                use_overview(kestrel)
                desktop.press("End", "Up", "Delete")
                desktop.do("mousemove", *AWAY)
                wait_until(lambda: min(percentages(kestrel), default=0) >= 20, "progress", seconds=120)
                desktop.picture(pictures / f"overview-{name}.png", tuple(kestrel.window(TITLE)["frame"]))
                expect_equal(set(states(kestrel)), {"等待", "运行中", "完成", "失败", "已停止", "可疑"}, "states")
                desktop.press("ctrl+period")
                wait_until(kestrel.alert, "the end")


if __name__ == "__main__":
    if len(sys.argv) > 2:
        take_pictures(pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve())
    else:
        run_tests([stop_and_retry])
