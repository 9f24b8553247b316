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
REVIEW = "检查换场"
JOBS = "jobTableView"
STATE = 3


def checksum(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


def seconds(text):
    hours, minutes, rest = text.split(":")
    return int(hours) * 3600 + int(minutes) * 60 + float(rest)


def expect_clips(folder, prefix, lengths, size):
    names = sorted(path.name for path in pathlib.Path(folder).glob("*-*"))
    expect_equal(names, [f"{prefix}-{number:02}.mp4" for number in range(1, len(lengths) + 1)], "the files")
    for name, length in zip(names, lengths):
        width, height, duration = probe(pathlib.Path(folder) / name)
        expect_equal((width, height), size, f"the size of {name}")
        expect(abs(duration - length) <= 2 * FRAME, f"{name} lasts {duration} s instead of {length} s")


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

        lengths = [1.5 - times[0][0], times[2][1] - times[2][0], times[3][1] - times[3][0], 1]
        expect_clips(clips, "holiday", lengths, size=(160, 120))
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

        def times():
            return [row[1:] for row in rows()]

        def checked():
            return [row[0]["checked"] for row in kestrel.find("segmentTableView")["table"]["rows"]]

        def retime(text, *keys):
            desktop.press(*keys, "F2")
            kestrel.type_time(text)

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
        detected = times()
        desktop.press("Delete")
        wait_until(lambda: times()[0] == [detected[0][0], detected[1][1]] and checked() == [2, 0, 2], "the event rejected")
        desktop.press("ctrl+z")
        wait_until(lambda: times() == detected and checked() == [2, 2, 2], "the event back")
        desktop.press("ctrl+e")
        wait_until(lambda: kestrel.window(REVIEW) and kestrel.window(REVIEW)["active"], "the window for checking")
        desktop.press("Home", "Return", "Delete")
        wait_until(lambda: kestrel.text("progressLabel", window=REVIEW) == "已检查 2 / 2，已否决 1" and checked() == [2, 2, 0],
                   "one transition confirmed, one rejected")
        desktop.press("ctrl+z", "ctrl+z", "Escape")
        wait_until(lambda: not kestrel.window(REVIEW) and times() == detected and checked() == [2, 2, 2], "both undone")
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
        wait_until(lambda: times()[3] == ["00:00:02.000", "00:00:03.000"], "the manual row's times")

        desktop.press("ctrl+Home", "Down", "shift+Down", "shift+space")
        wait_until(lambda: checked() == [2, 0, 0, 2], "two segments disabled")
        desktop.press("shift+space")
        wait_until(lambda: checked() == [2, 2, 2, 2], "the same two enabled")
        desktop.press("ctrl+j")
        wait_until(lambda: times()[1][1] == detected[2][1] and checked() == [2, 2, 0, 2], "the same two joined")

        start, end = times()[1]
        desktop.press("Up", "Right", "space")  # a time is not edited by it
        wait_until(lambda: kestrel.window(VIEWER), "the viewer")
        expect(kestrel.find("segmentTableView")["focus"], "the table keeps the focus")
        desktop.press("shift+Right")
        wait_until(lambda: times()[1][0] != start, "the start one second on")
        desktop.press("Tab")

        def end_is_moved():
            desktop.press("Left")
            return times()[1][1] != end
        wait_until(end_is_moved, "the end some frames back, once the frames are known")
        desktop.press("Tab")
        wait_until(lambda: any(item["name"] == "splitSegmentAction" and item["enabled"]
                               for item in kestrel.window(VIEWER)["widgets"][0]["items"]), "the frame in the middle known")
        desktop.press("s")
        wait_until(lambda: len(rows()) == 5 and times()[1][1] == times()[2][0], "the segment cut in its middle")
        edited = times()
        desktop.press("Escape", "ctrl+z")
        wait_until(lambda: not kestrel.window(VIEWER) and len(rows()) == 4, "the cut undone, without the viewer")
        desktop.press("ctrl+shift+z")
        wait_until(lambda: times() == edited, "the cut done again")

        kestrel.tab_to("splitButton")
        desktop.press("space")
        wait_until(lambda: kestrel.window(OVERVIEW) and "运行中" in job_states(kestrel), "a running job")
        for child in descendants(kestrel.process.pid):
            os.kill(child, signal.SIGSTOP)  # it can neither end before the keys come nor obey when told to end
        expect(not kestrel.window(OVERVIEW)["active"], "the overview takes no focus")
        use_overview(kestrel)
        desktop.press("End", "Delete")
        wait_until(lambda: job_states(kestrel) == ["运行中", "等待", "等待", "已停止"], "the last job stopped before its launch")
        kestrel.bring_forward("Kestrel")
        desktop.press("ctrl+period")
        kestrel.wait_for_text("statusLabel", "分解完成：成功 0 / 4，失败 4。")
        expect_equal((job_states(kestrel), kestrel.offspring()), (["已停止"] * 4, set()), "states and processes")
        expect_clips(folder, "keys", [], None)
        expect(not kestrel.alert(), "no alert about what the user stopped")
        use_overview(kestrel)
        desktop.press("ctrl+r")
        wait_until(lambda: job_states(kestrel) == ["完成"] * 4, "all jobs run again", seconds=120)
        lengths = [seconds(end) - seconds(start) for start, end in (edited[row] for row in (0, 1, 2, 4))]
        expect_clips(folder, "keys", lengths, size=(640, 360))


if __name__ == "__main__":
    run_tests([from_drop_to_clips, with_keys_alone])
