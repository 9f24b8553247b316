"""Splits repeated over older clips, each with an end of its own: resplits.py <build folder> <number> <how many at a time> [first seed]

Run it by scripts/resplits, in a mount namespace of its own: a false ffmpeg takes as long as its clip lasts.
"""

import contextlib
import os
import random
import signal
import time

from endings import WAYS
from false_ffmpeg import UNHURRIED, false_ffmpeg
from kestrel_at_screen import expect, make_video
from keepsakes import CompleteClips, OlderClips, checksum, make_older_clip
from resplitting import IMPOSSIBLE_CROP, SEGMENTS, Campaign, run_in_parallel

CLIP_SECONDS = 0.4
RATE = 25
SIZE = (320, 240)


class Resplits(Campaign):

    def __init__(self, desktop, build_folder, folder):
        super().__init__(desktop, build_folder, CLIP_SECONDS)
        self._videos = [folder / "a.mp4", folder / "b.mp4"]
        for video in self._videos:
            make_video(video, [1], size="{}x{}".format(*SIZE), rate=RATE)
        self._sources = {video: checksum(video) for video in self._videos}
        self._complete = CompleteClips(round(CLIP_SECONDS * RATE))

    def run_once(self):
        if not self.splitter:
            self._open_anywhere()
        elif random.random() < 0.15:
            self._video = random.choice(self._videos)
            self.splitter.choose(self._video)
        older = self._lay_out()
        ends = [random.choice(ENDS)]
        while ends[-1] in KILLS:
            ends[-1](self)
            self._open_anywhere()
            ends.append(random.choice(ENDS))
        ends[-1](self)
        wrongs = older.wrongs(self.world.outputs, killed=len(ends) > 1)
        wrongs += [f"{video.name} has changed" for video, was in self._sources.items() if checksum(video) != was]
        expect(not wrongs, f"{' and '.join(end.__name__ for end in ends)}: {', '.join(wrongs)}")
        self.counts += older.fates
        self.counts.update(end.__name__ for end in ends)
        self._remember()

    def _open_anywhere(self):
        self._video = random.choice(self._videos)
        self._written = {}  # by this window: the content under each name, and the video that it is from
        self.open(self._video, random.randint(1, 3), has_trash=random.random() < 0.7)

    def _lay_out(self):
        """Under each name a clip of an earlier split, one that came from elsewhere, or none."""
        self.world.empty_trash()
        for path in set(self.world.clips.iterdir()) - set(self.world.outputs):
            path.unlink()
        older = OlderClips(self.world.clips, self.world.trash, self._complete)
        for path in self.world.outputs:
            choice = random.random()
            if choice < 0.6 and not path.exists() or choice < 0.4:
                make_older_clip(path, self._videos[0])
            elif choice > 0.9:
                path.unlink(missing_ok=True)
            if path.exists():
                older.note(path, self._written.get(path) == (checksum(path), self._video))
        self._before = {path: checksum(path) for path in self.world.outputs if path.exists()}
        return older

    def _remember(self):
        for path in self.world.outputs:
            if path.exists() and checksum(path) != self._before.get(path):
                self._written[path] = checksum(path), self._video

    # What the ends are made of

    def split(self, crop=None):
        """Each has a crop of its own, so that its clips are like no others."""
        width, height = (2 * random.randint(length // 4, length // 2 - 1) for length in SIZE)
        self.splitter.split(crop or f"{width}:{height}:{random.randint(0, 9)}:{random.randint(0, 9)}")

    def split_halfway(self):
        self.split()
        time.sleep(random.uniform(0, CLIP_SECONDS * random.randint(1, SEGMENTS)))


def succeed(resplits):
    resplits.split()
    resplits.splitter.settle()


def fail(resplits):
    resplits.split(IMPOSSIBLE_CROP)
    resplits.splitter.settle()


def lose_an_ffmpeg(resplits):
    resplits.split_halfway()
    for pid in resplits.splitter.ffmpegs()[:1]:
        with contextlib.suppress(ProcessLookupError):
            os.kill(pid, signal.SIGKILL)
    resplits.splitter.settle()


def stop_one(resplits):
    resplits.split_halfway()
    resplits.splitter.press_in_overview("Home", *["Down"] * random.randrange(SEGMENTS), "Delete")
    resplits.splitter.settle()


def stop_all(resplits):
    resplits.split_halfway()
    resplits.splitter.press_in_overview("ctrl+period")
    resplits.splitter.settle()


def stop_and_retry(resplits):
    stop_all(resplits)
    resplits.splitter.retry()
    resplits.splitter.settle()


def quit_in_the_middle(resplits):
    resplits.split_halfway()
    resplits.quit(random.choice(WAYS))


def kill(resplits):
    resplits.split_halfway()
    resplits.kill()


def kill_while_stopping(resplits):
    resplits.split_halfway()
    resplits.splitter.press_in_overview("ctrl+period")
    time.sleep(random.uniform(0, 0.3))
    resplits.kill()


KILLS = [kill, kill_while_stopping]
ENDS = [succeed, fail, lose_an_ffmpeg, stop_one, stop_all, stop_and_retry, quit_in_the_middle, quit_in_the_middle, *KILLS]


if __name__ == "__main__":
    with false_ffmpeg(UNHURRIED):
        run_in_parallel(Resplits)
