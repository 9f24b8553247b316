"""A review by keys alone: 300 transitions, 30 of which are none, the least certain ones first.

review_keys.py <build folder> [transitions]

The false ones must all be rejected, the clips of the split be those of the true list, to the picture, and undoing all of
it give the detector's list again. Half the film's scenes last three pictures, so that a wrong picture shows.
"""

import json
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile

from kestrel_at_screen import Desktop, Kestrel, expect, expect_equal, wait_until

REVIEW = "检查换场"
RATE = 25
WIDTH, HEIGHT, COLUMNS, ROWS = 320, 180, 8, 2  # sixteen blocks, light or dark, are the bits of a picture's number
FALSE_PART = 10  # one of so many is none

DETECTOR = """import json, sys
print(open(sys.argv[1] + ".json", encoding="utf-8").read())
"""


def numbered_picture(number):
    width = WIDTH // COLUMNS
    lines = []
    for row in range(ROWS):
        bits = [number >> (row * COLUMNS + column) & 1 for column in range(COLUMNS)]
        lines.append(b"".join((b"\xd2" if bit else b"\x28") * width for bit in bits) * (HEIGHT // ROWS))
    return b"".join(lines)


def make_film(path, pictures):
    with subprocess.Popen(["ffmpeg", "-y", "-v", "error", "-f", "rawvideo", "-pix_fmt", "gray", "-s", f"{WIDTH}x{HEIGHT}",
                           "-r", str(RATE), "-i", "-", "-c:v", "libx264", "-preset", "ultrafast", "-bf", "3", "-pix_fmt",
                           "yuv420p", str(path)], stdin=subprocess.PIPE) as ffmpeg:
        for number in range(pictures):
            ffmpeg.stdin.write(numbered_picture(number))
        ffmpeg.stdin.close()
    expect(ffmpeg.returncode == 0, "the film is made")


def numbers(path):
    """The numbers in all pictures of a clip."""
    raw = subprocess.run(["ffmpeg", "-v", "error", "-i", str(path), "-vf", f"scale={COLUMNS}:{ROWS}:flags=area", "-pix_fmt",
                          "gray", "-f", "rawvideo", "-"], check=True, capture_output=True).stdout
    size = COLUMNS * ROWS
    return [sum((raw[at + bit] > 128) << bit for bit in range(size)) for at in range(0, len(raw), size)]


def plan(transitions, rng):
    """The pictures at which transitions lie, and which of these are none."""
    places, place = [], 0
    for _ in range(transitions):
        place += rng.choice((3, rng.randint(4, 16)))
        places.append(place)
    false = set(rng.sample(range(transitions), transitions // FALSE_PART))
    return places, place + 10, false


def result(video, places, pictures, false, rng):
    edges = [0, *places, pictures]
    return {
        "video": str(video), "fps": RATE, "duration": pictures / RATE, "aggressive": True, "fade_removal_profile": "aggressive",
        "events": [{"index": n + 1, "type": "cut", "start": place / RATE, "end": place / RATE, "duration": 0,
                    "score": rng.random() + (0 if n in false else 1), "source": "t"} for n, place in enumerate(places)],
        "keep_segments": [{"index": n + 1, "start": start / RATE, "end": end / RATE, "duration": (end - start) / RATE}
                          for n, (start, end) in enumerate(zip(edges, edges[1:]))]}


def installed(build_folder, folder):
    """The program with a detector that tells what lies beside the video."""
    executable = folder / "bin" / "kestrel"
    executable.parent.mkdir()
    shutil.copy2(build_folder / "bin" / "kestrel", executable)
    script = folder / "share" / "kestrel" / "detect_scene_changes.py"
    script.parent.mkdir(parents=True)
    script.write_text(DETECTOR)
    return executable


def review(kestrel, desktop, count, false_count):
    def progress():
        return kestrel.text("progressLabel", window=REVIEW)

    kestrel.tab_to("eventTableView")
    desktop.press("Home", "ctrl+e")
    wait_until(lambda: kestrel.window(REVIEW) and kestrel.window(REVIEW)["active"], "the window for checking")
    # Back to the order, which stands above the list: the least certain ones first.
    desktop.press("shift+Tab", "shift+Tab", "Down", "Tab", "Tab", "Home")
    wait_until(lambda: kestrel.find("orderBox", window=REVIEW)["rect"] and
               kestrel.find("reviewTableView", window=REVIEW)["focus"], "the focus in the list")
    for number in range(count):
        desktop.press("Delete" if number < false_count else "Return")
    wait_until(lambda: progress() == f"已检查 {count} / {count}，已否决 {false_count}", "everything checked", seconds=120)


def main():
    build_folder = pathlib.Path(sys.argv[1]).resolve()
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 300
    rng = random.Random(count)
    with tempfile.TemporaryDirectory() as folder, Desktop() as desktop:
        folder = pathlib.Path(folder)
        video = folder / "film" / "film.mp4"
        clips = folder / "clips"
        video.parent.mkdir()
        clips.mkdir()
        places, pictures, false = plan(count, rng)
        make_film(video, pictures)
        pathlib.Path(f"{video}.json").write_text(json.dumps(result(video, places, pictures, false, rng)))
        with Kestrel(desktop, build_folder, executable=installed(build_folder, folder)) as kestrel:
            kestrel.fill_screen()
            kestrel.detect(video)
            kestrel.drop([clips], "outputDirectoryField")
            detected = kestrel.rows("segmentTableView")
            review(kestrel, desktop, count, len(false))
            desktop.press("Escape")
            wait_until(lambda: not kestrel.window(REVIEW), "the end of the window")
            kestrel.bring_forward("Kestrel")
            kestrel.fill("concurrencyField", "4")
            kestrel.click("splitButton")
            true_count = count - len(false) + 1
            kestrel.wait_for_text("statusLabel", f"分解完成：成功 {true_count} / {true_count}，失败 0。", seconds=1800)
            true_edges = [0, *(place for n, place in enumerate(places) if n not in false), pictures]
            for number, (start, end) in enumerate(zip(true_edges, true_edges[1:]), 1):
                name = next(clips.glob(f"film-{number:02}.mp4"))
                expect_equal(numbers(name), list(range(start, end)), f"the pictures of {name.name}")
            print(f"{true_count} clips hold the pictures of the true list", flush=True)
            kestrel.bring_forward("Kestrel")
            kestrel.tab_to("eventTableView")
            for _ in range(count):
                desktop.press("ctrl+z")
            wait_until(lambda: kestrel.rows("segmentTableView") == detected, "the detector's list again", seconds=120)
            desktop.press("ctrl+e")
            wait_until(lambda: kestrel.window(REVIEW), "the window for checking")
            expect_equal(kestrel.text("progressLabel", window=REVIEW), f"已检查 0 / {count}，已否决 0", "the progress")
            print(f"{count} steps undone", flush=True)


if __name__ == "__main__":
    main()
