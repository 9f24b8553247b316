#!/usr/bin/env python3
"""Finds the scene changes of a video and proposes the segments to keep.

    detect_scene_changes.py VIDEO [--skip-start-seconds S] [--fade-removal-profile P]
        [--fade-left-padding-seconds L] [--fade-right-padding-seconds R] [--json]

The result is one JSON document on standard output; events and segments are numbered from 1, all times are seconds from
the start of the file as ffmpeg's -ss counts them. Progress is written to standard error in Chinese. A failure is one line
on standard error and a non-zero exit status. Only Python's standard library and ffmpeg (4.4 or later) are used.

How it works: one ffmpeg decodes the video and hands over every picture as 32x18 small ones with its true timestamp.
A cheap distance is measured for every picture; only where something happens do the deciders look closer. What they
found is cached, so another profile or padding needs no second decoding.

The sections, in the order of the data: command line, frames (ffmpeg), measures, the block, the deciders (cuts, fades,
dissolves and wipes), analysis, cache, profiles, segments, output.
"""

import array
import bisect
import functools
import json
import math
import os
import re
import selectors
import shutil
import signal
import subprocess
import sys
import time
import zlib
from itertools import accumulate, repeat
from operator import add, itemgetter, mul, sub

VERSION = "3"  # of the measures and decisions; part of the cache's key

# --- failures -------------------------------------------------------------------------------------------------------


class Failure(Exception):
    """What the user must read: one complete Chinese sentence."""


class Interrupted(BaseException):
    """SIGINT or SIGTERM arrived."""

    def __init__(self, number):
        super().__init__(number)
        self.number = number


def printable(path):
    """A path as one line of valid text, whatever bytes it holds."""
    text = os.fsencode(path).decode("utf-8", "replace")
    return "".join(c if c.isprintable() else "\N{REPLACEMENT CHARACTER}" for c in text)


# --- command line ---------------------------------------------------------------------------------------------------

PROFILES = ("conservative", "standard", "aggressive", "extreme")
USAGE = """用法：detect_scene_changes.py 视频 [选项]
  --skip-start-seconds 秒           跳过开头
  --fade-removal-profile 策略       conservative、standard、aggressive（默认）或 extreme
  --fade-left-padding-seconds 秒    渐变之前多去掉的时间（默认 0.12）
  --fade-right-padding-seconds 秒   渐变之后多去掉的时间（默认 0.24）
  --json                            输出 JSON（默认输出便于阅读的列表）
  --no-cache                        不使用缓存"""


class Options:
    def __init__(self, words):
        self.video = None
        self.skip_start_seconds = 0.0
        self.fade_removal_profile = "aggressive"
        self.fade_left_padding_seconds, self.fade_right_padding_seconds = 0.12, 0.24
        self.json = self.no_cache = False
        words = list(words)
        if words and not words[0].startswith("--"):
            self.video = words.pop(0)  # the first word is the video, also when it begins with a dash
        while words:
            self.take(words.pop(0), words)
        if self.video is None:
            raise Failure("没有指定视频文件。")

    def take(self, word, rest):
        name, given, value = word.partition("=")
        field = name[2:].replace("-", "_")
        if name in ("--json", "--no-cache") and not given:
            setattr(self, field, True)
        elif name in ("--skip-start-seconds", "--fade-left-padding-seconds", "--fade-right-padding-seconds"):
            setattr(self, field, seconds(name, value if given else self.value(name, rest)))
        elif name == "--fade-removal-profile":
            self.fade_removal_profile = value if given else self.value(name, rest)
            if self.fade_removal_profile not in PROFILES:
                raise Failure("不认识的策略：" + printable(self.fade_removal_profile))
        elif self.video is None and not word.startswith("--"):
            self.video = word
        else:
            raise Failure("不认识的参数：" + printable(word))

    @staticmethod
    def value(name, rest):
        if not rest:
            raise Failure("参数 " + name + " 缺少值。")
        return rest.pop(0)


def seconds(name, text):
    """A number of seconds, not negative and not absurdly large."""
    try:
        value = float(text)
    except ValueError:
        value = float("nan")
    if value != value:
        raise Failure("参数 " + name + " 不是秒数：" + printable(text))
    return min(max(0.0, value), 1e9)


# --- frames: one ffmpeg, small pictures, true timestamps ------------------------------------------------------------

WIDTH, HEIGHT = 32, 18
LUMA = WIDTH * HEIGHT
CHROMA = LUMA // 4
FRAME = LUMA + 2 * CHROMA
LEAD_IN = 4_000_000  # microseconds decoded before a skip, so that a change right at the skip has a before


def ffmpeg_command(ffmpeg, path, seek, timestamp_fd, sync):
    """The words for ffmpeg: pictures go to standard output, one line of timestamp each to `timestamp_fd`.

    The loop filter only smooths block edges, which nobody sees at 32x18; skipping it pays for the scaling.
    """
    filters = (
        f"scale={WIDTH}:{HEIGHT}:flags=area,format=yuv420p,settb=1/1000000,"
        f"metadata=add:key=k:value=1,metadata=print:file=pipe\\\\:{timestamp_fd}"
    )
    words = [ffmpeg, "-hide_banner", "-nostdin", "-nostats", "-loglevel", "info"]
    words += ["-skip_loop_filter", "all", "-filter_threads", "1"]
    if seek:
        words += ["-ss", "%.6f" % (seek / 1e6)]
    # The file's own timestamps: otherwise ffmpeg shifts some formats by the streams that are not decoded here.
    words += ["-copyts", "-i", b"file:" + os.fsencode(path), "-an", "-sn", "-dn", "-vf", filters]
    words += [sync, "passthrough", "-flush_packets", "0", "-f", "rawvideo", "-pix_fmt", "yuv420p", "pipe:1"]
    return words


class Header:
    """What ffmpeg says about the file before it decodes: length, start and the kinds of streams."""

    LENGTH = re.compile(rb"^  Duration: (\d+):(\d\d):(\d\d(?:\.\d+)?)", re.M)
    START = re.compile(rb"^  Duration: .*?, start: (-?[\d.]+)", re.M)
    VIDEO = re.compile(rb"^\s+Stream #0:.*?: Video: (.*)$", re.M)

    def __init__(self):
        self.text = b""
        self.complete = False

    def feed(self, data):
        if not self.complete:
            self.text += data
            self.complete = b"\nOutput #0" in self.text
            self.text = self.text.split(b"\nOutput #0")[0][-(1 << 20):]

    @property
    def opened(self):
        return b"\nInput #0" in b"\n" + self.text

    @property
    def duration(self):
        """Microseconds, or None where the file does not say."""
        found = self.LENGTH.search(self.text)
        if not found:
            return None
        hours, minutes, rest = found.groups()
        return int(hours) * 3_600_000_000 + int(minutes) * 60_000_000 + round(float(rest) * 1e6)

    @property
    def start(self):
        """The timestamp in microseconds at which the file's time 0 lies, as ffmpeg's -ss counts it."""
        found = self.START.search(self.text)
        return round(float(found.group(1)) * 1e6) if found else 0

    @property
    def has_video(self):
        streams = self.VIDEO.findall(self.text.split(b"\nStream mapping:")[0])
        return any(b"(attached pic)" not in stream for stream in streams)


class Frames:
    """Runs ffmpeg and yields batches ([microseconds], [picture]); bounded memory, all pipes are read at once."""

    def __init__(self, path, seek=0, sync="-vsync"):
        self.path, self.seek, self.sync = path, seek, sync
        self.header = Header()
        self.process = None

    def __enter__(self):
        ffmpeg = shutil.which("ffmpeg")
        if not ffmpeg:
            raise Failure("找不到 ffmpeg，请先安装 ffmpeg。")
        self.stamps, stamp_writer = os.pipe()
        try:
            self.process = subprocess.Popen(
                ffmpeg_command(ffmpeg, self.path, self.seek, stamp_writer, self.sync),
                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                pass_fds=(stamp_writer,), bufsize=0)
        except OSError as error:
            os.close(self.stamps)
            raise Failure("无法启动 ffmpeg：" + (error.strerror or str(error))) from error
        finally:
            os.close(stamp_writer)
        widen(self.process.stdout)
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        os.close(self.stamps)
        self.process.stdout.close()
        self.process.stderr.close()

    def batches(self):
        """Ends when ffmpeg has closed all pipes. An empty batch is a heartbeat while ffmpeg is busy."""
        pictures, stamps, rest, line = [], [], bytearray(), b""
        with selectors.DefaultSelector() as selector:
            for fd, kind in ((self.process.stdout.fileno(), "picture"), (self.stamps, "stamp"),
                             (self.process.stderr.fileno(), "message")):
                selector.register(fd, selectors.EVENT_READ, kind)
            while selector.get_map():
                for key, _ in selector.select(0.5):
                    data = os.read(key.fd, 1 << 18)
                    if not data:
                        selector.unregister(key.fd)
                    elif key.data == "message":
                        self.header.feed(data)
                    elif key.data == "picture":
                        rest += data
                        whole = len(rest) // FRAME * FRAME
                        block = bytes(memoryview(rest)[:whole])
                        del rest[:whole]
                        pictures += [block[i:i + FRAME] for i in range(0, whole, FRAME)]
                    else:
                        lines = (line + data).split(b"\n")
                        line = lines.pop()
                        stamps += [self.timestamp(text) for text in lines if text.startswith(b"frame:")]
                ready = min(len(pictures), len(stamps))
                if not self.header.complete and selector.get_map() and ready < 1000:
                    ready = 0  # the header tells what the timestamps count from
                start = self.header.start if ready else 0
                yield [None if stamp is None else stamp - start for stamp in stamps[:ready]], pictures[:ready]
                del pictures[:ready], stamps[:ready]

    @staticmethod
    def timestamp(text):
        """From "frame:7 pts:280000 pts_time:0.28"; None when the picture has no timestamp."""
        pts = text.split(b"pts:", 1)[1].split(None, 1)[0]
        return None if pts == b"NOPTS" else int(pts)


def widen(pipe):
    """Lets ffmpeg run ahead while pictures are analysed; where the system cannot, it waits a little more often."""
    try:
        import fcntl
        fcntl.fcntl(pipe, getattr(fcntl, "F_SETPIPE_SZ", 1031), 1 << 20)
    except (ImportError, OSError):
        pass


def regular_times(batches):
    """Makes timestamps strictly rising and fills missing ones: damaged and joined files have such faults."""
    last, step, shift = None, 40_000, 0
    for stamps, pictures in batches:
        times = []
        for stamp in stamps:
            if stamp is None:
                stamp = 0 if last is None else last + step
            elif last is not None:
                stamp += shift
                if stamp < last - 1_000_000:  # the timestamps begin anew
                    shift += last + step - stamp
                    stamp = last + step
                elif stamp <= last:
                    stamp = last + 1
                elif stamp - last < 1_000_000:
                    step = stamp - last
            last = stamp
            times.append(last)
        yield times, pictures


# --- measures -------------------------------------------------------------------------------------------------------

@functools.lru_cache(maxsize=128)
def lanes(length):
    """Integers with, in every 16 bits: the low byte full, the lowest bit, the bit above the low byte."""
    low = int.from_bytes(b"\xff\x00" * (length // 2), "little")
    return low, low // 255, low // 255 << 8


def differences(a, b):
    """The absolute differences of two byte strings, summed two by two. All bytes are subtracted at once, as two long
    integers with room for a carry between the bytes: several times as fast as one by one."""
    length = len(a) + len(a) % 2
    low, one, above = lanes(length)
    a, b = int.from_bytes(a, "little"), int.from_bytes(b, "little")
    result = 0
    for a, b in ((a & low, b & low), ((a >> 8) & low, (b >> 8) & low)):
        raw = (a | above) - b  # 256 + a - b in every place of 16 bits
        positive = (raw >> 8) & one
        flip = low + positive - (positive << 8)  # 255 where a < b
        result += ((raw & low) ^ flip) + one - positive
    places = array.array("H", result.to_bytes(length, "little"))
    if sys.byteorder == "big":
        places.byteswap()
    return places


def distance(a, b):
    """Mean absolute difference of two pictures, 0 to 255."""
    return sum(differences(a, b)) / len(a)


def distances(old, new):
    """The distances between the pictures of two lists, pair by pair."""
    result = []
    for k in range(0, len(new), 32):
        size = len(new[0])
        places = differences(b"".join(old[k:k + 32]), b"".join(new[k:k + 32]))
        result += [sum(places[i:i + size // 2]) / size for i in range(0, len(places), size // 2)]
    return result


def dot(a, b):
    return sum(map(mul, a, b))


def correlation(a, b):
    """Of two planes: 1 for the same structure whatever the light, around 0 for unrelated pictures."""
    n = len(a)
    mean_a, mean_b = sum(a) / n, sum(b) / n
    variance_a, variance_b = dot(a, a) / n - mean_a * mean_a, dot(b, b) / n - mean_b * mean_b
    if variance_a < 2 or variance_b < 2:  # a plain picture has no structure
        return 0.0
    return (dot(a, b) / n - mean_a * mean_b) / (variance_a * variance_b) ** 0.5


def fit_line(xs, ys):
    """Least squares: (slope, intercept)."""
    n = len(xs)
    mean_x, mean_y = sum(xs) / n, sum(ys) / n
    across = sum((x - mean_x) ** 2 for x in xs)
    slope = sum((x - mean_x) * (y - mean_y) for x, y in zip(xs, ys)) / across if across else 0.0
    return slope, mean_y - slope * mean_x


def middle(values):
    return sorted(values)[len(values) // 2]


# --- the block: what the deciders see -------------------------------------------------------------------------------

SAMPLE = 80_000  # microseconds between the samples that are looked at for gradual changes
LENGTHS = (3, 4, 5, 7, 9, 12, 16, 21, 28, 37, 49)  # in samples: the lengths of gradual changes that are looked for
WEAK = 0.5  # the score below which a find is only good enough for the extreme profile


class Event:
    """A transition, times in microseconds. `first` is the first picture that is not purely the old scene, `last` the
    first purely new one; for a plain cut both are the first new picture. `edge` tells what joins no two scenes: the
    "opening" and "closing" fades, and "black" stretches between cuts."""

    def __init__(self, kind, first, last, score, source, edge=""):
        self.kind, self.first, self.last, self.score, self.source, self.edge = kind, first, last, score, source, edge


class Block:
    """The stretch of the video that is in memory: times in microseconds, pictures without static black bars, the
    distance of each to the one before it (the step), and for the samples what gradual changes are found by. Everything
    is measured once, when a picture comes in."""

    def __init__(self):
        self.times, self.whole_pictures = [], []
        self.opening, self.closing = True, False  # whether the video's first or last picture is in here
        self.frame = 40_000  # the usual time between two pictures
        self.crop = (0, 0, WIDTH, HEIGHT)
        self.clear()

    def clear(self):
        """Forgets all measures."""
        left, top, right, bottom = self.crop
        self.width, self.height = right - left, bottom - top
        self.luma = self.width * self.height
        self.pictures, self.steps, self.steady_steps, self.luma_ranges, self.details = [], [], {}, {}, {}
        self.samples, self.ranges, self.coarse, self.norms, self.products, self.due = [], [], [], [], [], None
        self.candidates = []  # windows that may hold a gradual change: (trust, first, last)
        self.verdicts = {}    # what the deciders found, so that it is worked out once

    def extend(self, times, pictures):
        known = len(self.times)
        self.times += times
        self.whole_pictures += pictures
        if not known or known < 100:
            self.frame = middle(list(map(sub, self.times[1:], self.times))) if len(self.times) > 1 else 40_000
        self.measure(known)

    def measure(self, known):
        """Measures the pictures from index `known` on."""
        new = self.whole_pictures[known:]
        if self.luma < LUMA:
            new = [cropped(picture, *self.crop) for picture in new]
        previous = self.pictures[-1:] or new[:1]
        self.pictures += new
        self.steps += distances((previous + new)[:len(new)], new)
        for i in range(known, len(self.times)):
            if self.due is None or self.times[i] >= self.due:
                self.due = self.times[i] + SAMPLE - self.frame // 3
                self.samples.append(i)
                self.ranges.append(luma_range(self, i))
                self.coarse.append(coarse(self.whole_pictures[i]))
                self.norms.append(dot(self.coarse[-1], self.coarse[-1]))
                self.products.append({})
                last = len(self.samples) - 1
                for n in LENGTHS:
                    outside = max(2, n * 2 // 5)
                    self.consider(last - outside - n, last - outside, outside)

    def consider(self, k0, k1, outside):
        if k0 >= 2:  # something of the old scene must be seen, as of the new one
            trust = way_between(self, k0, k1, outside)
            if trust:
                self.candidates.append((trust, self.times[self.samples[k0]], self.times[self.samples[k1]]))

    def end(self):
        """No more pictures come: the windows that reach to the end are looked at too."""
        self.closing = True
        last = len(self.samples) - 1
        for n in LENGTHS:
            outside = max(2, n * 2 // 5)
            for k1 in range(max(n, last - outside + 1), last - 1):
                self.consider(k1 - n, k1, outside)

    def fit_bars(self):
        """Masks the static black bars of all that is in memory; measures anew when they have changed."""
        crop = bars([self.whole_pictures[i] for i in self.samples])
        if crop != self.crop:
            self.crop = crop
            self.clear()
            self.measure(0)

    def drop(self, before):
        """Forgets the pictures before this time."""
        gone = bisect.bisect_left(self.times, before)
        if not gone:
            return
        self.opening = False
        del self.times[:gone], self.whole_pictures[:gone], self.pictures[:gone], self.steps[:gone]
        self.steady_steps, self.luma_ranges, self.details = {}, {}, {}
        past = bisect.bisect_left(self.samples, gone)
        del self.samples[:past], self.ranges[:past], self.coarse[:past], self.norms[:past], self.products[:past]
        self.samples = [i - gone for i in self.samples]
        start = self.times[0]
        self.candidates = [c for c in self.candidates if c[1] >= start]
        self.verdicts = {key: verdict for key, verdict in self.verdicts.items() if key[0] >= start}

    def product(self, a, b):
        """The dot product of the coarse pictures of the samples a and b."""
        if a < b:
            a, b = b, a
        known = self.products[a].get(a - b)
        if known is None:
            known = self.products[a][a - b] = sum(map(mul, self.coarse[a], self.coarse[b]))
        return known

    def at(self, microseconds):
        """The index of the first picture at or after this time, or the last one."""
        return min(len(self.times) - 1, bisect.bisect_left(self.times, microseconds))

    def around(self, i, microseconds):
        """The limits of the indices within this time of picture i, as for range()."""
        return (bisect.bisect_left(self.times, self.times[i] - microseconds),
                bisect.bisect_right(self.times, self.times[i] + microseconds))

    def luma_of(self, i):
        return self.pictures[i][:self.luma]


BAR = 26  # black bars are not brighter


def bars(pictures):
    """The part of the pictures inside static black bars: (left, top, right, bottom), all even."""
    whole = (0, 0, WIDTH, HEIGHT)
    last = pictures[-1]
    sides = (last[:WIDTH], last[LUMA - WIDTH:LUMA], last[0:LUMA:WIDTH], last[WIDTH - 1:LUMA:WIDTH])
    if all(max(side) > BAR for side in sides) or len(pictures) < 5:
        return whole
    pictures = pictures[::max(1, len(pictures) // 50)] + [last]
    brightest = bytes(map(max, *(p[:LUMA] for p in pictures)))
    rows = [y for y in range(HEIGHT) if max(brightest[y * WIDTH:(y + 1) * WIDTH]) > BAR]
    columns = [x for x in range(WIDTH) if max(brightest[x:LUMA:WIDTH]) > BAR]
    if not rows or not columns:
        return whole
    left, top = (columns[0] + 1) // 2 * 2, (rows[0] + 1) // 2 * 2
    right, bottom = (columns[-1] + 1) // 2 * 2, (rows[-1] + 1) // 2 * 2
    return (left, top, right, bottom) if right - left >= 8 and bottom - top >= 6 else whole


def cropped(picture, left, top, right, bottom):
    rows = [picture[y * WIDTH + left:y * WIDTH + right] for y in range(top, bottom)]
    for start in (LUMA, LUMA + CHROMA):
        rows += [picture[start + y * WIDTH // 2 + left // 2:start + y * WIDTH // 2 + right // 2]
                 for y in range(top // 2, bottom // 2)]
    return b"".join(rows)


# --- cuts: a step that stands out, then the vetoes ------------------------------------------------------------------

CUT_FLOOR = 4.0   # compression and grain stay below this mean difference
CUT_RATIO = 2.6   # a cut stands out against the motion around it by this factor
HELD = 0.2        # a repeated picture differs less than this part of the steps around it
JERK = 3.0        # a cut to a picture of much the same structure stands out by more
FLASH = 350_000   # the old picture is back within this time after a flash


def find_cuts(block, after, upto):
    """The cuts in the stretch of time after `after`, up to `upto`."""
    candidates = []
    earliest = 2 if block.opening else 1  # a single picture is no scene
    for i in range(max(earliest, bisect.bisect_right(block.times, after) - 3), min(len(block.times), block.at(upto) + 4)):
        if block.steps[i] >= CUT_FLOOR:
            new = i + 1 if is_mixed(block, i) else i
            step = block.steps[i] if new == i else distance(block.pictures[i - 1], block.pictures[new])
            strength = stands_out(block, i, new, step)
            if strength and not (is_light_change(block, i, new) or is_jerk(block, i, new, strength) or is_partial(block, i, new)
                                 or is_flash(block, i, new, step)):
                candidates.append((strength, i, new, step))
    for strength, i, new, step in candidates:
        if any(other > step and abs(j - i) <= 2 for _, j, _, other in candidates):
            continue
        if not after < block.times[i] <= upto:
            continue
        first, last = blend_around(block, i) if new == i else (i, new)
        score = min(0.99, 0.5 + 0.08 * min(strength, 4) + step / 300)
        if last - first > 2:
            yield Event("dissolve", block.times[first], block.times[last], score, "快速叠化")
        else:
            yield Event("cut", block.times[first], block.times[last], score, "画面突变")


def is_mixed(block, i):
    """Whether picture i is the one before and the one after laid over each other, as conversions of the frame rate leave it
    at a cut. The step to it is then only a part of the cut's."""
    if i + 1 >= len(block.pictures) or block.steps[i + 1] < CUT_FLOOR:
        return False
    old, mixed, new = block.pictures[i - 1:i + 2]
    if max(block.steps[i - 1:i] + block.steps[i + 2:i + 3]) > 0.4 * distance(old, new):
        return False  # in a ramp and beside flashes, it goes on
    way = Way(old, new)
    alpha = way(mixed) if way.energy else 0.0
    if not 0.12 < alpha < 0.88:
        return False
    off = sum(abs(m - o - alpha * w) for m, o, w in zip(mixed, old, way.line))
    return off < 0.12 * sum(map(abs, way.line))


def stands_out(block, i, new, step):
    """How far the `step` from the picture before i to the picture `new` exceeds what is usual around it, as a factor; 0 if it
    does not stand out."""
    steps = block.steps
    low, high = block.around(i, 250_000)
    others = [j for j in range(max(1, min(low, i - 3)), min(len(steps), max(high, i + 4))) if not i <= j <= new and not is_held(steps, j)]
    near = sorted(steps[j] for j in others) or [0.0]
    usual = near[len(near) * 6 // 10]
    if step >= CUT_RATIO * usual + 2.5:
        moving = near[-1] > 0.2 * step
        return 0 if moving and is_motion(block, i, new) else step / (usual + 2.5)
    if usual < 3.0:
        return 0
    # Perhaps the light flickers: compare without the change of brightness.
    still = sorted(steady_step(block, j) for j in others) or [0.0]
    usual, step = still[len(still) * 6 // 10], steady_step(block, i)
    if step >= CUT_RATIO * usual + 2.5:
        return 0 if is_motion(block, i, new) else step / (usual + 2.5)
    # Or the scene itself seethes evenly; then only a wholly other structure is a cut.
    if step >= 1.6 * still[-2 if len(still) > 1 else -1] and step >= 1.6 * usual + 2.5:
        if correlation(block.luma_of(i - 1), block.luma_of(i)) < 0.4 and shifted(block, i - 1, i) > 0.75:
            return step / (usual + 2.5)
    return 0


def is_held(steps, j):
    """Picture j repeats the one before between others that move: a scene with fewer pictures than the video goes in jerks,
    each of which would stand out against the repeats."""
    before, after = max(steps[max(1, j - 2):j], default=0.0), max(steps[j + 1:j + 3], default=0.0)
    return steps[j] < HELD * min(before, after)


def steady_step(block, i):
    """The step to picture i without a change of the overall brightness."""
    if i not in block.steady_steps:
        block.steady_steps[i] = measure_steady_step(block, i)
    return block.steady_steps[i]


def measure_steady_step(block, i):
    old, new = block.luma_of(i - 1), block.luma_of(i)
    shift = round((sum(new) - sum(old)) / len(new))
    return sum(map(abs, map(sub, map(sub, new, old), repeat(shift)))) / len(new)


def is_flash(block, i, new, step):
    """A flash or a strobe: the picture before the step returns soon after it, or this step is the return itself."""
    pictures, n = block.pictures, block.luma

    low, high = block.around(i, 250_000)
    near = sorted(block.steps[max(1, low):high])
    drift = near[len(near) * 6 // 10] if near else 0.0  # what moves in the scene meanwhile

    def same(a, b, frames):
        rest = distance(a, b)
        if rest < max(1.5, 0.12 * step, min(drift * frames, 0.25 * step)):
            return True
        return rest < 0.5 * step and correlation(a[:n], b[:n]) > 0.85

    _, high = block.around(i, FLASH)
    if any(same(pictures[i - 1], pictures[j], j - i + 1) for j in range(new + 1, high)):
        return True
    low, _ = block.around(i - 1, FLASH)
    return any(same(pictures[new], pictures[j], new - j) for j in range(low, i - 1))


def is_light_change(block, i, new):
    """The same structure after a change of light: exposure, lamps, flicker."""
    return correlation(block.luma_of(i - 1), block.luma_of(new)) > 0.92


def is_jerk(block, i, new, strength):
    """A step that hardly stands out and keeps most of the structure: lost pictures, a jolt, damaged film."""
    return strength < JERK and correlation(block.luma_of(i - 1), block.luma_of(new)) > 0.8


def is_partial(block, i, new):
    """Only a part of the picture changed: captions, a picture in the picture."""
    n = block.luma
    changes = list(map(abs, map(sub, block.pictures[i - 1], block.pictures[new])))
    enough = max(4.0, 0.35 * sum(changes[:n]) / n)
    luma = sum(map(enough.__lt__, changes[:n])) / n
    chroma = sum(map((4.0).__lt__, changes[n:])) / (len(changes) - n)
    return max(luma, chroma) < 0.4


def is_motion(block, i, new):
    """A quick camera movement: the new picture is the old one shifted."""
    return shifted(block, i - 1, new) < 0.4


def shifted(block, i, j, reach_x=8, reach_y=4):
    """How little of the difference between the pictures i and j is left when one is moved or zoomed best: 0 to 1."""
    old, new, width, height = block.luma_of(i), block.luma_of(j), block.width, block.height
    plain = distance(old, new)
    if not plain:
        return 1.0
    rests = {(0, 0): plain}

    def look(dx, dy):
        if (dx, dy) not in rests:
            above = old[max(0, dy) * width:(height + min(0, dy)) * width]
            below = new[max(0, -dy) * width:(height + min(0, -dy)) * width]
            # Rows run on into each other here; the columns of the seam are few and raise the difference only a little.
            x, y = (above[dx:], below[:len(below) - dx]) if dx >= 0 else (above[:dx], below[-dx:])
            rests[dx, dy] = distance(x, y)

    for dy in range(-reach_y, reach_y + 1, 2):
        for dx in range(-reach_x, reach_x + 1, 2):
            look(dx, dy)
    best_x, best_y = min(rests, key=rests.get)
    for dy in (best_y - 1, best_y, best_y + 1):
        for dx in (best_x - 1, best_x, best_x + 1):
            look(dx, dy)
    best = min(rests.values())
    for places in zooms(width, height):
        best = min(best, distance(bytes(map(old.__getitem__, places)), new),
                   distance(bytes(map(new.__getitem__, places)), old))
    return best / plain


ZOOMS = {}


def zooms(width, height):
    """For some factors, the cell from which each cell of an enlarged picture comes."""
    if (width, height) not in ZOOMS:
        ZOOMS[width, height] = [
            [round((height - 1) / 2 + (y - (height - 1) / 2) / factor) * width
             + round((width - 1) / 2 + (x - (width - 1) / 2) / factor) for y in range(height) for x in range(width)]
            for factor in (1.08, 1.16, 1.25, 1.4, 1.6)]
    return ZOOMS[width, height]


def blend_around(block, i):
    """Widens a cut by pictures that mix both scenes, as frame rate conversion leaves them: (first, last) as indices."""
    pictures, count = block.pictures, len(block.pictures)
    before, after = max(0, i - 4), min(count - 1, i + 3)
    # Stay on this side of other changes.
    total = distance(pictures[i - 1], pictures[i])
    old, new = pictures[before], pictures[after]
    way = list(map(sub, new, old))
    energy, base = dot(way, way), dot(old, way)
    if distance(old, pictures[i - 1]) > 0.6 * total or distance(new, pictures[i]) > 0.6 * total or not energy:
        return i, i

    def mixed(j):
        alpha = (dot(pictures[j], way) - base) / energy
        if not 0.12 < alpha < 0.88:
            return False
        off = sum(abs(f - o - alpha * w) for f, o, w in zip(pictures[j], old, way)) / len(way)
        return off < 0.12 * sum(map(abs, way)) / len(way)

    first = last = i
    while first - 1 > before and mixed(first - 1):
        first -= 1
    while last < after and mixed(last):
        last += 1
    return first, last


# --- fades: the picture shrinks to one plain colour and another grows out of it -------------------------------------

PLAIN = 12  # the range of luma (the middle nine tenths) of a plain picture
SHORT_BLACK = 500_000  # microseconds of black between two cuts that are one transition, not a scene of their own
LONGEST = {"黑场": 6_000_000, "白场": 4_000_000, "纯色": 1_500_000}  # microseconds of colour that still make one fade


def luma_range(block, i):
    """The range of the middle nine tenths of luma: small for a plain picture, even with a logo on it."""
    if i not in block.luma_ranges:
        values = sorted(block.pictures[i][:block.luma:2])
        edge = len(values) // 20
        block.luma_ranges[i] = values[-1 - edge] - values[edge]
    return block.luma_ranges[i]


def find_fades(block, upto):
    """The fades whose plain colour is shown not after `upto`."""
    samples, times, ranges = block.samples, block.times, block.ranges
    until = -1
    for k, extent in enumerate(ranges):
        if times[samples[k]] > upto:
            break
        if times[samples[k]] <= until or extent > min(ranges[max(0, k - 1):k + 2]):
            continue
        if extent > (0.4 if extent > PLAIN else 0.75) * max(ranges[max(0, k - 8):k + 9]):
            continue
        key = times[samples[k]], -2 if block.closing else -1
        if key not in block.verdicts:
            block.verdicts[key] = fade_at(block, samples[k])
        event = block.verdicts[key]
        if event and event.first > until:
            until = event.last
            yield event


def fade_at(block, near):
    """The fade whose plainest picture is close to index `near`, or None."""
    times, pictures, n = block.times, block.pictures, block.luma
    low, high = block.around(near, SAMPLE)
    lowest = plainest(block, min(range(low, high), key=lambda i: luma_range(block, i)))
    plain = pictures[lowest]
    quarter = (len(plain) - n) // 2
    y, u, v = middle(plain[:n]), middle(plain[n:n + quarter]), middle(plain[n + quarter:])
    colour = bytes([y]) * n + bytes([u]) * quarter + bytes([v]) * quarter
    memo = {}

    def energy(i):
        """How far picture i is from the plain colour: proportional to how much of the scene is visible."""
        if i not in memo:
            memo[i] = distance(pictures[i], colour)
        return memo[i]

    name = "黑场" if y < 32 else "白场" if y > 215 else "纯色"
    # A dull scene is not yet a colour: other colours than black and white must be perfectly plain.
    if luma_range(block, lowest) > (PLAIN if name != "纯色" else 2):
        return None
    out, soft_out = ramp(block, lowest, -1, energy, LONGEST[name])
    into, soft_in = ramp(block, lowest, +1, energy, LONGEST[name])
    opening, closing = out == EDGE and block.opening, into == EDGE and block.closing
    if (out in (None, EDGE) and not opening) or (into in (None, EDGE) and not closing) or (opening and closing):
        return None
    first = 0 if opening else block.at(out)
    last = len(times) - 1 if closing else block.at(into)
    # A wipe from or to a plain scene, and a scene that fills the black bit by bit, are no fades; nor do they go on with
    # the fade at the other side. Only when both sides are alike, the colour wipes over the one scene and off the other.
    uneven_out = unevenness(block, lowest, max(0, first - 1)) if soft_out else 0.0
    uneven_in = unevenness(block, lowest, last) if soft_in else 0.0
    if max(uneven_out, uneven_in) > UNEVEN and min(uneven_out, uneven_in) < 0.6 * UNEVEN:
        if not (soft_out and soft_in):
            return None
        if uneven_out > uneven_in:
            first, soft_out = foot_of(len(times), lowest, -1, energy), False
        else:
            last, soft_in = foot_of(len(times), lowest, +1, energy), False
    abrupt = not soft_out and not soft_in
    if abrupt and name != "黑场" or last - first < 3:
        return None
    if not opening and not closing:
        old, new = pictures[max(0, first - 1)], pictures[last]
        same = correlation(old[:n], new[:n]) > 0.9 and distance(old, new) < 12
        if same and (name == "纯色" or times[last] - times[first] < 700_000):
            return None  # a soft flash, or fog
        if name == "纯色" and distance(old, new) > 0.9 * (distance(old, colour) + distance(colour, new)):
            return None  # a dull scene passes through this colour on its way to another one
    if abrupt and not opening and not closing and times[last] - times[first] <= SHORT_BLACK:
        return Event("fade", times[first], times[last], 0.8, "短暂黑场")
    edge = "black" if abrupt else "opening" if opening else "closing" if closing else ""
    source = {"black": "停留", "opening": "开头淡入", "closing": "结尾淡出"}.get(edge, "淡出淡入") + "（" + name + "）"
    return Event("fade", times[first], times[last], 0.97 if soft_out and soft_in else 0.85, source, edge)


def plainest(block, near):
    """The purest black, white or colour of the plain pictures around index `near`: a dull scene stays plain while it
    fades."""
    def brightness(i):
        return sum(block.luma_of(i)) / block.luma

    def alike(i):
        return luma_range(block, i) <= PLAIN and (brightness(near) >= 32 or brightness(i) < 32)

    if luma_range(block, near) > PLAIN:
        return near
    low, high = near, near
    while low > 0 and block.times[near] - block.times[low] < 1_500_000 and alike(low - 1):
        low -= 1
    while high + 1 < len(block.times) and block.times[high] - block.times[near] < 1_500_000 and alike(high + 1):
        high += 1
    levels = {i: brightness(i) for i in range(low, high + 1)}
    darkest, brightest = min(levels, key=levels.get), max(levels, key=levels.get)
    if levels[darkest] < 32:
        return darkest
    return brightest if levels[brightest] > 215 else min(levels, key=lambda i: luma_range(block, i))


UNEVEN = 0.33


def unevenness(block, lowest, full):
    """How far the scene of picture `full` does not appear everywhere alike between it and the plain picture: 0 for a
    fade. The coarse pictures are compared, since what moves in the scene meanwhile must not matter."""
    plain = coarse(block.whole_pictures[lowest])
    scene = list(map(sub, coarse(block.whole_pictures[full]), plain))
    energy, size = dot(scene, scene), sum(map(abs, scene))
    offs = []
    for part in range(1, 8):
        seen = list(map(sub, coarse(block.whole_pictures[lowest + (full - lowest) * part // 8]), plain))
        level = dot(seen, scene) / max(1, energy)
        if 0.2 < level < 0.8:
            offs.append(sum(abs(a - level * b) for a, b in zip(seen, scene)) / size)
    return sum(offs) / max(1, len(offs))


def foot_of(count, lowest, way, energy):
    """The last plain picture of `count`, going `way` from the plainest."""
    foot = lowest
    while 0 <= foot + way < count and energy(foot + way) <= energy(lowest) + 1.5:
        foot += way
    return foot


EDGE = -1  # the plain colour lasts to the end of what there is


def ramp(block, lowest, way, energy, longest):
    """Where the scene is fully there, going `way` from the plain picture: (microseconds, whether it came gradually);
    (EDGE, False) where the plain colour lasts to the block's end, (None, False) where it lasts too long."""
    times, count = block.times, len(block.times)
    reach = max(2, round(120_000 / block.frame))
    foot = lowest
    while True:
        while 0 <= foot + way < count and energy(foot + way) <= energy(lowest) + 1.5:
            foot += way
        if abs(times[foot] - times[lowest]) > longest:
            return None, False
        if not 0 <= foot + way < count:
            return EDGE, False
        # Climb while the scene still grows noticeably.
        top = foot
        while 0 <= top + way < count and abs(times[top] - times[foot]) < 4_000_000:
            ahead = min(max(top + way * reach, 0), count - 1)
            if energy(ahead) < energy(top) * 1.02 + 0.25:
                break
            top += way
        full = middle([energy(i) for i in range(top, top + way * 3 * reach, way) if 0 <= i < count])
        if full >= 5:
            break
        foot = top + way  # only a flicker of the plain colour
        if not 0 <= foot < count:
            return EDGE, False
    inner = [i for i in range(foot, top + way, way) if 0.12 * full < energy(i) < 0.88 * full]
    if len(inner) >= 2:
        moments, levels = [times[i] for i in inner], [energy(i) for i in inner]
        slope, offset = fit_line(moments, levels)
        bend = max(abs(slope * t + offset - e) for t, e in zip(moments, levels))
        if slope * way > 0 and bend < 0.2 * full:
            limit = (full - offset) / slope
            if abs(limit - times[top]) < abs(times[top] - times[foot]) / 3 + 2 * block.frame:
                return round(limit - way * block.frame / 4), True
    # Abrupt: the first picture of the plain colour, or the first of the scene.
    beyond = foot + way
    return times[beyond if way > 0 else foot], False


# --- dissolves and wipes: a way from one steady picture to another --------------------------------------------------

CELL = 12  # the coarse picture's values are sums over cells of 4x3


def coarse(picture):
    """The sums of 8x6 cells of luma and 4x3 of both chroma planes: what moves in the scene hardly changes them.

    All cells are added at once, in the 16-bit places of one long integer, the neighbours shifted over each other."""
    low, _, _ = lanes(FRAME)
    whole = int.from_bytes(picture, "little")
    pairs = (whole & low) + ((whole >> 8) & low)
    fours = pairs + (pairs >> 16)
    result = []
    chroma = WIDTH // 2, HEIGHT // 2
    for start, width, rows in ((0, WIDTH, HEIGHT), (LUMA, *chroma), (LUMA + CHROMA, *chroma)):
        places = fours + (fours >> 8 * width) + (fours >> 16 * width)
        places = array.array("H", places.to_bytes(FRAME, "little"))
        if sys.byteorder == "big":
            places.byteswap()
        for row in range(start, start + rows * width, 3 * width):
            result += places[row // 2:(row + width) // 2:2]
    return result


class Way:
    """The line from one picture to another: how far along it a third picture lies (0 old, 1 new)."""

    def __init__(self, old, new):
        self.line = list(map(sub, new, old))
        self.energy = dot(self.line, self.line)
        self.base = dot(old, self.line)

    def __call__(self, picture):
        return (dot(picture, self.line) - self.base) / self.energy


def way_between(block, k0, k1, outside):
    """How much the samples k0 and k1 look like the steady ends of a gradual change, from 0 (not at all) on.

    All places along the way are worked out from dot products of coarse pictures, which are shared by many windows."""
    product, norms = block.product, block.norms
    old_old, old_new = norms[k0], product(k0, k1)
    energy = old_old + norms[k1] - 2 * old_new
    if energy < (4 * CELL) ** 2 * len(block.coarse[k0]):
        return 0

    def along(k):
        return (product(k, k1) - product(k, k0) - old_new + old_old) / energy

    n = k1 - k0
    half = along(k0 + n // 2)
    if not 0.15 < half < 0.85:
        return 0
    k_before, k_after = max(0, k0 - outside), min(len(block.samples) - 1, k1 + outside)
    before, after = along(k_before), along(k_after)
    if not (-0.35 < before < 0.35 and 0.65 < after < 1.35):
        return 0
    early, late = along(k0 + n // 4), along(k1 - n // 4)
    if not -0.15 < early <= half + 0.1 <= late + 0.2:
        return 0
    bend = max(abs(half - n // 2 / n), abs(early - n // 4 / n), abs(late - 1 + n // 4 / n))
    trust = 1 - abs(before) - abs(after - 1) - bend
    if trust < 0.3:
        return 0
    drift = sum(norms[a] + norms[b] - 2 * product(a, b) for a, b in ((k_before, k0), (k_after, k1)))
    if drift > 0.5 * energy:
        return 0
    # In between, the cells lie between old and new, too; when the camera moves, many lie elsewhere.
    old, new, between = block.coarse[k0], block.coarse[k1], block.coarse[k0 + n // 2]
    ways = [(m - o) / (w - o) for o, w, m in zip(old, new, between) if abs(w - o) > 4 * CELL]
    wild = sum(not -0.4 < way < 1.4 for way in ways)
    return energy ** 0.5 * trust if wild < 0.35 * len(ways) else 0


def bursts(block):
    """The stretches in which all pictures change while those before and after hardly do, as candidates. Between calm
    scenes they are the transitions to the picture, slides too, whose cells do not go straight from old to new."""
    steps, times, first = block.steps, block.times, 5
    while first < len(steps) - 4:
        level = 1.5 * max(steps[first - 4:first]) + 0.15
        if steps[first] <= 2 * level:
            first += 1
            continue
        last = first
        while last + 3 < len(steps) and max(steps[last + 1:last + 4]) > level:
            last += 1
        length = times[last] - times[first - 1]
        if 150_000 < length < 4_500_000 and last + 3 < len(steps):
            yield 0, times[first - 1], times[last]
        first = last + 1 if length < 4_500_000 else first + 1


def find_gradual(block, taken, upto):
    """Dissolves and wipes outside the stretches that are already `taken`, the likeliest windows first; those that end
    after `upto` are only found where they compete with earlier ones."""
    found, tried, weak = list(taken), [], []
    windows = block.candidates + list(bursts(block))
    for _, first, last in sorted((c for c in windows if c[2] < upto + 4_500_000), reverse=True):
        inner = (first + (last - first) // 4, last - (last - first) // 4)
        if any(e.first < inner[1] and e.last > inner[0] for e in found):
            continue
        if sum(2 * (min(b, last) - max(a, first)) > max(b, last) - min(a, first) for a, b in tried) >= 2:
            continue  # two windows that are much the same have failed
        if (first, last) not in block.verdicts:
            block.verdicts[first, last] = gradual_at(block, block.at(first), block.at(last))
        event = block.verdicts[first, last]
        if event and event.score >= WEAK and not overlaps(event, found):
            found.append(event)
            yield event
        else:
            tried.append((first, last))
            weak += [event] if event and event.score < WEAK else []
    for event in weak:
        if not overlaps(event, found):
            found.append(event)
            yield event


def overlaps(event, others):
    return any(other.first < event.last and other.last > event.first for other in others)


def gradual_at(block, i0, i1):
    """The wipe or dissolve between the pictures i0 and i1, with its true limits, or None."""
    if correlation(block.luma_of(i0), block.luma_of(i1)) > 0.9:
        return None
    if not steady_outside(block, i0, i1, 1.3):
        return sweep_at(block, i0, i1) or blend_at(block, i0, i1)
    dissolve = dissolve_at(block, i0, i1)
    if dissolve and dissolve.score > 0.8 and not goes_on(block, dissolve):
        return dissolve
    # The middle of a soft wipe looks like a dissolve, hence the order, and the wider limits.
    wipe = wipe_at(block, i0, i1)
    if wipe or not dissolve:
        return wipe or slide_at(block, i0, i1) or sweep_at(block, i0, i1) or blend_at(block, i0, i1)
    if goes_on(block, dissolve):
        first, last = block.at(dissolve.first), block.at(dissolve.last)
        first, last = pace_limits(block, first, last, last - first)
        if not steady_outside(block, max(0, first - 1), last, 1.3):
            return None
        dissolve.first, dissolve.last = block.times[first], block.times[last]
    return dissolve


def goes_on(block, event):
    """Whether the pictures just outside an event change as quickly as those inside."""
    steps, first, last = block.steps, block.at(event.first), block.at(event.last)
    inside = sum(steps[first:last + 1]) / (last + 1 - first)
    outside = steps[max(1, first - 4):first - 1] + steps[last + 2:last + 5]
    return bool(outside) and sum(outside) / len(outside) > 0.6 * inside


def steady_outside(block, i0, i1, tolerance=1.0):
    """Whether both scenes keep still, compared with the way between them: a camera movement goes on instead."""
    pictures = block.pictures
    whole = distance(pictures[i0], pictures[i1])
    if whole < 3:
        return False
    reach = max(2, min((i1 - i0) // 2, 600_000 // block.frame))
    before = distance(pictures[max(0, i0 - reach)], pictures[i0]) / whole
    if before > 0.47 * tolerance:
        return False
    after = distance(pictures[min(len(pictures) - 1, i1 + reach)], pictures[i1]) / whole
    return after < 0.47 * tolerance and before + after < 0.75 * tolerance


def another_scene(block, i0, i1, unexplained=0.55):
    """Whether the pictures i0 and i1 show different scenes: not the same one in another light, not a part of it, and
    not the same one moved."""
    old, new, n = block.pictures[i0], block.pictures[i1], block.luma
    changes = list(map(abs, map(sub, old, new)))
    luma, colour = max(4.0, 0.35 * sum(changes[:n]) / n), max(4.0, 0.35 * sum(changes[n:]) / (len(changes) - n))
    # One place of both chroma planes, and the luma there.
    rows = range(0, n, 2 * block.width)
    lumas = [change for row in rows for change in changes[row:row + block.width:2]]
    places = list(zip(lumas, changes[n:], changes[n + len(lumas):]))
    part = sum(y > luma or u > colour or v > colour for y, u, v in places) / len(places)
    return part > 0.35 and correlation(old[:n], new[:n]) < 0.88 and shifted(block, i0, i1) > unexplained


def dissolve_at(block, i0, i1):
    pictures, times = block.pictures, block.times
    for _ in range(3):
        way = Way(pictures[i0], pictures[i1])
        if way.energy < 9 * len(way.line):
            return None
        step = max(1, (i1 - i0) // 12)
        inner = [(times[i], way(pictures[i])) for i in range(i0, i1 + 1, step)]
        ramp_points = [(t, a) for t, a in inner if 0.15 < a < 0.85]
        if len(ramp_points) < 2:
            return None
        slope, offset = fit_line(*zip(*ramp_points))
        if slope <= 0 or max(abs(slope * t + offset - a) for t, a in ramp_points) > 0.25:
            return None
        begin, end = -offset / slope, (1 - offset) / slope
        length = i1 - i0
        next0 = max(0, min(block.at(begin) - 1, i1 - 2), i0 - length // 2)
        next1 = min(len(times) - 1, max(block.at(end), next0 + 2), i1 + length // 2)
        if (next0, next1) == (i0, i1):
            break
        i0, i1 = next0, next1
    bend = (sum((a - slope * t - offset) ** 2 for t, a in ramp_points) / len(ramp_points)) ** 0.5
    if bend > 0.1 or not steady_outside(block, i0, i1):
        return None
    if i1 - i0 > 4 and max(block.steps[i0 + 1:i1 + 1]) > 0.5 * distance(pictures[i0], pictures[i1]):
        return None  # a cut
    pure, wild, off = cells(block, i0, i1, way)
    if wild > 0.16 or pure > 0.55 or off > 0.36:
        return None
    if off > 0.12 and correlation(block.luma_of(i0), block.luma_of(i1)) > 0.78:
        return None
    # A short dissolve leaves the scenes no time to move, so its blend is clean.
    if off > 0.06 + 0.3e-6 * (times[i1] - times[i0]) or drifts_on(block, i0, i1, off):
        return None
    # The cleaner the blend, the less it takes to rule out that the scene only moved.
    if not another_scene(block, i0, i1, 0.55 if off > 0.16 else 0.48 if off > 0.06 else 0.35):
        return None
    score = min(0.98, max(WEAK, 1.0 - 0.8 * off - 0.3 * pure - bend))
    if wild > 0.12 or pure > 0.5 or off > 0.28:
        score = 0.4
    return Event("dissolve", times[min(i0 + 1, i1)], times[i1], score, "画面渐变叠化")


def moves_outside(block, i0, i1):
    """How the pictures move just before i0 and just after i1, as (pace, pace along): relative to the mean pace from i0 to
    i1, and the part of it in the direction of what happens inside next to the limit."""
    pictures, n = block.pictures, i1 - i0
    reach = max(2, min(n // 4, 400_000 // block.frame))
    pace = distance(pictures[i0], pictures[i1]) / n
    for limit, outer, inner in ((i0, max(0, i0 - reach), min(i1, i0 + reach)),
                                (i1, min(len(pictures) - 1, i1 + reach), max(i0, i1 - reach))):
        before, after = list(map(sub, pictures[limit], pictures[outer])), list(map(sub, pictures[inner], pictures[limit]))
        energy = dot(before, before) * dot(after, after)
        move = distance(pictures[outer], pictures[limit]) / max(1, abs(outer - limit)) / pace
        yield move, move * dot(before, after) / energy ** 0.5 if energy else 0.0


LIVELIER = 1.7  # a scene that moves so much more quickly outside than inside just comes to rest for a while


def drifts_on(block, i0, i1, off):
    """Whether there is no beginning and no end at the pictures i0 and i1: the change comes and goes on in the same
    direction, as in turning gradients and drifting fog and in the middle of a soft wipe, or the pictures move so much
    outside that between them a blend of two scenes could not be as clean as `off`, or go as straight."""
    moves, along = zip(*moves_outside(block, i0, i1))
    if min(along) > 0.3 or min(moves) > 0.4 and off < 0.15 * min(moves) or max(moves) > LIVELIER:
        return True
    straight = sum(block.steps[i0 + 1:i1 + 1]) < 1.25 * distance(block.pictures[i0], block.pictures[i1])
    return straight and sum(moves) > 1.2 and own_part(block, i0, i1) < 0.5


def cells(block, i0, i1, way):
    """How the cells of the pictures in the middle lie between old and new: the parts of them that are purely one of
    both, and that are wildly neither; and the mean difference to an even blend, relative to the whole way."""
    pictures = block.pictures
    old = pictures[i0]
    size = sum(map(abs, way.line)) / len(way.line)
    enough = max(6.0, 0.5 * size)
    cells_in = [c for c, w in enumerate(way.line) if abs(w) >= enough]
    cells_in = cells_in[::max(1, len(cells_in) // 250)]
    if not cells_in:
        return 0.0, 1.0, 1.0
    pure = wild = off = 0.0
    for part in (1, 2, 3):
        picture = pictures[i0 + (i1 - i0) * part // 4]
        alpha = way(picture)
        own = [(picture[c] - old[c]) / way.line[c] for c in cells_in]
        pure += sum(-0.3 < a < 0.2 or 0.8 < a < 1.3 for a in own) / len(own)
        wild += sum(not -0.3 < a < 1.3 for a in own) / len(own)
        rest = [abs(f - o - alpha * w) for f, o, w in zip(picture[::2], old[::2], way.line[::2])]
        off += sum(rest) / len(rest) / size
    return pure / 3, wild / 3, off / 3


def blend_at(block, i0, i1):
    """A dissolve between two scenes that are too lively for their single pictures to be compared: what they look like is
    averaged over a while before and after, and that the pictures between are blends is seen in their detail."""
    pictures, times = block.pictures, block.times
    middle_ones = [(i0 + (i1 - i0) * part // 8, part / 8) for part in (3, 4, 5)]
    if not -1.5 < detail_left(block, *(side[::3] for side in surroundings(block, i0, i1)), middle_ones) < 0.8:
        return None  # what most windows are refuted by, hence roughly and first
    for _ in range(4):
        before, after = surroundings(block, i0, i1)
        old, new = mean_picture(pictures, before), mean_picture(pictures, after)
        way = Way(old, new)
        if way.energy < 14 * 14 * len(old):
            return None
        inner = [(i, way(pictures[i])) for i in range(i0, i1 + 1, max(1, (i1 - i0) // 12))]
        ramp_points = [(times[i], a) for i, a in inner if 0.15 < a < 0.85]
        if len(ramp_points) < 2:
            return None
        slope, offset = fit_line(*zip(*ramp_points))
        if slope <= 0:
            return None
        length, limits = i1 - i0, (i0, i1)
        i0 = max(0, min(block.at(-offset / slope) - 1, i1 - 2), i0 - length // 2)
        i1 = min(len(times) - 1, max(block.at((1 - offset) / slope), i0 + 2), i1 + length // 2)
        if max(abs(i0 - limits[0]), abs(i1 - limits[1])) <= max(1, length // 12):
            break
    else:
        return None
    bend = (sum((a - min(1, max(0, slope * times[i] + offset))) ** 2 for i, a in inner) / len(inner)) ** 0.5
    whole, inside = distance(old, new), block.steps[i0 + 1:i1 + 1]
    if bend > 0.08 or max(inside) > 0.45 * whole:
        return None
    # The steps in a blend are those of its scenes and its own on top; a movement that comes and goes is straighter.
    usual = sum(block.steps[max(1, i)] for i in before[1:] + after[1:]) / 14 * len(inside)
    if sum(inside) ** 2 < whole ** 2 + (0.6 * usual) ** 2:
        return None
    # Outside, it goes on in the same direction when a camera moves or a light changes.
    slopes = [fit_line([times[i] for i in side], [way(pictures[i]) for i in side])[0] / slope for side in (before, after)]
    if sum(map(abs, slopes)) > 1:
        return None
    mixed = [(i, a) for i, a in inner if 0.3 < a < 0.7] or inner[len(inner) // 2:][:1]

    def off(i, alpha):
        rest = [f - o - alpha * w for f, o, w in zip(pictures[i], old, way.line)]
        return dot(rest, rest) / way.energy

    sides = [[off(i, way(pictures[i])) for i in side] for side in (before, after)]
    if max(sum(side) / len(side) for side in sides) > 0.5:
        return None
    if sum(off(i, a) for i, a in mixed) / len(mixed) > min(0.3, 0.04 + 0.3e-6 * (times[i1] - times[i0]), 0.03 + 1.2 * (max(sides[0]) + max(sides[1]))):
        return None
    if not -0.7 < detail_left(block, before, after, mixed) < 0.4:
        return None
    if correlation(old[:block.luma], new[:block.luma]) < -0.6 or not another_scene(block, i0, i1, 0.45):
        return None
    return Event("dissolve", times[min(i0 + 1, i1)], times[i1], 0.7, "画面渐变叠化")


def surroundings(block, i0, i1):
    """The indices of some pictures of the scenes before i0 and after i1."""
    reach = min(600_000, max(200_000, (block.times[i1] - block.times[i0]) // 2))
    low, high = block.at(block.times[i0] - reach), block.at(block.times[i1] + reach)
    return [i0 - (i0 - low) * k // 7 for k in range(8)], [i1 + (high - i1) * k // 7 for k in range(8)]


def mean_picture(pictures, indices):
    """The mean of eight pictures, all bytes added at once as in differences()."""
    size = len(pictures[indices[0]])
    low, one, _ = lanes(size)
    wholes = [int.from_bytes(pictures[i], "little") for i in indices]
    even, odd = sum(whole & low for whole in wholes), sum(whole >> 8 & low for whole in wholes)
    return ((even + 4 * one >> 3 & low) + ((odd + 4 * one >> 3 & low) << 8)).to_bytes(size, "little")


def detail(block, i):
    """The energy of the differences between neighbouring cells of picture i."""
    if i not in block.details:
        luma = block.luma_of(i)
        across, down = list(map(sub, luma[1:], luma)), list(map(sub, luma[block.width:], luma))
        block.details[i] = dot(across, across) + dot(down, down)
    return block.details[i]


def detail_left(block, before, after, mixed):
    """Two unrelated pictures laid over each other even out: of the energies of their details only the squares of their
    parts are left. 0 when the pictures `mixed`, (index, part of the new one), are such blends; around 1 when they are not,
    however the scenes move. `before` and `after` are the indices of some pictures of both scenes."""
    old, new = (sum(detail(block, i) for i in side) / len(side) for side in (before, after))
    extra = sum(detail(block, i) - (1 - part) ** 2 * old - part ** 2 * new for i, part in mixed)
    return extra / (sum(2 * part * (1 - part) for _, part in mixed) * (old * new) ** 0.5 + 1e-9)


def own_path(block, i0, i1):
    """The sum of the steps between the pictures i0 and i1 beyond what both scenes move or flicker by themselves."""
    reach = max(4, (i1 - i0) // 2)
    sides = block.steps[max(1, i0 + 1 - reach):i0 + 1], block.steps[i1 + 1:i1 + 1 + reach]
    usual = [middle(side) for side in sides if side] or [0.0]
    return sum(block.steps[i0 + 1:i1 + 1]) - (i1 - i0) * sum(usual) / len(usual)


def own_part(block, i0, i1):
    """The part of all movement between the pictures i0 and i1 that their change makes."""
    return own_path(block, i0, i1) / max(1e-9, sum(block.steps[i0 + 1:i1 + 1]))


def wipe_at(block, i0, i1):
    """A wipe: each cell jumps from old to new at its own moment and stays there."""
    pictures, times = block.pictures, block.times
    more = max(2, (i1 - i0) // 8)
    i0, i1 = max(0, i0 - more), min(len(times) - 1, i1 + more)
    if i1 - i0 < 4 or not steady_outside(block, i0, i1):
        return None
    old, new = pictures[i0], pictures[i1]
    if not 0.4 < own_path(block, i0, i1) / distance(old, new) < 3:
        return None  # it goes other ways, too, or only as before
    line = list(map(sub, new, old))
    enough = max(8.0, 0.4 * sum(map(abs, line)) / len(line))
    cells_in = [c for c, w in enumerate(line) if abs(w) >= enough]
    if sum(c < block.luma for c in cells_in) < 0.3 * block.luma:
        return None
    cells_in = cells_in[::max(1, len(cells_in) // 200)]
    olds, lines = [old[c] for c in cells_in], [line[c] for c in cells_in]

    def look(i):
        """Of picture i: the part of the new scene, and the parts of cells that are purely one or wildly neither."""
        picture = pictures[i]
        own = [(picture[c] - o) / w for c, o, w in zip(cells_in, olds, lines)]
        pure_old, pure_new = sum(-0.5 < a < 0.3 for a in own), sum(0.7 < a < 1.5 for a in own)
        wild = sum(not -0.5 < a < 1.5 for a in own)
        mixed = sum(a for a in own if 0.3 <= a <= 0.7)
        return (pure_new + mixed) / len(own), (pure_old + pure_new) / len(own), wild / len(own)

    # First a few pictures, which refute most; then all of them, for the limits.
    few = [look(i0 + (i1 - i0) * part // 8) for part in range(1, 8)]
    inner = [(part, pure, wild) for part, pure, wild in few if 0.1 < part < 0.9]
    if any(0.3 < part < 0.7 and pure < 0.4 for part, pure, _ in inner):
        return None  # a dissolve
    if sum(pure for _, pure, _ in inner) < 0.55 * len(inner) or sum(wild for *_, wild in inner) > 0.15 * len(inner):
        return None
    if any(after[0] < before[0] - 0.1 for before, after in zip(few, few[1:])):
        return None
    where = list(range(i0, i1 + 1, max(1, (i1 - i0) // 30)))
    looks = [look(i) for i in where]
    new_part = [part for part, *_ in looks]
    inner = [pure for part, pure, _ in looks if 0.1 < part < 0.9]
    if len(inner) < 2 or min(new_part) > 0.15 or max(new_part) < 0.85:
        return None
    trust = sum(inner) / len(inner)
    # However it begins and ends, most of a wipe happens in its middle; what creeps before and after is motion.
    early = times[next(i for i, part in zip(where, new_part) if part > 0.15)]
    late = times[next(i for i, part in zip(where[::-1], new_part[::-1]) if part < 0.85)]
    begin = max(onset(where, new_part, times), early - 0.8 * (late - early))
    end = min(onset(where[::-1], [1.0 - part for part in new_part[::-1]], times), late + 0.8 * (late - early))
    first, last = max(i0 + 1, block.at(begin)), min(i1, block.at(end))
    if last - first < 2:
        return None
    # The corners from and to which a soft wipe runs are seen late in the cells, but already in the pace.
    paced = pace_limits(block, first, last, max(last - first, (i1 - i0) // 3))
    if last - first < 3 or not is_wiped(block, first - 1, last):
        if not is_wiped(block, paced[0] - 1, paced[1]):
            return None
        first, last = paced
    else:
        first, last = pace_limits(block, first, last)
    if max(move for move, _ in moves_outside(block, first - 1, last)) > LIVELIER:
        return None
    if own_part(block, first - 1, last) < 0.35:
        return None  # it is as lively all the time
    return Event("wipe", times[first], times[last], min(0.97, 0.4 + 0.6 * trust), "画面划变")


def pace_limits(block, first, last, room=0):
    """The limits of a wipe, better than from its cells where both scenes are calm: while it goes on, every step is
    larger. Each moves by `room` pictures at most, usually a third of the length."""
    steps, room = block.steps, max(3, room or (last - first) // 3)
    inside = steps[first:last + 1]
    pace = sorted(inside)[len(inside) * 3 // 4]

    def edge(i, way, calm):
        """From the middle outwards: the last picture before two calm steps."""
        calm = sorted(calm) or [0.0]
        level = max(1.3 * calm[len(calm) * 9 // 10], calm[len(calm) // 2] + 0.08 * pace)
        if level > 0.5 * pace:
            return first if way < 0 else last
        stop = first - room if way < 0 else last + room
        while 1 < i + 2 * way < len(steps) - 1 and i != stop and max(steps[i + way], steps[i + 2 * way]) > level:
            i += way
        return (first if way < 0 else last) if i == stop else i

    # Outwards from where half of the change has happened.
    half = first + bisect.bisect_left(list(accumulate(inside)), sum(inside) / 2)
    return (edge(half, -1, steps[max(1, first - 2 * room):max(2, first - room // 2)]),
            edge(half, +1, steps[last + room // 2:last + 2 * room]))


def is_wiped(block, i0, i1):
    """Whether the way from i0 to i1 is that of a wipe: at an even pace, without detours, between steady scenes."""
    steps = block.steps[i0 + 1:i1 + 1]
    path = own_path(block, i0, i1)
    whole = distance(block.pictures[i0], block.pictures[i1])
    if block.times[i1] - block.times[i0] < 240_000 or max(steps) > 4 * sum(steps) / len(steps) or path > 2.4 * whole:
        return False
    if not steady_outside(block, i0, i1):
        return False
    old, new = block.luma_of(i0), block.luma_of(i1)
    changes = differences(old, new)  # of two neighbouring cells each
    if sum(map(max(8, 0.35 * sum(changes) / len(changes)).__lt__, changes)) < 0.42 * len(changes):
        return False  # only a part
    if correlation(old, new) > 0.7 or shifted(block, i0, i1) < 0.6:
        return False
    pure, wild, _ = cells(block, i0, i1, Way(block.pictures[i0], block.pictures[i1]))
    return pure > 0.5 and wild < (0.09 if path < 1.75 * whole else 0.03)


def slide_at(block, i0, i1):
    """A slide: the new picture pushes the old one out, at an even pace."""
    # It goes on where the steps are large; while little is left to push out, they are small, too.
    steps = sorted(block.steps[i0 + 1:i1 + 1])
    large = [i for i in range(i0 + 1, i1 + 1) if block.steps[i] > 0.4 * steps[len(steps) * 9 // 10]]
    first, last = pace_limits(block, large[0], large[-1])
    limits = dict.fromkeys(((large[0] - 1, large[-1]), (first - 1, last), (i0, i1)))
    return next(filter(None, (slide_between(block, *pair) for pair in limits)), None)


def slide_between(block, i0, i1):
    times, n, width, height = block.times, block.luma, block.width, block.height
    if i1 - i0 < 4 or not steady_outside(block, i0, i1):
        return None

    def turned(picture):
        return b"".join(picture[x:n:width] for x in range(width))

    old, new = block.luma_of(i0), block.luma_of(i1)
    whole = distance(old, new)
    spots = [i0 + (i1 - i0) * part // 8 for part in (1, 3, 4, 5, 7)]
    upright = {i: block.luma_of(i) for i in (i0, i1, *spots)}
    sideways = {i: turned(picture) for i, picture in upright.items()}
    for pictures, line, reach in ((upright, width, height), (sideways, height, width)):
        for first, second in ((i0, i1), (i1, i0)):
            strip = pictures[first] + pictures[second]
            places = []
            for i in (spots[2], spots[0], spots[4], spots[1], spots[3]):
                rests = [distance(strip[s * line:s * line + n], pictures[i]) for s in range(1, reach)]
                rest = min(rests)
                half_way = min(distance(old, upright[i]), distance(new, upright[i]))
                if rest > (0.3 * whole if places else 0.4 * half_way):
                    break
                places.append((times[i], (rests.index(rest) + 1) / reach))
            if len(places) < 5:
                continue
            if first == i1:
                places = [(t, 1 - s) for t, s in places]
            slope, offset = fit_line(*zip(*places))
            if slope <= 0 or max(abs(slope * t + offset - s) for t, s in places) > 0.1:
                continue
            begin, end = block.at(-offset / slope), block.at((1 - offset) / slope)
            if end - begin < 3 or times[end] - times[begin] >= 2 * (times[i1] - times[i0]):
                continue
            if own_part(block, max(0, begin - 1), end) > 0.6:  # pushing is far more than what moves in the scenes
                return Event("wipe", times[begin], times[end], 0.85, "画面推移")
    return None


@functools.lru_cache(maxsize=8)
def sweeps(columns, rows):
    """The orders in which wipes go over a picture of so many places, each as a function that puts the places' values in
    that order: from the sides and corners, with growing boxes and circles, and around the middle like a clock's hand."""
    x0, y0 = (columns - 1) / 2, (rows - 1) / 2
    moments = [
        lambda x, y: x, lambda x, y: y, lambda x, y: x / columns + y / rows, lambda x, y: x / columns - y / rows,
        lambda x, y: max(x / columns, y / rows), lambda x, y: max(-x / columns, y / rows),
        lambda x, y: min(x / columns, y / rows), lambda x, y: min(-x / columns, y / rows),
        lambda x, y: abs(x - x0), lambda x, y: abs(y - y0), lambda x, y: math.hypot(x - x0, y - y0),
        lambda x, y: max(abs(x - x0) / columns, abs(y - y0) / rows), lambda x, y: math.atan2(x - x0, y0 - y)]
    places = [(x, y) for y in range(rows) for x in range(columns)]
    return [itemgetter(*sorted(range(len(places)), key=lambda c: moment(*places[c]))) for moment in moments]


def sweep_at(block, i0, i1):
    """A wipe between two scenes that are too lively for single cells to tell which one they show: the order in which all
    of them turn from old to new is that of a wipe. What the scenes look like is averaged over a while before and after."""
    pictures, times = block.pictures, block.times
    before, after = surroundings(block, i0, i1)
    old, new = places_of(block, mean_picture(pictures, before)), places_of(block, mean_picture(pictures, after))
    count = len(old) // 3
    whole = sum(map(abs, map(sub, old, new)))
    if whole < 8 * count or i1 - i0 < 4:
        return None

    def leaning(i):
        """How much more each place of picture i looks like the new scene than like the old one."""
        picture = places_of(block, pictures[i])
        lean = list(map(sub, map(abs, map(sub, picture, old)), map(abs, map(sub, picture, new))))
        return list(map(add, map(add, lean[:count], lean[count:2 * count]), lean[2 * count:]))

    def split(lean, order, way):
        """Where the picture is best split into new and old along an order, and what that explains beyond one scene alone."""
        sums = list(accumulate(order(lean)[::way], initial=0))
        best = max(sums)
        return sums.index(best) / count, best - max(0, sums[-1])

    def possible(lean):
        """What the best split explains if there are no orders."""
        return sum(value for value in lean if value > 0) - max(0, sum(lean))

    # The picture in the middle tells the order, and refutes most.
    half = leaning((i0 + i1) // 2)
    if possible(half) < 0.03 * whole:
        return None  # a dissolve, or no change
    orders = ((order, way) for order in sweeps(block.width // 2, block.height // 2) for way in (1, -1))
    gain, sweep = max(((split(half, *sweep)[1], sweep) for sweep in orders), key=itemgetter(0))
    if gain < 0.6 * possible(half):
        return None  # a movement
    leans = [leaning(i0 + (i1 - i0) * part // 8) for part in range(1, 8)]
    parts, gains = zip(*(split(lean, *sweep) for lean in leans))
    everything = sum(map(possible, leans))
    if everything < 0.03 * 7 * whole or sum(gains) < 0.8 * everything:
        return None
    slope, offset = fit_line(range(1, 8), parts)
    growth = list(map(sub, parts[1:], parts))
    if slope < 0.09 or min(growth) < -0.02 or max(growth) > 0.33 or parts[0] > 0.35 or parts[-1] < 0.65:
        return None
    if max(abs(slope * k + offset - part) for k, part in enumerate(parts, 1)) > 0.2 or not another_scene(block, i0, i1, 0.45):
        return None
    more = max(2, (i1 - i0) // 6)
    where = list(range(max(0, i0 - more), min(len(times), i1 + more + 1), max(1, (i1 - i0) // 30)))
    parts = [split(leaning(i), *sweep)[0] for i in where]
    begin, end = onset(where, parts, times), onset(where[::-1], [1.0 - part for part in parts[::-1]], times)
    first, last = max(where[0] + 1, block.at(begin)), min(where[-1], block.at(end))
    if times[last] - times[first] < 240_000:
        return None
    # A wipe's steps come on top of those of its scenes; in a movement there are no others.
    before, after = surroundings(block, first - 1, last)
    usual = sum(block.steps[max(1, i)] for i in before[1:] + after[1:]) / 14 * (last - first + 1)
    own = sum(block.steps[first:last + 1]) - usual
    if own < 0.25 * distance(mean_picture(pictures, before), mean_picture(pictures, after)):
        return None
    first, last = pace_limits(block, first, last)
    return Event("wipe", times[first], times[last], 0.7, "画面划变")


def places_of(block, picture):
    """The means of two by two cells of luma, then both chroma planes, which are as coarse."""
    width, n = block.width, block.luma
    rows = [picture[start:start + width] for start in range(0, n, width)]
    lumas = []
    for upper, lower in zip(rows[::2], rows[1::2]):
        lumas += [total >> 2 for total in map(add, map(add, upper[::2], upper[1::2]), map(add, lower[::2], lower[1::2]))]
    return lumas + list(picture[n:])


def onset(where, parts, times):
    """When the growing `parts` leave 0: a straight wipe grows evenly, a round or soft one with the square of time."""
    top = next((k for k, part in enumerate(parts) if part > 0.35), len(parts) - 1)
    points = [k for k in range(top) if 0.015 < parts[k]]
    while points and any(parts[k] <= 0.015 for k in range(points[0], top)):
        points.pop(0)
    if len(points) < 3:
        return times[where[max(0, top - 1)]]
    best = None
    for root in (1.0, 2.0):
        moments, values = [times[where[k]] for k in points], [parts[k] ** (1 / root) for k in points]
        slope, offset = fit_line(moments, values)
        error = sum(((slope * t + offset) ** root - v ** root) ** 2 for t, v in zip(moments, values))
        if slope and (best is None or error < best[0]):
            best = error, -offset / slope
    return best[1] if best else times[where[points[0]]]


def find_events(block, after, upto):
    """The transitions that end after `after`, up to `upto`, in order and without overlap."""
    fades = list(find_fades(block, upto))
    black = [fade for fade in fades if fade.edge == "black"]
    slow = [fade for fade in fades if fade.edge != "black"]
    slow += find_gradual(block, slow, upto)
    sure = [event for event in slow if event.score >= WEAK]
    cuts = [c for c in find_cuts(block, after, upto) if not any(g.first <= c.last and c.first <= g.last for g in sure)]
    weak = [event for event in slow if event.score < WEAK
            and not any(event.first <= c.last and c.first <= event.last for c in cuts)]
    ended = [event for event in sure + weak + black if after < event.last <= upto]
    return sorted(ended + cuts, key=lambda event: (event.first, event.last))


# --- analysis: memory does not grow with the video's length ---------------------------------------------------------

STRIDE = 4_000_000    # microseconds decided at a time
CONTEXT = 8_000_000   # microseconds seen before and after what is decided
MOST = 12_000         # pictures held, whatever their timestamps say


class Analysis:
    """What is known of a video: the times of its pictures and the transitions. This is what the cache holds."""

    def __init__(self, duration=0, times=None, events=None):
        self.duration = duration
        self.times = times if times is not None else array.array("q")
        self.events = events if events is not None else []


class Analyser:
    """Takes pictures as they are decoded and keeps the transitions."""

    def __init__(self):
        self.result, self.block, self.decided, self.fitted = Analysis(), Block(), None, False

    def feed(self, times, pictures):
        self.result.times.extend(times)
        block = self.block
        block.extend(times, pictures)
        if self.decided is None:
            self.decided = times[0] - 1
        if not self.fitted and len(block.samples) > 25:
            block.fit_bars()
            self.fitted = True
        while block.times[-1] - self.decided > STRIDE + CONTEXT:
            self.decide(max(self.decided + STRIDE, block.times[bisect.bisect_right(block.times, self.decided)]))
            block.drop(self.decided - CONTEXT)
        if len(block.times) > MOST:
            self.decide(max(self.decided, block.times[-MOST // 4]))
            block.drop(block.times[-MOST // 2])

    def decide(self, upto):
        self.block.fit_bars()
        for event in find_events(self.block, self.decided, upto):
            if not any(event.first < other.last and event.last > other.first for other in self.result.events[-8:]
                       if "black" not in (event.edge, other.edge)):
                self.result.events.append(event)
        self.decided = upto

    def finish(self):
        if self.block.times:
            self.block.fit_bars()
            self.block.end()
            self.decide(self.block.times[-1])
        return self.result


def analyse(path, skip, progress, sync="-vsync"):
    seek = max(0, skip - LEAD_IN) // 1000 * 1000
    analyser = Analyser()
    with Frames(path, seek, sync) as frames:
        for times, pictures in regular_times(frames.batches()):
            if times:
                analyser.feed(times, pictures)
            progress.show(analyser.result.times[-1] if analyser.result.times else None, frames.header.duration)
        header = frames.header
    if b"option 'vsync'" in header.text and sync == "-vsync":  # the option's later name
        return analyse(path, skip, progress, "-fps_mode")
    result = analyser.finish()
    if not header.opened:
        raise Failure("无法识别为视频文件：" + printable(path))
    if not header.has_video:
        raise Failure("文件里没有视频画面：" + printable(path))
    if not result.times and not seek:
        raise Failure("无法读取视频画面，文件可能已损坏：" + printable(path))
    end = result.times[-1] + usual_gap(result.times) if result.times else 0
    # ffmpeg prints hundredths of a second; where only these differ, the pictures know better.
    result.duration = end if header.duration is None or abs(header.duration - end) <= 10_000 else header.duration
    return result


# --- cache: another profile or padding needs no second decoding -----------------------------------------------------

CACHE_LIMIT = 256 << 20  # bytes in all; the oldest files go first
FIELDS = ("kind", "first", "last", "score", "source", "edge")


class Cache:
    """The analyses of earlier runs. Whatever goes wrong here, the video is just analysed again."""

    def __init__(self, path, skip):
        import hashlib
        if sys.platform == "darwin":
            base = os.path.expanduser("~/Library/Caches")
        else:
            base = os.environ.get("XDG_CACHE_HOME", "")
            base = base if os.path.isabs(base) else os.path.expanduser("~/.cache")
        self.folder = os.path.join(base, "kestrel", "detector")
        video, script = os.stat(path), os.stat(__file__)
        key = (VERSION, script.st_size, script.st_mtime_ns, os.fsencode(os.path.abspath(path)), video.st_size,
               video.st_mtime_ns, skip)
        self.file = os.path.join(self.folder, hashlib.sha256(repr(key).encode()).hexdigest()[:40])

    def load(self):
        try:
            with open(self.file, "rb") as file:
                head, _, gaps = zlib.decompress(file.read()).partition(b"\n")
            os.utime(self.file)
            head = json.loads(head)
            times = array.array("q")
            times.frombytes(gaps)
            events = [Event(**dict(zip(FIELDS, values))) for values in head["events"]]
            return Analysis(head["duration"], array.array("q", accumulate(times)), events)
        except (OSError, ValueError, KeyError, TypeError, zlib.error):
            return None

    def save(self, analysis):
        import tempfile
        events = [[getattr(event, field) for field in FIELDS] for event in analysis.events]
        head = {"duration": analysis.duration, "events": events}
        gaps = array.array("q", map(sub, analysis.times, array.array("q", [0]) + analysis.times[:-1]))
        try:
            os.makedirs(self.folder, mode=0o700, exist_ok=True)
            number, name = tempfile.mkstemp(dir=self.folder)
            try:
                with open(number, "wb") as file:
                    file.write(zlib.compress(json.dumps(head).encode() + b"\n" + gaps.tobytes(), 1))
                os.replace(name, self.file)
            except BaseException:
                os.unlink(name)
                raise
            self.prune()
        except OSError:
            pass

    def prune(self):
        files = sorted((entry.stat().st_mtime, entry.stat().st_size, entry.path) for entry in os.scandir(self.folder))
        size = sum(size for _, size, _ in files)
        for _, one, path in files:
            if size <= CACHE_LIMIT:
                break
            os.unlink(path)
            size -= one


def analysis_of(options):
    skip = round(options.skip_start_seconds * 1e6)
    cache = None
    if not options.no_cache:
        try:
            cache = Cache(options.video, skip)
        except (OSError, RuntimeError):  # no script file, no home folder
            pass
    known = cache and cache.load()
    if known:
        say("已读取上次的分析结果：100%")
        return known
    analysis = analyse(options.video, skip, Progress(skip))
    if cache:
        cache.save(analysis)
    return analysis


# --- profiles: what counts as removable -----------------------------------------------------------------------------

CONFIDENT = 0.75  # the score of dissolves that the standard profile trusts
SLIVER = 0.3      # seconds; shorter segments are dropped by the extreme profile


def reported(event, profile):
    """Weak finds, and what joins no two scenes (opening and closing fades, black stretches), are for extreme alone."""
    return profile == "extreme" or not (event.edge or event.score < WEAK)


def stretch_of(event, profile, gap):
    """The limits (first, last) of an event as the profile sees them, and whether what lies between is taken out; a
    gradual event that is not taken out is only divided in its middle. `gap` is the time of one picture."""
    first, last = event.first, event.last
    if event.kind == "cut":
        return first, last, True
    if profile == "conservative" and event.kind == "fade":
        narrow = (last - first) // 6
        return first + narrow, last - narrow, True
    if profile == "extreme" and event.edge == "black":
        return first, last, True
    if profile == "extreme":
        wide = max(gap, (last - first) // 12)
        return first - wide, last + wide, True
    trusted = event.kind == "fade" or event.kind == "dissolve" and event.score >= CONFIDENT
    return first, last, profile == "aggressive" or profile == "standard" and trusted


# --- segments: limits that survive being cut with three decimals ----------------------------------------------------

def milliseconds(microseconds):
    return microseconds // 1000 / 1000


def usual_gap(times):
    gaps = sorted(times[i + 1] - times[i] for i in range(0, len(times) - 1, max(1, len(times) // 2000)))
    return gaps[len(gaps) // 2] if gaps else 40_000


class Timeline:
    """Turns picture times into limits in seconds. ffmpeg keeps the pictures from -ss on for the length -t, both rounded
    to milliseconds: a start is floored, so that its picture is not lost, and an end lies half a picture before the
    first one that must not appear."""

    def __init__(self, analysis):
        self.times = analysis.times
        self.gap = usual_gap(self.times)
        end = self.times[-1] + self.gap if self.times else 0
        self.end = max(end, analysis.duration) if abs(analysis.duration - end) < 500_000 else end

    def start_at(self, microseconds):
        """The start of a segment whose first picture is the first at or after this time."""
        i = bisect.bisect_left(self.times, microseconds)
        return max(0.0, milliseconds(self.times[i] if i < len(self.times) else self.end))

    def end_before(self, microseconds):
        """The end of a segment that must not contain the first picture at or after this time."""
        i = bisect.bisect_left(self.times, microseconds)
        if i >= len(self.times):
            return round(self.end / 1e6, 3)
        gap = min(self.gap, self.times[i] - self.times[i - 1]) if i else self.gap
        return round(max(0, self.times[i] - gap / 2) / 1e6, 3)


def build(analysis, options):
    """The events as reported, and the segments to keep as (start, end) in seconds."""
    timeline, times = Timeline(analysis), analysis.times
    skip = round(options.skip_start_seconds * 1e6)
    profile = options.fade_removal_profile
    events, limits = [], []
    if not times or skip > times[-1]:
        return [], []
    for event in analysis.events:
        if event.last <= skip or not reported(event, profile):
            continue
        first, last, taken_out = stretch_of(event, profile, timeline.gap)
        start, end = max(timeline.end_before(first), options.skip_start_seconds), timeline.start_at(last)
        events.append({"index": 0, "type": event.kind, "start": start, "end": end,
                       "duration": round(max(0.0, end - start), 3), "score": round(event.score, 3),
                       "source": event.source})
        if event.kind == "cut":
            limits.append((start, end))
        elif taken_out:
            limits.append((round(start - options.fade_left_padding_seconds, 3),
                           timeline.start_at(last + round(options.fade_right_padding_seconds * 1e6))))
        else:
            half = (first + last) // 2
            limits.append((timeline.end_before(half), timeline.start_at(half)))
    events.sort(key=lambda event: (event["start"], event["end"]))
    for number, event in enumerate(events, 1):
        event["index"] = number
    segments, begin = [], timeline.start_at(max(skip, times[0]))
    for stop, resume in sorted(limits) + [(round(timeline.end / 1e6, 3), 0.0)]:
        least = SLIVER if profile == "extreme" else 0.001
        if round(stop - begin, 3) >= least:
            segments.append((begin, stop))
        begin = max(begin, resume)
    return events, segments


# --- output ---------------------------------------------------------------------------------------------------------

def clock(microseconds):
    whole = max(0, microseconds) // 1_000_000
    return "%02d:%02d:%02d" % (whole // 3600, whole // 60 % 60, whole % 60)


class Progress:
    """Lines on standard error, about two a second; a closed standard error is nobody's trouble."""

    def __init__(self, skip):
        self.skip, self.began, self.shown = skip, time.monotonic(), time.monotonic()

    def show(self, at, duration):
        now = time.monotonic()
        if now - self.shown < 0.5 or at is None:
            return
        self.shown = now
        if not duration or duration <= self.skip:
            say("正在分析画面：已分析 " + clock(at))
            return
        part = min(0.999, max(0.0, (at - self.skip) / (duration - self.skip)))
        left = clock(round((now - self.began) * (1 - part) / part * 1e6)) if part > 0 else "未知"
        say("正在分析画面：%.1f%%，剩余约 %s" % (part * 100, left))


def say(text):
    try:
        os.write(2, (text + "\n").encode("utf-8", "replace"))
    except OSError:
        pass


def fps_of(times):
    if len(times) < 2:
        return 25.0
    gap = usual_gap(times)
    steady = [g for g in (times[i + 1] - times[i] for i in range(min(len(times) - 1, 5000))) if abs(g - gap) < gap / 4]
    return round(1e6 * len(steady) / sum(steady), 3)


def document(options, analysis):
    events, segments = build(analysis, options)
    return {
        "video": os.fsencode(options.video).decode("utf-8", "replace"),
        "fps": fps_of(analysis.times),
        "duration": round(analysis.duration / 1e6, 3),
        "aggressive": options.fade_removal_profile in ("aggressive", "extreme"),
        "fade_removal_profile": options.fade_removal_profile,
        "events": events,
        "keep_segments": [{"index": n, "start": start, "end": end, "duration": round(end - start, 3)}
                          for n, (start, end) in enumerate(segments, 1)],
    }


def readable(result):
    lines = ["视频：" + printable(result["video"]), "换场：%d" % len(result["events"])]
    lines += ["  %03d %s %.3f - %.3f %s" % (e["index"], e["type"], e["start"], e["end"], e["source"])
              for e in result["events"]]
    lines += ["保留片段：%d" % len(result["keep_segments"])]
    lines += ["  %03d %.3f - %.3f" % (s["index"], s["start"], s["end"]) for s in result["keep_segments"]]
    return "\n".join(lines)


def check_file(path):
    try:
        size = os.stat(path).st_size
        if os.path.isdir(path):
            raise Failure("这是文件夹，不是视频文件：" + printable(path))
        if os.path.isfile(path) and size == 0:
            raise Failure("视频文件是空的：" + printable(path))
        if not os.access(path, os.R_OK):
            raise Failure("没有权限读取视频文件：" + printable(path))
    except (FileNotFoundError, NotADirectoryError):
        raise Failure("找不到视频文件：" + printable(path)) from None
    except (OSError, ValueError):
        raise Failure("无法读取视频文件：" + printable(path)) from None


def run(words):
    if words[:1] in (["-h"], ["--help"]):
        write_out(USAGE)
        return
    options = Options(words)
    check_file(options.video)
    result = document(options, analysis_of(options))
    text = json.dumps(result, ensure_ascii=False, allow_nan=False) if options.json else readable(result)
    write_out(text)


def write_out(text):
    data = (text + "\n").encode("utf-8", "replace")
    while data:
        data = data[os.write(1, data):]


def interrupt(number, _frame):
    raise Interrupted(number)


def main():
    for number in (0, 1, 2):  # a closed standard stream must not become one of our pipes
        try:
            os.fstat(number)
        except OSError:
            os.open(os.devnull, os.O_RDWR)
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, interrupt)
    try:
        run(sys.argv[1:])
    except Interrupted as stop:
        signal.signal(stop.number, signal.SIG_DFL)
        os.kill(os.getpid(), stop.number)
    except Failure as failure:
        say(" ".join(str(failure).split()))
        return 1
    except BrokenPipeError:
        return 1
    except Exception as error:  # a fault of our own still speaks in one line
        say("检测时发生内部错误：%s: %s" % (type(error).__name__, " ".join(str(error).split())))
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
