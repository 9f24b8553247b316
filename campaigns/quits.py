"""Quits at random moments of a split, in every way: quits.py <build folder> <number> <how many at a time>"""

import collections
import concurrent.futures
import contextlib
import pathlib
import random
import re
import shutil
import subprocess
import sys
import tempfile
import time

from kestrel_at_screen import Desktop, Failure, descendants, expect, make_video, middle, send, wait_until
from quitting import (SEGMENTS, VIDEO_SECONDS, Installation, answer, bring_main_window_forward, expect_clean_end,
                      kestrel_with_results)


def quit_by_shortcut(kestrel):
    bring_main_window_forward(kestrel)
    kestrel.desktop.press("ctrl+q")


def quit_by_menu(kestrel):
    bring_main_window_forward(kestrel)
    click_item(kestrel, "QMenuBar", "Kestrel")
    wait_until(lambda: shown_items(kestrel, "QMenu"), "the open menu")
    click_item(kestrel, "QMenu", "退出 Kestrel")


def shown_items(kestrel, kind):
    return [item for window in kestrel.windows() for widget in window["widgets"] if widget["class"] == kind
            for item in widget["items"]]


def click_item(kestrel, kind, text):
    kestrel.desktop.click(middle(next(item["rect"] for item in shown_items(kestrel, kind) if item["text"] == text)))


def quit_by_closing(kestrel):
    while not kestrel.alert():
        windows = kestrel.windows()
        kestrel.desktop.do("windowactivate", "--sync", random.choice(windows)["id"])
        kestrel.desktop.press("alt+F4")
        wait_until(lambda: kestrel.alert() or len(kestrel.windows()) < len(windows), "one window less")


def interrupt(kestrel):
    send(kestrel.process, "SIGINT")


def terminate(kestrel):
    send(kestrel.process, "SIGTERM")


WAYS = [quit_by_shortcut, quit_by_menu, quit_by_closing, interrupt, terminate]


def split_is_complete(kestrel):
    return kestrel.window("Kestrel") and kestrel.text("statusLabel").startswith(f"分解完成：成功 {SEGMENTS} ")


def quit_and_confirm(kestrel, way):
    """The split may end at any moment, and the program with it: then nothing is asked, or the question closes by itself."""
    gone = (Failure, StopIteration, TypeError, subprocess.CalledProcessError)
    answered = way in (interrupt, terminate)
    with contextlib.suppress(*gone):
        way(kestrel)

    def has_ended():
        nonlocal answered
        if kestrel.process.poll() is not None:
            return True
        with contextlib.suppress(*gone):
            if kestrel.alert():
                answer(kestrel, "停止并退出")
                answered = True
            elif split_is_complete(kestrel) or not answered and not descendants(kestrel.process.pid):
                send(kestrel.process, "SIGTERM")
                answered = True
        return False
    wait_until(has_ended, "the end")


def quit_at_a_random_moment(desktop, build_folder, way):
    """Clips of an earlier split lie where some of this one go, and beside them."""
    with kestrel_with_results(desktop, build_folder) as (kestrel, installation):
        source = installation.video.read_bytes()
        clips = [installation.clips / f"{installation.video.stem}-{number:02}.mp4" for number in range(1, SEGMENTS + 3)]
        installation.clips.mkdir()
        for clip in clips[SEGMENTS // 2:]:
            shutil.copy2(installation.video, clip)
        kestrel.fill("concurrencyField", str(random.randint(1, 5)))
        kestrel.click("splitButton")
        time.sleep(random.uniform(0, 2.5))
        finished = re.search(r"完成 (\d+) ", kestrel.text("statusLabel"))
        quit_and_confirm(kestrel, way)
        expect_clean_end(kestrel, installation)
        expect(sum(clip.exists() for clip in clips[:SEGMENTS]) >= int(finished[1] if finished else 0),
               "clips that were finished before stay")
        expect(all(clip.read_bytes() == source for clip in clips[SEGMENTS:]), "clips of other names stay")
        expect(installation.video.read_bytes() == source, "the source is as it was")


def way_of(number):
    return WAYS[number % len(WAYS)]


def quit_each(build_folder, video, numbers):
    """What was wrong, by number, or nothing."""
    Installation.video = video
    outcomes = {}
    with Desktop() as desktop:
        for number in numbers:
            random.seed(number)
            try:
                quit_at_a_random_moment(desktop, build_folder, way_of(number))
                outcomes[number] = None
                print(".", end="", flush=True)
            except Exception as failure:  # pylint: disable=broad-except
                outcomes[number] = f"{type(failure).__name__}: {failure}"
                print(f"\nquit {number}, {way_of(number).__name__}: {outcomes[number]}", flush=True)
    return outcomes


def main():
    build_folder, count, at_once = pathlib.Path(sys.argv[1]).resolve(), int(sys.argv[2]), int(sys.argv[3])
    start = time.monotonic()
    outcomes = {}
    with tempfile.TemporaryDirectory() as folder, concurrent.futures.ProcessPoolExecutor(at_once) as pool:
        video = pathlib.Path(folder) / "long.mp4"
        make_video(video, [VIDEO_SECONDS], size="640x360")
        for part in pool.map(quit_each, [build_folder] * at_once, [video] * at_once,
                             [range(first, count, at_once) for first in range(at_once)]):
            outcomes |= part
    good = collections.Counter(way_of(number).__name__ for number, wrong in outcomes.items() if not wrong)
    print(f"\n{sum(good.values())} of {count} quits were clean, {time.monotonic() - start:.0f} s, {at_once} at a time: "
          + ", ".join(f"{way} {number}" for way, number in sorted(good.items())))
    sys.exit(0 if sum(good.values()) == count else 1)


if __name__ == "__main__":
    main()
