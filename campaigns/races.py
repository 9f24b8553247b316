"""Links, renames and folder swaps while jobs are launched and stopped: races.py <build folder> <number> <at a time> [first]

Run it by scripts/races, in a mount namespace of its own: a false ffmpeg takes as long as its clip lasts. Whatever somebody
does to the files around a split, no source and no file of anybody else may change or go.
"""

import contextlib
import pathlib
import random
import shutil
import signal
import time

from endings import WAYS
from false_ffmpeg import UNHURRIED, false_ffmpeg
from kestrel_at_screen import expect, make_video, wait_until
from keepsakes import CompleteClips, checksum, contents, is_hidden, make_older_clip
from resplitting import Campaign, run_in_parallel

CLIP_SECONDS = 0.4
RATE = 25


class Races(Campaign):

    def __init__(self, desktop, build_folder, folder):
        super().__init__(desktop, build_folder, CLIP_SECONDS)
        self._video = folder / "video.mp4"
        make_video(self._video, [1], rate=RATE)
        self._complete = CompleteClips(round(CLIP_SECONDS * RATE))

    def run_once(self):
        self._set_the_scene()
        if not self.splitter:
            self.open(self.source, random.randint(1, 3))
        race, end = random.choice(RACES), random.choice(ENDS)
        with contextlib.suppress(Missed):
            race(self)
            self.counts[race.__name__] += 1
        self.go_on()
        end(self)
        wrongs = self._wrongs()
        expect(not wrongs, f"{race.__name__}, {end.__name__}: {', '.join(wrongs)}")
        self.counts[end.__name__] += 1

    def _set_the_scene(self):
        """A source, files of somebody else, and older clips under some of the outputs' names."""
        self.source = self.world.folder / "source.mp4"
        self.others = self.world.folder / "others"
        self.away = self.world.folder / "away"
        for folder in (self.others, self.away, self.world.folder / "renamed"):
            shutil.rmtree(folder, ignore_errors=True)
        if self.world.clips.is_symlink():
            self.world.clips.unlink()
        self.world.clear()
        self.others.mkdir()
        self.away.mkdir()
        shutil.copyfile(self._video, self.source)
        self._kept = {checksum(self.source): self.source.name}
        self.theirs = [self.others / f"film{number}.mp4" for number in range(len(self.world.outputs))]
        for path in [*self.theirs, *random.sample(self.world.outputs, random.randint(0, len(self.world.outputs)))]:
            make_older_clip(path, self._video)
            self._kept[checksum(path)] = str(path.relative_to(self.world.folder))

    def _wrongs(self):
        places = [self.world.folder / name for name in ("clips", "renamed", "others", "data")]
        found = contents(self.world.folder / "away", *{place.resolve() for place in places})
        if self.source.is_file():
            found[checksum(self.source)].append(self.source)
        wrongs = []
        for content, name in self._kept.items():
            if not found[content]:
                wrongs.append(f"{name} is lost")
            elif all(map(is_hidden, found[content])):
                wrongs.append(f"{name} is hidden")
        for content, paths in found.items():
            if content not in self._kept:
                wrongs += [f"{path.relative_to(self.world.folder)} is {path.stat().st_size} bytes that are no clip"
                           for path in paths if path.parent != self.away and path.suffix == ".mp4" and
                           path not in self._complete]
        return wrongs

    # What the races are made of

    def split_and_wait(self):
        """Until ffmpeg writes; the output of one that does. The program stands still from then on, so that none of its
        ffmpegs is about to open its output: by name, so that it would overwrite whatever came to lie there meanwhile,
        which nobody can prevent."""
        self.splitter.split()
        folder = self.world.clips.resolve()

        def being_written():
            expect(not self.splitter.kestrel.alert(), "no split is refused here")
            time.sleep(random.uniform(0, CLIP_SECONDS / 2))
            self.splitter.kestrel.process.send_signal(signal.SIGSTOP)
            held = open_files(self.splitter.kestrel.process.pid)
            written = {path for pid in self.splitter.ffmpegs() for path in open_files(pid) if path.parent == folder}
            is_launching = held.count(folder) > len(written) or any(path.parent == folder for path in set(held) - written)
            if written and not is_launching:
                return self.world.clips / random.choice(sorted(written)).name
            self.go_on()
            return None
        return wait_until(being_written, "an output that is written")

    def go_on(self):
        if self.splitter.runs():
            self.splitter.kestrel.process.send_signal(signal.SIGCONT)

    def take_away(self, path):
        """What lies there stays, elsewhere."""
        with missing_means_missed():
            path.rename(self.away / f"{len(list(self.away.iterdir()))}-{path.name.lstrip('.')}")


class Missed(Exception):
    """What was to be raced has gone on."""


def open_files(pid):
    found = []
    with contextlib.suppress(OSError):
        for entry in pathlib.Path(f"/proc/{pid}/fd").iterdir():
            with contextlib.suppress(OSError):
                found.append(entry.readlink())
    return found


@contextlib.contextmanager
def missing_means_missed():
    try:
        yield
    except (FileNotFoundError, FileExistsError, NotADirectoryError) as missed:
        raise Missed from missed


def link(place, target):
    with missing_means_missed():
        random.choice([place.symlink_to, place.hardlink_to])(target)


# The races


def output_becomes_a_link_to_the_source(races):
    output = races.split_and_wait()
    races.take_away(output)
    link(output, races.source)


def output_becomes_a_link_to_somebody_elses_file(races):
    output = races.split_and_wait()
    races.take_away(output)
    link(output, races.theirs[0])


def source_is_renamed_onto_the_output(races):
    output = races.split_and_wait()
    races.take_away(output)
    with missing_means_missed():
        races.source.rename(output)


def somebody_elses_file_is_renamed_onto_the_output(races):
    output = races.split_and_wait()
    races.take_away(output)
    with missing_means_missed():
        races.theirs[0].rename(output)


def a_later_output_becomes_a_link(races):
    races.split_and_wait()
    output = races.world.outputs[-1]
    with contextlib.suppress(Missed):
        races.take_away(output)
    link(output, random.choice([races.source, races.theirs[0]]))


def outputs_are_links_beforehand(races):
    for output, target in zip(races.world.outputs, races.theirs):
        if random.random() < 0.3:
            continue
        with contextlib.suppress(Missed):
            races.take_away(output)
        if random.random() < 0.5:
            link(output, target)
        else:
            output.symlink_to(random.choice([races.others, races.others / "missing.mp4"]))
    races.splitter.split()


def an_output_is_a_link_to_the_source_beforehand(races):
    output = random.choice(races.world.outputs)
    with contextlib.suppress(Missed):
        races.take_away(output)
    link(output, races.source)
    races.splitter.split()


def an_output_becomes_a_folder(races):
    races.split_and_wait()
    output = random.choice(races.world.outputs)
    with contextlib.suppress(Missed):
        races.take_away(output)
    with missing_means_missed():
        output.mkdir()
        races.theirs[0].rename(output / "film.mp4")


def folder_is_renamed(races):
    races.split_and_wait()
    races.world.clips.rename(races.world.folder / "renamed")


def folder_is_swapped(races):
    races.split_and_wait()
    races.world.clips.rename(races.world.folder / "renamed")
    races.others.rename(races.world.clips)
    for theirs, output in zip(races.theirs, races.world.outputs):
        (races.world.clips / theirs.name).rename(output)


def folder_is_a_link_that_is_turned(races):
    for theirs, output in zip(races.theirs, races.world.outputs):
        theirs.rename(races.others / output.name)
    races.world.clips.rename(races.world.folder / "renamed")
    races.world.clips.symlink_to("renamed")
    races.split_and_wait()
    races.world.clips.unlink()
    races.world.clips.symlink_to(races.others)


def what_is_set_aside_becomes_a_link(races):
    races.split_and_wait()
    for path in filter(is_hidden, list(races.world.clips.iterdir())):
        races.take_away(path)
        link(path, random.choice([races.source, races.theirs[0]]))


RACES = [output_becomes_a_link_to_the_source, output_becomes_a_link_to_somebody_elses_file,
         source_is_renamed_onto_the_output, somebody_elses_file_is_renamed_onto_the_output, a_later_output_becomes_a_link,
         outputs_are_links_beforehand, an_output_is_a_link_to_the_source_beforehand, an_output_becomes_a_folder,
         folder_is_renamed, folder_is_swapped, folder_is_a_link_that_is_turned, what_is_set_aside_becomes_a_link]


# The ends


def finish(races):
    races.splitter.settle()


def stop(races):
    races.splitter.press_in_overview("ctrl+period")
    races.splitter.settle()


def stop_and_retry(races):
    stop(races)
    races.splitter.retry()
    races.splitter.settle()


def quit_in_the_middle(races):
    races.quit(random.choice(WAYS))


ENDS = [finish, stop, stop, stop_and_retry, quit_in_the_middle, quit_in_the_middle]


if __name__ == "__main__":
    with false_ffmpeg(UNHURRIED):
        run_in_parallel(Races)
