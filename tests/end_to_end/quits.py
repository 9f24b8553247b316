"""Quits at random moments of a split, in every way: quits.py <build folder> <number> <how many at a time>"""

import collections
import concurrent.futures
import pathlib
import random
import sys
import tempfile
import time

from kestrel_at_screen import Desktop, make_video
from quitting import Installation, VIDEO_SECONDS, WAYS, quit_at_a_random_moment


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
