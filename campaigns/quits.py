"""Quits at random moments of a split, in every way: quits.py <build folder> <number> <how many at a time> [first seed]

Older clips lie under every name that the split writes, and under others.
"""

import collections
import random
import re
import time

from endings import WAYS
from kestrel_at_screen import expect, make_video
from keepsakes import CompleteClips, OlderClips, make_older_clip
from resplitting import Campaign, run_in_parallel

SECONDS = 12
RATE = 25


class Quits(Campaign):
    """Every quit is of another start of the program."""

    def __init__(self, desktop, build_folder, folder):
        super().__init__(desktop, build_folder, SECONDS)
        self._video = folder / "long.mp4"
        make_video(self._video, [SECONDS], size="640x360", rate=RATE)
        self._complete = CompleteClips(SECONDS * RATE)

    def run(self, number):
        self._way = WAYS[number % len(WAYS)]
        super().run(number)

    def run_once(self):
        self.world.clear()
        self.open(self._video, random.randint(1, 5))
        others = [self.world.clips / name for name in ("c-06.mp4", "mine.mp4")]
        older = OlderClips(self.world.clips, self.world.trash, self._complete)
        for path in [*self.world.outputs, *others]:
            make_older_clip(path, self._video)
            older.note(path, False)
        source = self._video.read_bytes()
        self.splitter.kestrel.click("splitButton")
        time.sleep(random.uniform(0, 2.5))
        finished = re.search(r"完成 (\d+) ", self.splitter.kestrel.text("statusLabel"))
        self.quit(self._way)
        wrongs = older.wrongs(self.world.outputs)
        expect(not wrongs, f"{self._way.__name__}: {', '.join(wrongs)}")
        self.counts += older.fates + collections.Counter([self._way.__name__])
        expect(older.fates["in place"] <= len(self.world.outputs) + len(others) - int(finished[1] if finished else 0),
               "clips that were finished before stay")
        expect(all(path.exists() for path in others), "clips of other names stay in place")
        expect(self._video.read_bytes() == source, "the source is as it was")


if __name__ == "__main__":
    run_in_parallel(Quits)
