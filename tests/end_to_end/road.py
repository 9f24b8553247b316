"""The whole way of a video through the window, by mouse and by keys: in by drag and drop, out as clips.

road.py <build folder>
"""

import hashlib
import os
import pathlib
import signal
import tempfile

from kestrel_at_screen import (Kestrel, descendants, expect, expect_equal, make_video, probe, run_tests, wait_until)

SCENE_SECONDS = 3
FRAME = 1 / 25
VIEWER = "画面"
OVERVIEW = "分解总览"
JOBS = "jobTableView"
STATE = 3


def checksum(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


def seconds(text):
    hours, minutes, rest = text.split(":")
    return int(hours) * 3600 + int(minutes) * 60 + float(rest)


def job_states(kestrel):
    return [row[STATE] for row in kestrel.rows(JOBS, window=OVERVIEW)]


def use_overview(kestrel):
    kestrel.bring_forward(OVERVIEW)
    wait_until(lambda: kestrel.find(JOBS, window=OVERVIEW)["focus"], "the focus in the overview")


def from_drop_to_clips(desktop, build_folder):
    with tempfile.TemporaryDirectory() as folder, Kestrel(desktop, build_folder) as kestrel:
        video = pathlib.Path(folder) / "长 片.mp4"
        clips = pathlib.Path(folder) / "clips"
        clips.mkdir()
        make_video(video, [SCENE_SECONDS] * 4)
        source = checksum(video)
        kestrel.fill_screen()
        expect(not kestrel.find("splitButton")["enabled"], "nothing to split at the start")

        kestrel.drop([video], "videoPathField")
        kestrel.wait_for_text("statusLabel", "视频已准备好，点击“解析”生成结果和脚本。")
        expect_equal([kestrel.text(name) for name in ("videoPathField", "outputDirectoryField", "prefixField")],
                     [str(video), folder, "长 片"], "the folder and the prefix follow the video")

        kestrel.click("parseButton")
        status = kestrel.wait_for_text("statusLabel", "解析完成")
        expect(status.startswith("解析完成：3 个换场，4 个保留片段，Fade=激进 L=0.12s R=0.24s。"), status)
        expect_equal(kestrel.text("summaryLabel"), "换场 3 个，保留片段 4 个", "the summary")
        times = [(seconds(row[1]), seconds(row[2])) for row in kestrel.rows("segmentTableView")]
        for number, (start, end) in enumerate(times):
            expect(abs(start - SCENE_SECONDS * number) < 0.5 and abs(end - SCENE_SECONDS * (number + 1)) < 0.5,
                   f"segment {number} lies at its scene: {start} to {end}")

        kestrel.click_cell("eventTableView", 1, 1)
        wait_until(lambda: kestrel.selected_rows("segmentTableView") == [1, 2], "the event's neighbours selected")

        kestrel.retime(0, 2, "00:00:01.500")
        wait_until(lambda: kestrel.rows("segmentTableView")[0][2] == "00:00:01.500", "the new end time")
        kestrel.click_cell("segmentTableView", 1, 0)
        wait_until(lambda: kestrel.cell("segmentTableView", 1, 0)["checked"] == 0, "the second segment disabled")
        expect_equal(kestrel.find("segmentMasterCheckbox")["checked"], 1, "the master box is mixed")
        kestrel.click("addSegmentButton")
        wait_until(lambda: kestrel.selected_rows("segmentTableView") == [4], "the manual row, selected alone")
        kestrel.retime(4, 1, "0:0:10")
        kestrel.retime(4, 2, "0:0:11")
        wait_until(lambda: kestrel.rows("segmentTableView")[4][1:] == ["00:00:10.000", "00:00:11.000"],
                   "the manual row's times")

        kestrel.fill("prefixField", "holiday")
        kestrel.fill("cropField", "160:120:8:4")
        kestrel.drop([clips], "outputDirectoryField")
        wait_until(lambda: kestrel.text("namingPreviewLabel") == str(clips / "holiday-01.mp4"), "the naming preview")

        kestrel.click("splitButton")
        kestrel.wait_for_text("statusLabel", "分解完成：成功 4 / 4，失败 0。")
        logs = "".join(kestrel.text("textView", window=f"分解任务 {number}/3") for number in (1, 2, 3))
        expect_equal((logs.count(">>> ffmpeg "), logs.count("\n>>> 完成\n")), (4, 4), "commands and ends in the logs")
        expect(kestrel.find("parseButton")["enabled"] and kestrel.find("splitButton")["enabled"], "ready for more")

        expect_equal(sorted(path.name for path in clips.iterdir()), [f"holiday-0{n}.mp4" for n in (1, 2, 3, 4)],
                     "the files")
        lengths = [1.5 - times[0][0], times[2][1] - times[2][0], times[3][1] - times[3][0], 1]
        for number, length in enumerate(lengths, 1):
            width, height, duration = probe(clips / f"holiday-0{number}.mp4")
            expect_equal((width, height), (160, 120), f"the size of clip {number}")
            expect(abs(duration - length) <= 2 * FRAME, f"clip {number} lasts {duration} s instead of {length} s")
        expect_equal(checksum(video), source, "the source")
        expect_equal(kestrel.offspring(), set(), "processes left")

        kestrel.bring_forward("Kestrel")
        kestrel.click_cell("eventTableView", 1, 1)
        desktop.press("space", "ctrl+q")  # the viewer has begun to read
        expect_equal((kestrel.wait_for_end(), kestrel.offspring()), (0, set()), "the end and the processes left")


def with_keys_alone(desktop, build_folder):
    with tempfile.TemporaryDirectory() as folder, Kestrel(desktop, build_folder) as kestrel:
        video = pathlib.Path(folder) / "clip.mp4"
        make_video(video, [20, 2, 2], size="640x360")

        def rows():
            return kestrel.rows("segmentTableView")

        def retime(text, *keys):
            desktop.press(*keys, "F2")
            kestrel.type_time(text)

        def clips():
            return sorted(path.name for path in pathlib.Path(folder).glob("keys-*"))

        kestrel.tab_to("videoPathField")
        desktop.type(str(video))
        kestrel.tab_to("prefixField")
        desktop.press("ctrl+a")
        desktop.type("keys")
        kestrel.tab_to("fadeStrategyButton.aggressive")  # the chosen one, past the others
        kestrel.tab_to("concurrencyStepper")
        desktop.press("Down", "Down")
        wait_until(lambda: kestrel.text("concurrencyField") == "1", "one worker")
        kestrel.tab_to("parseButton")
        desktop.press("space")
        kestrel.wait_for_text("statusLabel", "解析完成")
        expect(len(rows()) == 3, f"three segments: {rows()}")

        kestrel.tab_to("eventTableView")
        for key, neighbours in (("End", [1, 2]), ("Home", [0, 1])):
            desktop.press(key)
            wait_until(lambda: kestrel.selected_rows("segmentTableView") == neighbours, "the event's neighbours selected")
        kestrel.tab_to("addSegmentButton")
        desktop.press("space", "space")
        wait_until(lambda: len(rows()) == 5, "two manual rows")
        kestrel.tab_to("segmentTableView")
        desktop.press("ctrl+End", "Delete")
        wait_until(lambda: len(rows()) == 4, "a manual row deleted")
        desktop.press("Up", "Delete")
        desktop.press("ctrl+End", "Home")
        retime("0:0:2", "Right")
        retime("0:0:3", "Right")
        wait_until(lambda: rows()[3][1:] == ["00:00:02.000", "00:00:03.000"], "the manual row's times")

        def checked():
            return [kestrel.cell("segmentTableView", row, 0)["checked"] for row in (1, 2)]
        desktop.press("ctrl+Home", "Down", "shift+Down", "shift+space")
        wait_until(lambda: checked() == [0, 0], "two segments disabled")
        desktop.press("shift+space")
        wait_until(lambda: checked() == [2, 2], "the same two enabled")
        desktop.press("Up", "shift+space")
        wait_until(lambda: checked() == [0, 2], "the second segment disabled")

        _, start, end = rows()[1]
        desktop.press("Right", "space")  # a time is not edited by it
        wait_until(lambda: kestrel.window(VIEWER), "the viewer")
        expect(kestrel.find("segmentTableView")["focus"], "the table keeps the focus")
        desktop.press("shift+Right")
        wait_until(lambda: rows()[1][1] != start, "the start one second on")
        desktop.press("Tab")

        def end_is_moved():
            desktop.press("Left")
            return rows()[1][2] != end
        wait_until(end_is_moved, "the end some frames back, once the frames are known")
        desktop.press("Escape")
        wait_until(lambda: not kestrel.window(VIEWER), "the viewer's end")

        kestrel.tab_to("splitButton")
        desktop.press("space")
        wait_until(lambda: kestrel.window(OVERVIEW) and "运行中" in job_states(kestrel), "a running job")
        for child in descendants(kestrel.process.pid):
            os.kill(child, signal.SIGSTOP)  # it can neither end before the keys come nor obey when told to end
        expect(not kestrel.window(OVERVIEW)["active"], "the overview takes no focus")
        use_overview(kestrel)
        desktop.press("End", "Delete")
        wait_until(lambda: job_states(kestrel) == ["运行中", "等待", "已停止"], "the last job stopped before its launch")
        kestrel.bring_forward("Kestrel")
        desktop.press("ctrl+period")
        kestrel.wait_for_text("statusLabel", "分解完成：成功 0 / 3，失败 3。")
        expect_equal((job_states(kestrel), clips(), kestrel.offspring()), (["已停止"] * 3, [], set()),
                     "states, files and processes")
        expect(not kestrel.alert(), "no alert about what the user stopped")
        use_overview(kestrel)
        desktop.press("ctrl+r")
        wait_until(lambda: job_states(kestrel) == ["完成"] * 3, "all jobs run again", seconds=120)
        expect_equal(clips(), [f"keys-0{number}.mp4" for number in (1, 2, 3)], "the files")


if __name__ == "__main__":
    run_tests([from_drop_to_clips, with_keys_alone])
