"""Tests of detect_scene_changes.py as it is run: the real script, the real ffmpeg, small clips made for the purpose.

    python3 -m unittest discover -s tests/detector
"""

import json
import os
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest
import zlib
from pathlib import Path

PROJECT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SCRIPT = os.path.join(PROJECT, "detect_scene_changes.py")
sys.path.insert(0, PROJECT)
from kestrel_detector import output  # noqa: E402
from kestrel_detector.cache import Cache, prune  # noqa: E402
from kestrel_detector.command_line import PROFILES  # noqa: E402

FOLDER = None


def setUpModule():
    global FOLDER
    FOLDER = tempfile.mkdtemp()
    os.environ["XDG_CACHE_HOME"] = os.path.join(FOLDER, "cache")
    if sys.platform == "darwin":
        os.environ["HOME"] = FOLDER


def tearDownModule():
    shutil.rmtree(FOLDER)


def place(name):
    return os.path.join(FOLDER, name)


def ffmpeg(*words):
    subprocess.run(["ffmpeg", "-y", "-v", "error", "-nostdin", *words], check=True, timeout=120)


SHOTS = ("testsrc2", "mandelbrot", "rgbtestsrc", "smptebars", "yuvtestsrc")


def clip(name, plan, rate="25", *more):
    """A clip of shots joined as `plan` says: (shot's seconds, join to the next); cached by name. Joins: cut, fade (0.5 s to
    black and back), dissolve and wipe (0.8 s)."""
    path = place(name)
    if os.path.exists(path):
        return path
    graph, label, length = [], None, 0.0
    for n, (seconds, _) in enumerate(plan):
        before, after = plan[n - 1][1] if n else "", plan[n][1]
        fades = ",fade=in:d=0.5" if before == "fade" else ""
        fades += ",fade=out:st=%f:d=0.5" % (seconds - 0.5) if after == "fade" else ""
        graph.append(f"{SHOTS[n % len(SHOTS)]}=s=320x180:r={rate},trim=duration={seconds},format=yuv420p,setsar=1,"
                     f"setpts=PTS-STARTPTS{fades},fps={rate}[s{n}]")
        if n == 0:
            label, length = "s0", seconds
        elif before in ("cut", "fade"):
            graph.append(f"[{label}][s{n}]concat=n=2:v=1,fps={rate}[j{n}]")
            label, length = f"j{n}", length + seconds
        else:
            kind = "fade" if before == "dissolve" else "wipeleft"
            graph.append(f"[{label}][s{n}]xfade={kind}:duration=0.8:offset={length - 0.8},fps={rate}[j{n}]")
            label, length = f"j{n}", length + seconds - 0.8
    new = place("new-" + name)  # what broke off must not be taken for the clip
    ffmpeg("-filter_complex", ";".join(graph), "-map", f"[{label}]", "-c:v", "libx264", "-preset", "ultrafast", *more, new)
    os.rename(new, path)
    return path


def all_kinds():
    return clip("kinds.mp4", [(2, "cut"), (2.5, "fade"), (3, "dissolve"), (3, "wipe"), (3, "")])


def small():
    return clip("small.mp4", [(0.6, "cut"), (0.6, "")])


def with_false_ffmpeg(name, script):
    """An environment whose ffmpeg is a shell script."""
    tools = place(name)
    os.makedirs(tools)
    fake = os.path.join(tools, "ffmpeg")
    Path(fake).write_text("#!/bin/sh\n" + script)
    os.chmod(fake, 0o755)
    return dict(os.environ, PATH=tools + ":" + os.environ["PATH"])


def run(*words, env=None, script=SCRIPT, **more):
    return subprocess.run([sys.executable, script, *words], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          env=env, timeout=60, **more)


def result(path, *words, **more):
    done = run(path, *words, "--json", **more)
    if done.returncode:
        raise AssertionError(done.stderr.decode())
    return json.loads(done.stdout)


class Events(unittest.TestCase):
    def test_all_kinds_are_found_where_they_are(self):
        found = result(all_kinds())
        self.assertEqual(list(found), ["video", "fps", "duration", "aggressive", "fade_removal_profile", "events", "keep_segments"])
        self.assertEqual(found["fps"], 25)
        self.assertAlmostEqual(found["duration"], 11.9, delta=0.1)
        self.assertEqual([e["type"] for e in found["events"]], ["cut", "fade", "dissolve", "wipe"])
        self.assertEqual([s["index"] for s in found["keep_segments"]], [1, 2, 3, 4, 5])
        for number, (event, (start, end)) in enumerate(zip(found["events"], ((2, 2), (4, 5), (6.7, 7.5), (8.9, 9.7))), 1):
            self.assertEqual(list(event), ["index", "type", "start", "end", "duration", "score", "source"])
            self.assertEqual(event["index"], number)
            self.assertAlmostEqual(event["start"], start, delta=0.13)
            self.assertAlmostEqual(event["end"], end, delta=0.13)

    def test_what_is_no_change_of_scene_is_not_reported(self):
        traps = {
            "flash": "lutyuv=y='clip(val+140,16,235)':enable='between(n,40,42)'",
            "strobe": "lutyuv=y='clip(val*1.8,16,235)':enable='lt(mod(n,8),2)'",
            "flicker": "eq=brightness='0.1*sin(n*1.9)':eval=frame",
            "light": "eq=brightness='-0.2*gt(n,40)':eval=frame",
            "caption": "drawbox=x=40:y=140:w=240:h=30:color=white:t=fill:enable='between(n,30,60)'",
            "inset": "drawbox=x=200:y=10:w=110:h=70:color=blue:t=fill:enable='between(n,30,60)'",
            "grain": "noise=alls=40:allf=t",
        }
        scenes = {name: "mandelbrot=s=320x180:r=25,trim=duration=4," + effect for name, effect in traps.items()}
        scenes["waves"] = ("nullsrc=s=64x36:r=25,geq=lum='128+60*sin(X*0.05+T*1.7)+50*cos(Y*0.15-T*1.3+X*0.1)':"
                           "cb='128+50*sin(Y*0.1+T*1.7)':cr='128+50*cos(X*0.15-T*1.3)',trim=duration=10")
        scenes["life"] = "life=s=320x180:r=25:seed=3,trim=duration=5"
        for name, scene in scenes.items():
            with self.subTest(name):
                path = place(name + ".mp4")
                ffmpeg("-f", "lavfi", "-i", scene + ",format=yuv420p", "-c:v", "libx264", "-preset", "ultrafast", path)
                self.assertEqual(result(path)["events"], [])

    def test_joins_of_ffmpegs_sources(self):
        """Where a transition cannot be seen cell by cell: a slide of plain colours, a soft wipe, one that lasts 2 s."""
        for name, first, second, join, start, end in (
                ("slide", "testsrc2", "rgbtestsrc", "slideleft", 2, 2.4), ("soft", "yuvtestsrc", "smptebars", "smoothup", 2, 3),
                ("lively", "life=seed=3", "testsrc", "wiperight", 2, 3.4), ("chroma", "yuvtestsrc", "color=0x807878", "fade", 2, 4)):
            with self.subTest(name):
                path = place("join-%s.mp4" % name)
                graph = ";".join("%s%ss=320x180:r=25,trim=duration=5,format=yuv420p,setsar=1,fps=25[%s]" %
                                 (source, ":" if "=" in source else "=", label) for source, label in ((first, "a"), (second, "b")))
                ffmpeg("-filter_complex", graph + f";[a][b]xfade={join}:duration={end - start}:offset={start}[v]", "-map", "[v]",
                       "-c:v", "libx264", "-preset", "ultrafast", path)
                events = result(path)["events"]
                self.assertEqual(len(events), 1, events)
                self.assertAlmostEqual(events[0]["start"], start, delta=0.2)
                self.assertAlmostEqual(events[0]["end"], end, delta=0.2)


class Segments(unittest.TestCase):
    def test_cut_clips_hold_exactly_their_own_pictures(self):
        """Every frame rate, with the words of a real job: each clip has the pictures of its shot, and no other."""
        for rate in ("24000/1001", "25", "30000/1001", "50", "60000/1001", "60"):
            with self.subTest(rate):
                path = clip("rate-%s.mp4" % rate.replace("/", "-"), [(1.3, "cut"), (1.1, "cut"), (1.2, "")], rate)
                pictures = self.pictures(path)
                found = result(path)
                self.assertEqual([e["type"] for e in found["events"]], ["cut", "cut"])
                kept = []
                for segment in found["keep_segments"]:
                    out = place("out.mp4")
                    ffmpeg("-ss", "%.3f" % segment["start"], "-i", path, "-t", "%.3f" % (segment["end"] - segment["start"]),
                           "-strict", "-2", out)
                    kept.append(len(self.pictures(out)))
                starts = [round(e["end"] * eval(rate)) for e in found["events"]]
                self.assertEqual(kept, [starts[0], starts[1] - starts[0], len(pictures) - starts[1]])

    @staticmethod
    def pictures(path):
        return subprocess.run(["ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "packet=pts", "-of",
                               "csv=p=0", path], stdout=subprocess.PIPE, check=True).stdout.split()

    def test_profiles_keep_ever_less_and_cuts_stay(self):
        kept, cuts = [], []
        for profile in PROFILES:
            found = result(all_kinds(), "--fade-removal-profile", profile)
            self.assertEqual(found["fade_removal_profile"], profile)
            self.assertEqual(found["aggressive"], profile in ("aggressive", "extreme"))
            kept.append(sum(s["end"] - s["start"] for s in found["keep_segments"]))
            cuts.append([(e["start"], e["end"]) for e in found["events"] if e["type"] == "cut"])
        self.assertEqual(kept, sorted(set(kept), reverse=True))
        self.assertEqual(cuts, cuts[:1] * 4)

    def test_skip(self):
        whole, found = result(all_kinds()), result(all_kinds(), "--skip-start-seconds", "3.01")
        self.assertEqual(found["duration"], whole["duration"])
        self.assertEqual([e["type"] for e in found["events"]], ["fade", "dissolve", "wipe"])
        self.assertEqual(found["events"][0]["end"], whole["events"][1]["end"])
        self.assertEqual(found["keep_segments"][0]["start"], 3.04)
        found = result(all_kinds(), "--skip-start-seconds", "500")
        self.assertEqual((found["events"], found["keep_segments"]), ([], []))

    def test_times_count_from_the_start_of_the_container(self):
        path = place("late.ts")
        ffmpeg("-i", all_kinds(), "-f", "lavfi", "-i", "sine", "-shortest", "-c:v", "copy", "-output_ts_offset", "40", path)
        late, plain = result(path), result(all_kinds())
        self.assertEqual([e["type"] for e in late["events"]], [e["type"] for e in plain["events"]])
        offset = late["events"][0]["end"] - plain["events"][0]["end"]
        self.assertLess(abs(offset), 0.2)  # the sound may begin a little before the picture
        for a, b in zip(late["events"], plain["events"]):
            self.assertAlmostEqual(a["end"] - b["end"], offset, delta=0.03)


class Run(unittest.TestCase):
    def fails(self, *words, **more):
        done = run(*words, "--json", **more)
        self.assertNotEqual(done.returncode, 0)
        self.assertEqual(done.stdout, b"")
        text = "".join(line for line in done.stderr.decode("utf-8").splitlines(True) if not line.startswith("正在分析画面"))
        self.assertEqual((text.count("\n"), text[-1]), (1, "\n"))
        self.assertTrue(any("\u4e00" <= c <= "\u9fff" for c in text), text)
        self.assertNotIn("检测脚本分析这个视频时出错", text)

    def test_failures_are_one_chinese_line(self):
        ffmpeg("-f", "lavfi", "-i", "sine=d=1", place("sound.m4a"))
        ffmpeg("-f", "lavfi", "-i", "testsrc2=d=1", "-frames:v", "1", place("cover.png"))
        ffmpeg("-i", place("sound.m4a"), "-i", place("cover.png"), "-map", "0", "-map", "1", "-c", "copy", "-disposition:v",
               "attached_pic", place("cover.m4a"))
        Path(place("empty.mp4")).touch()
        Path(place("garbage.mp4")).write_bytes(bytes(range(256)) * 400)
        os.mkfifo(place("pipe.mp4"))
        for name in ("missing.mp4", "missing/\n.mp4", "empty.mp4", "garbage.mp4", "sound.m4a", "cover.m4a", "pipe.mp4", "."):
            for language in ("C", "de_DE.ISO-8859-1"):
                with self.subTest(name, language=language):
                    self.fails(place(name), env=dict(os.environ, LC_ALL=language))
        for words in ((), ("--nonsense",), (place("x"), "--fade-removal-profile", "Standard"), (place("x"), "--skip-start-seconds")):
            with self.subTest(words):
                self.fails(*words)
        with self.subTest("no ffmpeg"):
            self.fails(all_kinds(), env=dict(os.environ, PATH=place("nowhere"), XDG_CACHE_HOME=place("other")))

    def test_the_script_needs_its_package_beside_it(self):
        script = place("script.py")
        os.symlink(SCRIPT, script)
        self.assertIn("用法", run("--help", script=script).stdout.decode())
        os.remove(script)
        shutil.copy(SCRIPT, script)
        self.fails(all_kinds(), script=script, cwd="/")

    def test_odd_paths(self):
        source = all_kinds()
        for name in (b"-x.mp4", b"100%20d.mp4", b"a:b?c#d.mp4", b"new\nline.mp4", "视频.mp4".encode(), b"not-utf8-\xff.mp4"):
            with self.subTest(name):
                try:
                    shutil.copy(source, os.path.join(os.fsencode(FOLDER), name))
                except OSError:
                    continue  # this file system takes only UTF-8
                done = run(name, "--json", cwd=FOLDER, env=dict(os.environ, LC_ALL="C"))
                self.assertEqual(len(json.loads(done.stdout)["events"]), 4)

    def test_damaged_videos_give_what_can_be_read(self):
        path = place("whole.mkv")
        ffmpeg("-i", all_kinds(), "-c", "copy", path)
        data = bytearray(Path(path).read_bytes())
        data[len(data) // 2:len(data) // 2 + 3000] = bytes(3000)
        damaged = place("damaged.mkv")
        Path(damaged).write_bytes(data[:len(data) * 4 // 5])
        found = result(damaged)
        self.assertIn("cut", [e["type"] for e in found["events"]])
        self.assertGreater(len(found["keep_segments"]), 1)

    def test_a_second_look_comes_from_the_cache(self):
        first = result(small())
        no_decoding = dict(os.environ, PATH=place("nowhere"))
        self.assertEqual(result(small(), env=no_decoding), first)
        self.assertEqual(result(small(), "--no-cache"), first)

    def test_bad_entries_of_the_cache_count_as_absent(self):
        first, cache = result(small()), Cache(small(), 0)
        file = os.path.join(cache.place, cache.name)
        good = zlib.decompress(Path(file).read_bytes())
        head, _, times = good.partition(b"\n")

        def crafted(more_times=b"", **other):
            return zlib.compress(json.dumps(dict(json.loads(head), **other)).encode() + b"\n" + times + more_times)

        write = Path(file).write_bytes
        kinds = {
            "nonsense": lambda: write(b"nonsense"),
            "cut off": lambda: write(zlib.compress(good)[:-100]),
            "no object": lambda: write(zlib.compress(b"[" * 100_000)),
            "event of another shape": lambda: write(crafted(events=[[1, 2]])),
            "event outside": lambda: write(crafted(events=[["cut", 0, 10 ** 15, 0.9, "", ""]])),
            "event without a score": lambda: write(crafted(events=[["cut", 0, 0, None, "", ""]])),
            "times that fall": lambda: write(crafted(bytes(7) + b"\x80")),
            "too large when unpacked": lambda: write(zlib.compress(bytes((1 << 26) + 1))),
            "pipe": lambda: os.mkfifo(file),
            "link": lambda: os.symlink(place("target"), file),
            "folder": lambda: os.mkdir(file),
        }
        Path(place("target")).write_bytes(crafted(events=[]))
        if os.geteuid() == 0:
            kinds["of somebody else"] = lambda: (write(crafted(events=[])), os.chown(file, 12345, -1))
        for kind, make in kinds.items():
            with self.subTest(kind):
                if os.path.lexists(file):
                    os.unlink(file)
                make()
                self.assertEqual(result(small()), first)
                if kind == "folder":
                    os.rmdir(file)

    def test_the_cache_is_bounded_and_deletes_only_its_own(self):
        folder = place("full")
        os.makedirs(folder)
        for n, name in enumerate(("film.mkv", "a" * 40, "b" * 40 + ".123", "c" * 40, "d" * 40)):
            name = os.path.join(folder, name)
            with open(name, "wb") as file:
                file.truncate(100 << 20)
            os.utime(name, (n, n))
        with_link = os.path.join(FOLDER, "linked", "kestrel")
        os.makedirs(with_link)
        os.symlink(folder, os.path.join(with_link, "detector"))
        result(small(), env=dict(os.environ, XDG_CACHE_HOME=os.path.dirname(with_link)))
        self.assertEqual(len(os.listdir(folder)), 5)  # a link is no folder of ours
        number = os.open(folder, os.O_RDONLY)
        prune(number)
        os.close(number)
        self.assertEqual(sorted(os.listdir(folder)), ["c" * 40, "d" * 40, "film.mkv"])

    def test_an_ffmpeg_that_ends_early(self):
        real = shutil.which("ffmpeg")
        killed = with_false_ffmpeg("killed", '%s "$@"\nkill -9 $$\n' % real)
        stopped = with_false_ffmpeg("stopped", '%s "$@"\nexit 255\n' % real)
        video = clip("early.mp4", [(1.5, "cut"), (2.5, "cut"), (2, "")])
        for environment in (killed, stopped):
            done = run(video, "--json", env=environment)
            self.assertEqual((done.returncode, done.stdout), (1, b""))
            self.assertIn("中止", done.stderr.decode())
        done = run(video, "--json", env=with_false_ffmpeg("short", 'exec %s -t 2 "$@"\n' % real))
        self.assertEqual(len(json.loads(done.stdout)["events"]), 1)
        self.assertIn("画面在 00:00:02 处就结束了", done.stderr.decode())
        self.assertEqual(len(result(video)["events"]), 2)  # it was not kept

    def test_signals_end_it_and_its_ffmpeg(self):
        started = place("started")
        os.mkfifo(started)
        reader = os.open(started, os.O_RDWR)
        # It has been read from when it says that it runs: by then the detector knows it.
        environment = with_false_ffmpeg("endless", "head -c 1000000 /dev/zero\necho $$ > %s\nexec sleep 100\n" % started)
        for number in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(number):
                process = subprocess.Popen([sys.executable, SCRIPT, all_kinds(), "--json", "--no-cache"],
                                           stderr=subprocess.PIPE, env=environment)
                self.assertTrue(select.select([reader], [], [], 60)[0])
                child = int(os.read(reader, 100))
                process.send_signal(number)
                _, errors = process.communicate(timeout=60)
                self.assertEqual((process.returncode, errors), (-number, b""))
                with self.assertRaises(ProcessLookupError):
                    os.kill(child, 0)
        os.close(reader)

    def test_a_signal_while_the_cache_is_written(self):
        code = ("import os, sys; sys.path.insert(0, %r); from kestrel_detector.main import main; replace = os.replace\n"
                "os.replace = lambda *a, **b: (replace(*a, **b), os.kill(os.getpid(), 15)); main()" % PROJECT)
        environment = dict(os.environ, XDG_CACHE_HOME=place("stopped-cache"))
        done = subprocess.run([sys.executable, "-c", code, all_kinds()], stdout=subprocess.PIPE, env=environment, timeout=60)
        self.assertEqual((done.returncode, done.stdout), (-signal.SIGTERM, b""))

    def test_a_flood_of_messages_blocks_nothing(self):
        flood = with_false_ffmpeg("flood", "head -c 3000000 /dev/zero >&2\nexec %s \"$@\"\n" % shutil.which("ffmpeg"))
        self.assertEqual(len(result(all_kinds(), "--no-cache", env=flood)["events"]), 4)

    def test_ten_megabytes_of_metadata_are_read_past(self):
        metadata, video = place("long.txt"), place("long.mkv")
        Path(metadata).write_text(";FFMETADATA1\ncomment=" + ("x" * 1000 + "\\\n") * 10_000 + "\n")
        ffmpeg("-i", all_kinds(), "-f", "ffmetadata", "-i", metadata, "-map_metadata", "1", "-c", "copy", video)
        self.assertEqual(len(result(video)["events"]), 4)

    def test_progress_tells_percentage_and_time_left(self):
        lines, say = [], output.say
        output.say = lines.append
        try:
            progress = output.Progress(20_000_000)
            progress.show(30_000_000, 60_000_000)  # at once: too early for a line
            progress.began -= 10
            progress.shown -= 10
            progress.show(30_000_000, 60_000_000)
        finally:
            output.say = say
        self.assertEqual(lines, ["正在分析画面：25.0%，剩余约 00:00:30"])

    def test_standard_streams(self):
        reader, writer = os.pipe()
        os.write(writer, b"q")
        run(all_kinds(), "--json", "--no-cache", stdin=reader)
        self.assertEqual(os.read(reader, 9), b"q")  # it left standard input alone
        os.close(reader)
        os.close(writer)
        shell = "%s %s %s --json --no-cache" % (sys.executable, SCRIPT, all_kinds())
        for tail in ("2>&-", "<&-", "| head -c 1"):
            with self.subTest(tail):
                done = subprocess.run(shell + " " + tail, shell=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                self.assertEqual(done.returncode, 0)
                self.assertNotIn(b"Traceback", done.stderr)


if __name__ == "__main__":
    unittest.main()
