"""Kills kestrel-batch, an ffmpeg or a detector at random moments, and lets it go on: batch_kills.py <build folder> <number>

Afterwards every clip must be there once and verified, nothing begun may lie about, nothing may run, and no clip that was
told of as complete may have been written again.
"""

import collections
import json
import os
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time

SIGNALS = [signal.SIGTERM, signal.SIGINT, signal.SIGKILL]
VICTIMS = ["program", "ffmpeg", "detector"]
VIDEOS = 2


def expect(holds, what):
    if not holds:
        raise AssertionError(what)


def make_videos(folder):
    """A red and a green half, so that there is a cut to find."""
    for number in range(VIDEOS):
        subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i",
                        f"color=red:s=64x48:r=25:d={2 + number}[a];color=lime:s=64x48:r=25:d=2[b];[a][b]concat",
                        "-c:v", "mpeg4", folder / f"video {number}.avi"], check=True)


def processes(words):
    """The ids of those whose command line holds all of the words."""
    found = []
    for entry in pathlib.Path("/proc").glob("[0-9]*/cmdline"):
        try:
            line = entry.read_bytes()
        except OSError:
            continue
        if all(os.fsencode(str(word)) in line for word in words) and int(entry.parent.name) != os.getpid():
            found.append(int(entry.parent.name))
    return found


def children(folder, victim):
    """Of the program in that folder: what writes clips, or what detects."""
    if victim == "ffmpeg":
        return processes([folder, ".unfinished", "ffmpeg"])
    return processes([folder, "detect_scene_changes.py"])


class Trial:
    def __init__(self, build_folder, folder):
        self.words = [build_folder / "bin" / "kestrel-batch", "cut", "-j2", "-o", folder / "out",
                      *(folder / f"video {number}.avi" for number in range(VIDEOS))]
        self.folder = folder
        self.environment = dict(os.environ, XDG_CACHE_HOME=str(folder / "cache"), XDG_DATA_HOME=str(folder / "data"))

    def start(self):
        return subprocess.Popen(self.words, env=self.environment, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)

    @staticmethod
    def events(process):
        """What it tells until it ends; its last line may be cut off."""
        lines = process.communicate()[0].split(b"\n")
        return [json.loads(line) for line in lines[:-1]]

    def run_undisturbed(self):
        begin = time.monotonic()
        events = self.events(self.start())
        expect(len(events) == 2 * VIDEOS and all(event["state"] == "completed" for event in events), f"all done: {events}")
        return time.monotonic() - begin

    def run_killed(self, victim, number, after):
        process = self.start()
        deadline = time.monotonic() + after
        targets = []
        while process.poll() is None:
            if time.monotonic() >= deadline:
                targets = [process.pid] if victim == "program" else children(self.folder, victim)
                if targets:
                    break
            time.sleep(0.005)
        for target in targets[:1]:
            try:
                os.kill(target, number)
            except ProcessLookupError:
                targets = []
        first = self.events(process)
        expect(process.returncode in (0, 1, 2, -number), f"status {process.returncode}")
        if victim == "program" and targets and number != signal.SIGKILL and process.returncode == -number:
            expect(not self.unfinished(), f"left behind: {self.unfinished()}")
        deadline = time.monotonic() + 5
        while processes([self.folder]) and time.monotonic() < deadline:
            time.sleep(0.01)
        expect(not processes([self.folder]), "something still runs")
        return first, bool(targets)

    def unfinished(self):
        place = self.folder / "out" / ".unfinished"
        return sorted(place.iterdir()) if place.exists() else []

    def check(self, first):
        again = self.start()
        second = self.events(again)
        expect(again.returncode == 0, f"the second run ended with {again.returncode}: {second}")
        status = subprocess.run([self.words[0], "status", "--json", self.folder / "out"], stdout=subprocess.PIPE,
                                check=True)
        expect(json.loads(status.stdout)["completed"] == 2 * VIDEOS, "every clip is there")
        clips = sorted(path for path in (self.folder / "out").glob("*/*"))
        expect(len(clips) == 2 * VIDEOS, f"nothing else is there: {clips}")
        expect(not self.unfinished(), f"left behind: {self.unfinished()}")
        trash = list((self.folder / "data").glob("Trash/files/*"))
        expect(not trash, f"in the trash: {trash}")
        done = {event["output"] for event in first if event["state"] == "completed"}
        twice = {event["output"] for event in second if event["state"] == "completed"} & done
        expect(not twice, f"written twice: {twice}")
        return len(done)


def main():
    build_folder, number = pathlib.Path(sys.argv[1]).resolve(), int(sys.argv[2])
    counts = collections.Counter()
    with tempfile.TemporaryDirectory() as scratch:
        scratch = pathlib.Path(scratch)
        (scratch / "videos").mkdir()
        make_videos(scratch / "videos")
        for trial_number in range(number):
            random.seed(trial_number)
            folder = scratch / f"trial-{trial_number}"
            shutil.copytree(scratch / "videos", folder)
            trial = Trial(build_folder, folder)
            victim, signal_number = random.choice(VICTIMS), random.choice(SIGNALS)
            if trial_number % 50 == 0:
                whole = trial.run_undisturbed()
                shutil.rmtree(folder)
                shutil.copytree(scratch / "videos", folder)
            after = random.uniform(0, whole * (0.2 if victim == "detector" else 0.7))
            try:
                first, has_hit = trial.run_killed(victim, signal_number, after)
                counts["clips done before the kill"] += trial.check(first)
            except AssertionError as error:
                sys.exit(f"{trial_number}: {victim} {signal_number.name} after {after:.3f} s of {whole:.3f}: {error}")
            counts[f"{victim} {signal_number.name}" if has_hit else "ended before"] += 1
            shutil.rmtree(folder)
    for what, count in sorted(counts.items()):
        print(f"{count:5} {what}")


if __name__ == "__main__":
    main()
