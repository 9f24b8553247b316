"""What kestrel-batch costs: batch.py <build folder> start|scale|xargs [number]

start  `cut` that finds 10,000 clips done: the median of nine runs
scale  `plan` of 1,000,000 jobs over 10,000 videos and `status` over their clips, and the same for a tenth of them:
       seconds and the most memory. Needs 4 GB of disk space for the names.
xargs  `cut` against `xargs -P` over the same calls of detector and ffmpeg, in turns: the ratios of time and of
       processors' time, medians of five turns unless told otherwise
"""

import hashlib
import json
import os
import pathlib
import re
import resource
import shlex
import statistics
import subprocess
import sys
import tempfile
import time

BUILD = pathlib.Path(sys.argv[1]).resolve()
PROGRAM = BUILD / "bin" / "kestrel-batch"
DETECTOR = BUILD / "share" / "kestrel" / "detect_scene_changes.py"
SCENES = ["testsrc2", "smptehdbars", "mandelbrot", "rgbtestsrc"]
SOURCES = 40  # a file has a limited number of names


def run(*words, **more):
    return subprocess.run(list(map(str, words)), check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, **more)


def cost(words, **more):
    """Seconds, processors' seconds and megabytes of a command."""
    before, begin = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic()
    process = subprocess.Popen(list(map(str, words)), **more)
    _, status, usage = os.wait4(process.pid, 0)
    seconds = time.monotonic() - begin
    process.returncode = os.waitstatus_to_exitcode(status)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    work = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
    return seconds, work, usage.ru_maxrss / 1024, process.returncode


def make_lists(folder, videos, clips):
    """Lists of videos that are no videos, which neither plan nor status minds."""
    for number in range(SOURCES):
        (folder / f"source {number}").write_bytes(b"pictures %d" % number)
    segments = [{"index": i, "start": i, "end": i + 0.9, "duration": 0.9} for i in range(clips)]
    names = []
    for number in range(videos):
        video = folder / f"film-{number:05}.mp4"
        os.link(folder / f"source {number % SOURCES}", video)
        names.append(folder / f"film-{number:05}.kestrel.json")
        names[-1].write_text(json.dumps({"video": str(video), "fps": 25, "duration": clips, "aggressive": True,
                                         "events": [], "keep_segments": segments}))
    (folder / "names").write_bytes(b"".join(os.fsencode(name) + b"\0" for name in names))
    return ["--files0-from", folder / "names", "-o", folder / "clips"]


def finish_all(folder, plan):
    """As if every job of the plan had been done."""
    clips = folder / "clips"
    sources = []
    for number in range(SOURCES):
        source = folder / f"clip {number}"
        source.write_bytes(b"a clip")
        mark = hashlib.blake2b(b"a clip", digest_size=20).hexdigest()[:32]
        sources.append((source, f"6:{source.stat().st_mtime_ns}:{mark}"))
    with plan.open() as lines, (clips / ".kestrel-batch.journal").open("a") as journal:
        for number, line in enumerate(lines):
            words = line.split()
            word = dict(zip(words[2:-2:2], words[3:-2:2]))
            video, name = word["--output"].split("/")
            source, mark = sources[number % SOURCES]
            if word["--number"] == "1":
                os.makedirs(clips / video, exist_ok=True)
            os.link(source, f"{clips}/{video}/{name}")
            clip = {"output": name, "start": word["--start"], "duration": word["--duration"], "state": "completed",
                    "mark": mark}
            entry = {"folder": video, "video": words[-1], "source": word["--source"], "clip": clip}
            journal.write(json.dumps(entry, separators=(",", ":"), ensure_ascii=False) + "\n")


def planned(folder, videos, clips):
    words = make_lists(folder, videos, clips)
    with (folder / "plan").open("wb") as plan:
        seconds, _, memory, status = cost([PROGRAM, "plan", *words], stdout=plan, stderr=subprocess.DEVNULL)
    assert status == 0
    finish_all(folder, folder / "plan")
    return words, seconds, memory


def start(folder, _):
    words, _, _ = planned(folder, 100, 100)
    run(PROGRAM, "cut", "-q", *words)
    times = [cost([PROGRAM, "cut", "-q", *words], stdout=subprocess.DEVNULL)[0] for _ in range(9)]
    print(f"cut, 10,000 clips done: {statistics.median(times) * 1000:.0f} ms ({min(times) * 1000:.0f} to "
          f"{max(times) * 1000:.0f})")


def scale(folder, number):
    for videos in ((number or 10 ** 4) // 10, number or 10 ** 4):
        place = folder / str(videos)
        place.mkdir()
        _, seconds, memory = planned(place, videos, 100)
        print(f"plan of {videos * 100:,} jobs: {seconds:.1f} s, {memory:.0f} MB, "
              f"{(place / 'plan').stat().st_size / 1e6:.0f} MB of text", flush=True)
        for what in ("a journal", "a document"):
            seconds, _, memory, status = cost([PROGRAM, "status", place / "clips"], stdout=subprocess.DEVNULL)
            assert status == 0, "all done"
            print(f"status of {videos * 100:,} clips in {what}: {seconds:.1f} s, {memory:.0f} MB", flush=True)
            if what == "a journal":
                run(PROGRAM, "plan", "--files0-from", place / "names", "-o", place / "clips")


def xargs(folder, number):
    films = []
    for index in range(6):
        films.append(folder / f"film {index}.mp4")
        run("ffmpeg", "-nostdin", "-lavfi", ";".join(
            f"{scene}=s=480x270:r=25,trim=duration=4,hue=h={index * 40},format=yuv420p[{scene}]" for scene in SCENES) +
            f";{''.join(f'[{scene}]' for scene in SCENES)}concat=n={len(SCENES)}", films[-1])
    lanes = os.cpu_count()
    environment = dict(os.environ)
    run(PROGRAM, "detect", *films, env=environment | {"XDG_CACHE_HOME": str(folder / "cache")})
    lists = [film.with_suffix(".kestrel.json") for film in films]
    run(PROGRAM, "export", *lists, "--format", "sh", "-o", folder / "scripts")
    detections = b"".join(
        shlex.join(["python3", str(DETECTOR), str(film), "--skip-start-seconds", "0.0", "--fade-removal-profile", "aggressive",
                    "--fade-left-padding-seconds", "0.12", "--fade-right-padding-seconds", "0.24", "--json"]).encode() + b"\0"
        for film in films)
    cuts = b"".join(line.encode() + b"\0" for script in sorted((folder / "scripts").iterdir())
                    for line in re.findall("^ffmpeg .*", script.read_text(), re.M))
    ratios = []
    for turn in range(number or 5):
        sums = {}
        for who in ("xargs", "kestrel-batch") if turn % 2 else ("kestrel-batch", "xargs"):
            quiet = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL,
                     "env": environment | {"XDG_CACHE_HOME": str(folder / f"cache {turn} {who}")}}
            if who == "xargs":
                parts = []
                for jobs in (detections, cuts):
                    (folder / "jobs").write_bytes(jobs)
                    parts.append(cost(["xargs", "-0", "-n1", f"-P{lanes}", "-a", folder / "jobs", "sh", "-c"], **quiet))
                sums[who] = [sum(part[i] for part in parts) for i in (0, 1)]
            else:
                sums[who] = cost([PROGRAM, "cut", f"-j{lanes}", *films, "-o", folder / f"clips {turn}"], **quiet)
                assert sums[who][3] == 0
        ratios.append([sums["kestrel-batch"][i] / sums["xargs"][i] for i in (0, 1)])
        print(f"  {sums['kestrel-batch'][0]:.2f} s against {sums['xargs'][0]:.2f} s; processors "
              f"{sums['kestrel-batch'][1]:.2f} against {sums['xargs'][1]:.2f}", flush=True)
    print(f"cut against xargs -P{lanes}, {len(films)} videos, {cuts.count(0)} clips: time "
          f"{statistics.median(ratio[0] for ratio in ratios):.3f}, processors "
          f"{statistics.median(ratio[1] for ratio in ratios):.3f}")


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as scratch:
        number = int(sys.argv[3]) if len(sys.argv) > 3 else None
        {"start": start, "scale": scale, "xargs": xargs}[sys.argv[2]](pathlib.Path(scratch), number)
