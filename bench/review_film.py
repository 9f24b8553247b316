#!/usr/bin/env python3
"""Makes the film for bench_review: review_film.py FILM.mp4

Some 23 minutes of 720p with about 350 transitions, from the shots and joins of the detector's clips. Half of it is made,
which takes a quarter of an hour, and then plays twice.
"""

import pathlib
import random
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).parent / "detector"))
from make_clips import Clip, make, write_pictures  # noqa: E402

PARTS = 7
JOINS = ["cut"] * 18 + ["dissolve"] * 3 + ["black"] * 3  # of a part, in any order
MOTIONS = ("hand", "pan", "walk", "zoom", "action", "easepan")


def main():
    film = pathlib.Path(sys.argv[1]).resolve()
    rng = random.Random("film")
    with tempfile.TemporaryDirectory(dir=film.parent) as folder:
        pictures, objects = write_pictures(folder, random.Random("pictures of the film"))
        parts = []
        for number in range(PARTS):
            clip = Clip(f"part{number}", rng.sample(JOINS, len(JOINS)), size=(1280, 720), shot=(2.0, 5.5), motions=MOTIONS,
                        post="noise=alls=6:allf=t")
            make(clip, folder, random.Random(f"part {number}"), rng.sample(pictures, len(pictures)), objects)
            parts.append(f"file '{folder}/{clip.name}.mp4'\n")
            print(f"{number + 1} of {PARTS} parts", flush=True)
        names = pathlib.Path(folder) / "parts"
        names.write_text("".join(parts * 2))
        subprocess.run(["ffmpeg", "-y", "-v", "error", "-f", "concat", "-safe", "0", "-i", names, "-c", "copy", film], check=True)


if __name__ == "__main__":
    main()
