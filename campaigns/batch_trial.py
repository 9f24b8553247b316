"""kestrel-batch with real videos and real faults: batch_trial.py <build folder> [case...]

formats  30 videos in 10 containers: the clips have the pictures that the window's own words write, one after another
thousand 1,000 videos, 100 of them broken: the others are done, and each reason is told once
disk     a disk that is too small, then large enough; as root only
rights   folders in which nothing may be written; as root only, which becomes somebody else for it
"""

import collections
import contextlib
import json
import os
import pathlib
import subprocess
import sys
import tempfile

PROGRAM = pathlib.Path(sys.argv[1]).resolve() / "bin" / "kestrel-batch"
CONTAINERS = ["mp4", "mov", "mkv", "webm", "avi", "mpg", "ts", "flv", "wmv", "m4v"]
# Scenes with a hard cut, with a fade through black, and with uneven times and a sound.
SCENES = [
    "color=red:s=96x64:r=25:d=2[a];testsrc=s=96x64:r=25:d=2[b];[a][b]concat",
    "testsrc=s=96x64:r=30000/1001:d=3,format=yuv420p,fade=out:st=2.5:d=0.5[a];"
    "smptebars=s=96x64:r=30000/1001:d=3,format=yuv420p,fade=in:d=0.5[b];[a][b]concat",
    "testsrc2=s=128x96:r=24:d=3[a];color=blue:s=128x96:r=24:d=1.7[b];[a][b]concat[v];sine=d=4.7[s];[v][s]concat=n=1:v=1:a=1",
]


def expect(holds, what):
    if not holds:
        raise SystemExit(f"batch_trial: {what}")


def make_video(path, scenes):
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-lavfi", scenes, path], check=True)


def batch(*words, status=(0,), **more):
    done = subprocess.run([PROGRAM, *words], capture_output=True, check=False, **more)
    expect(done.returncode in status, f"{words[0]} ended with {done.returncode}: {done.stderr.decode()[-2000:]}")
    return done


def states(done):
    return collections.Counter(json.loads(line)["state"] for line in done.stdout.splitlines())


def pictures(clip):
    words = ["ffmpeg", "-nostdin", "-v", "error", "-i", clip, "-map", "0:v", "-f", "framemd5", "-"]
    lines = subprocess.run(words, capture_output=True, check=True).stdout.splitlines()
    return [line for line in lines if not line.startswith(b"#")]


def formats(folder):
    videos = [folder / f"{name}{number}.{name}" for name in CONTAINERS for number in range(len(SCENES))]
    for video in videos:
        make_video(video, SCENES[int(video.stem[-1])])
    batch("detect", *videos)
    lists = [video.with_name(video.stem + ".kestrel.json") for video in videos]
    told = states(batch("cut", *lists, "-o", folder / "clips", status=(0, 1)))
    expect(not told["failed"], told)
    batch("export", *lists, "--format", "sh", "-o", folder / "scripts")
    clips = frames = 0
    for video in videos:
        subprocess.run(["sh", "-e", folder / "scripts" / f"{video.stem}.sh"], check=True, stderr=subprocess.DEVNULL)
        ours = sorted((folder / "clips" / video.stem).iterdir())
        expect(ours, f"{video.name} has clips")
        expect(len(ours) == len(list(folder.glob(f"{video.stem}-*"))), f"{video.name}: as many clips")
        for clip in ours:
            shown = pictures(clip)
            expect(shown and shown == pictures(folder / clip.name), f"{clip.name}: the same pictures")
            clips, frames = clips + 1, frames + len(shown)
    return (f"{len(videos)} videos in {len(CONTAINERS)} containers: {clips} clips, {told['doubtful']} of them doubtful, "
            f"{frames} pictures, all the same")


def thousand(folder):
    make_video(folder / "good.mp4", "testsrc=s=64x48:r=25:d=1")
    broken = (folder / "good.mp4").read_bytes()[:1500]
    names = [folder / f"{'broken' if number % 10 == 0 else 'film'} {number}.mp4" for number in range(1000)]
    for name in names:
        if name.name.startswith("broken"):
            name.write_bytes(broken)
        else:
            os.link(folder / "good.mp4", name)
    (folder / "names").write_bytes(b"".join(os.fsencode(name) + b"\0" for name in names))
    words = ["cut", "--files0-from", folder / "names", "-o", folder / "clips"]
    done = batch(*words, status=(1,))
    expect(states(done) == {"completed": 900, "failed": 100}, states(done))
    told = [line for line in done.stderr.decode().splitlines() if ": failed: " in line]
    expect(len(told) == len({line.split(":")[0] for line in told}) == 100, f"{len(told)} reasons")
    again = states(batch(*words, status=(1,)))
    expect(again == {"present": 900, "failed": 100}, again)
    return "1,000 videos, 100 broken: 900 done, 100 reasons told once each; again: nothing written"


@contextlib.contextmanager
def small_disk(place):
    place.mkdir()
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=300k", "kestrel", place], check=True)
    try:
        yield
    finally:
        subprocess.run(["umount", place], check=True)


def disk(folder):
    films = [folder / f"film {number}.mp4" for number in range(4)]
    for film in films:
        make_video(film, "testsrc=s=320x240:r=25:d=4,noise=alls=60:allf=t")
    with small_disk(folder / "disk"):
        place = folder / "disk" / "clips"
        done = batch("cut", *films, "-o", place, status=(1,))
        expect(states(done)["failed"] == 4, f"{states(done)}")
        expect(b"No space left" in done.stderr or b"disk is full" in done.stderr, done.stderr.decode())
        expect(not list(place.glob("*/*.mp4")) and not list(place.glob(".unfinished/*")), "nothing is left")
        subprocess.run(["mount", "-o", "remount,size=100m", folder / "disk"], check=True)
        expect(states(batch("cut", *films, "-o", place)) == {"completed": 4}, "all done with more room")
        batch("status", place)
    return "a full disk: 4 clips failed, nothing lay about; with more room all were done"


def rights(folder):
    film = folder / "film.mp4"
    make_video(film, "testsrc=s=64x48:r=25:d=1")
    folder.chmod(0o755)
    home = folder / "home"
    for name in ("home", "closed", "open", "open/film"):
        (folder / name).mkdir()
    for name in ("home", "open"):
        os.chown(folder / name, 65534, 65534)
    nobody = {"user": 65534, "group": 65534, "extra_groups": [], "env": {"HOME": str(home), "PATH": os.environ["PATH"]}}
    done = batch("cut", film, "-o", folder / "closed", status=(2,), **nobody)
    expect(b"no permission to write" in done.stderr, done.stderr.decode())
    done = batch("cut", film, "-o", folder / "open", status=(1,), **nobody)
    expect(states(done) == {"failed": 1} and b"no permission to write" in done.stderr, done.stderr.decode())
    (folder / "open" / "film").rmdir()
    expect(states(batch("cut", film, "-o", folder / "open", **nobody)) == {"completed": 1}, "done once it may")
    return "folders without permission: told, and done once it was given"


def main():
    cases = [formats, thousand] + ([disk, rights] if os.geteuid() == 0 else [])
    for case in cases:
        if sys.argv[2:] and case.__name__ not in sys.argv[2:]:
            continue
        with tempfile.TemporaryDirectory() as place:
            os.environ.update(XDG_CACHE_HOME=f"{place}/.cache", XDG_DATA_HOME=f"{place}/.data", LC_ALL="C.UTF-8")
            print(f"{case.__name__}: {case(pathlib.Path(place))}", flush=True)


if __name__ == "__main__":
    main()
