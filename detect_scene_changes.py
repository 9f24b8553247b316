#!/usr/bin/env python3
"""Finds the scene changes of a video and proposes the segments to keep.

    detect_scene_changes.py VIDEO [--skip-start-seconds S] [--fade-removal-profile P]
        [--fade-left-padding-seconds L] [--fade-right-padding-seconds R] [--json]

The result is one JSON document on standard output; progress is written to standard error in Chinese. A failure is one
line on standard error and a non-zero exit status. Only Python's standard library and ffmpeg (4.4 or later) are used.

How it works: one ffmpeg decodes the video and hands over every picture as 32x18 small ones with its true timestamp.
A cheap distance is measured for every picture; only where something happens do the deciders look closer. What they
found is cached, so another profile or padding needs no second decoding.

The sections, in the order of the data: command line, failures, frames (ffmpeg), measures, decisions (cuts, fades,
gradual), analysis in blocks, cache, profiles, segments, output.
"""

import argparse
import array
import bisect
import hashlib
import json
import os
import re
import selectors
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import zlib
from itertools import repeat
from operator import mul, sub

VERSION = "1"  # of the measures and decisions; part of the cache's key

# --- command line ---------------------------------------------------------------------------------------------------

PROFILES = ("conservative", "standard", "aggressive", "extreme")


class Failure(Exception):
    """What the user must read: one complete Chinese sentence."""


class Interrupted(BaseException):
    """SIGINT or SIGTERM arrived."""

    def __init__(self, number):
        super().__init__(number)
        self.number = number


class Arguments(argparse.ArgumentParser):
    def error(self, message):
        raise Failure("命令行参数有误：" + message)


def seconds(text):
    value = float(text)
    if value != value or value in (float("inf"), float("-inf")):
        raise ValueError(text)
    return max(0.0, value)


def parse_arguments(words):
    parser = Arguments(description="检测视频换场", add_help=True, allow_abbrev=False)
    parser.add_argument("video", help="视频文件")
    parser.add_argument("--skip-start-seconds", type=seconds, default=0.0, metavar="S")
    parser.add_argument("--fade-removal-profile", choices=PROFILES, default="aggressive", metavar="|".join(PROFILES))
    parser.add_argument("--fade-left-padding-seconds", type=seconds, default=0.12, metavar="S")
    parser.add_argument("--fade-right-padding-seconds", type=seconds, default=0.24, metavar="S")
    parser.add_argument("--json", action="store_true", help="输出 JSON（默认输出便于阅读的列表）")
    parser.add_argument("--no-cache", action="store_true", help="不读写缓存")
    # The video is the first word and may begin with a dash.
    if words and words[0].startswith("-") and words[0] not in ("-h", "--help", "--"):
        words = words[1:] + ["--", words[0]]
    return parser.parse_args(words)


def printable(path):
    """A path as one line of valid text, whatever bytes it holds."""
    text = os.fsencode(path).decode("utf-8", "replace")
    return "".join(c if c.isprintable() else "\N{REPLACEMENT CHARACTER}" for c in text)


# --- frames: one ffmpeg, small pictures, true timestamps --------------------------------------------------------------

WIDTH, HEIGHT = 32, 18
LUMA = WIDTH * HEIGHT
CHROMA = LUMA // 4
FRAME = LUMA + 2 * CHROMA
LEAD_IN = 4_000_000  # microseconds decoded before a skip, so that a change right at the skip has a before


def ffmpeg_command(ffmpeg, path, seek, timestamp_fd):
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
    words += ["-i", b"file:" + os.fsencode(path), "-an", "-sn", "-dn", "-vf", filters]
    words += ["-vsync", "passthrough", "-flush_packets", "0", "-f", "rawvideo", "-pix_fmt", "yuv420p", "pipe:1"]
    return words


class Header:
    """What ffmpeg says about the file before it decodes: length and the kinds of streams."""

    LENGTH = re.compile(rb"^  Duration: (\d+):(\d\d):(\d\d(?:\.\d+)?)", re.M)
    VIDEO = re.compile(rb"^\s+Stream #0:.*?: Video: (.*)$", re.M)

    def __init__(self):
        self.text = b""
        self.complete = False

    def feed(self, data):
        if not self.complete:
            self.text += data
            end = self.text.find(b"\nOutput #0")
            self.complete = end >= 0 or len(self.text) > 1 << 20
            if end >= 0:
                self.text = self.text[:end]

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
    def has_video(self):
        streams = self.VIDEO.findall(self.text.split(b"\nStream mapping:")[0])
        return any(b"(attached pic)" not in stream for stream in streams)


class Frames:
    """Runs ffmpeg and yields batches ([microseconds], [picture]); bounded memory, all pipes are read at once."""

    def __init__(self, path, seek=0):
        self.path, self.seek = path, seek
        self.header = Header()
        self.process = None

    def __enter__(self):
        ffmpeg = shutil.which("ffmpeg")
        if not ffmpeg:
            raise Failure("找不到 ffmpeg，请先安装 ffmpeg。")
        self.stamps, stamp_writer = os.pipe()
        try:
            self.process = subprocess.Popen(
                ffmpeg_command(ffmpeg, self.path, self.seek, stamp_writer),
                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                pass_fds=(stamp_writer,), bufsize=0)
        except OSError as error:
            os.close(self.stamps)
            raise Failure("无法启动 ffmpeg：" + (error.strerror or str(error))) from error
        finally:
            os.close(stamp_writer)
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
                yield stamps[:ready], pictures[:ready]
                del pictures[:ready], stamps[:ready]

    def timestamp(self, text):
        """From "frame:7 pts:280000 pts_time:0.28"; None when the picture has no timestamp."""
        pts = text.split(b"pts:", 1)[1].split(None, 1)[0]
        return None if pts == b"NOPTS" else int(pts) + self.seek


def regular_times(batches):
    """Makes timestamps strictly rising and fills missing ones: damaged files have both faults."""
    last, step = None, 40_000
    for stamps, pictures in batches:
        times = []
        for stamp in stamps:
            if last is not None:
                if stamp is None:
                    stamp = last + step
                elif stamp <= last:
                    stamp = last + 1
                elif stamp - last < 1_000_000:
                    step = stamp - last
            last = stamp or 0
            times.append(last)
        yield times, pictures


# --- measures -----------------------------------------------------------------------------------------------------

def distance(a, b):
    """Mean absolute difference of two pictures, 0 to 255."""
    return sum(map(abs, map(sub, a, b))) / FRAME


def correlation(a, b):
    """Of two luma planes: 1 for the same structure whatever the light, around 0 for unrelated pictures."""
    n = len(a)
    mean_a, mean_b = sum(a) / n, sum(b) / n
    covariance = sum(map(mul, a, b)) / n - mean_a * mean_b
    variance_a = sum(map(mul, a, a)) / n - mean_a * mean_a
    variance_b = sum(map(mul, b, b)) / n - mean_b * mean_b
    if variance_a < 2 or variance_b < 2:  # a plain picture has no structure
        return 0.0
    return covariance / (variance_a * variance_b) ** 0.5


def colour(picture):
    """The mean colour (y, u, v)."""
    return (sum(picture[:LUMA]) / LUMA, sum(picture[LUMA:LUMA + CHROMA]) / CHROMA, sum(picture[LUMA + CHROMA:]) / CHROMA)


def spread(picture):
    """Mean absolute deviation of luma from its mean: near 0 for a plain picture."""
    luma = picture[:LUMA]
    return sum(map(abs, map(sub, luma, repeat(sum(luma) // LUMA)))) / LUMA


def plain_picture(y, u, v):
    return [y] * LUMA + [u] * CHROMA + [v] * CHROMA


def fit_line(xs, ys):
    """Least squares: (slope, intercept)."""
    n = len(xs)
    mean_x, mean_y = sum(xs) / n, sum(ys) / n
    across = sum((x - mean_x) ** 2 for x in xs)
    slope = sum((x - mean_x) * (y - mean_y) for x, y in zip(xs, ys)) / across if across else 0.0
    return slope, mean_y - slope * mean_x


def best_shift(a, b, reach_x=8, reach_y=4):
    """The smallest mean luma difference over shifts of `b` against `a`: low where motion explains the change."""
    rows_a = [a[i * WIDTH:(i + 1) * WIDTH] for i in range(HEIGHT)]
    rows_b = [b[i * WIDTH:(i + 1) * WIDTH] for i in range(HEIGHT)]
    best = 255.0
    for dy in range(-reach_y, reach_y + 1):
        above = b"".join(rows_a[max(0, dy):HEIGHT + min(0, dy)])
        below = b"".join(rows_b[max(0, -dy):HEIGHT + min(0, -dy)])
        for dx in range(-reach_x, reach_x + 1):
            # Rows run on into each other here; the seam columns are few and only raise the difference a little.
            x, y = (above[dx:], below[:len(below) - dx]) if dx >= 0 else (above[:dx], below[-dx:])
            best = min(best, sum(map(abs, map(sub, x, y))) / len(x))
    return best


# --- decisions ------------------------------------------------------------------------------------------------------

class Event:
    """A transition. `first` is the first picture that is not purely the old scene, `last` the first purely new one
    (as microseconds); for a cut both are the first new picture."""

    def __init__(self, kind, first, last, before, score, source, edge=""):
        self.kind, self.first, self.last, self.before = kind, first, last, before
        self.score, self.source, self.edge = score, source, edge

    def as_list(self):
        return [self.kind, self.first, self.last, self.before, self.score, self.source, self.edge]


class Block:
    """A stretch of pictures under analysis: times in microseconds, pictures, distance to the previous picture."""

    def __init__(self, times, pictures, steps, opening, closing):
        self.times, self.pictures, self.steps = times, pictures, steps
        self.opening, self.closing = opening, closing  # whether the video's first or last picture is in here
        gaps = sorted(map(sub, times[1:], times))
        self.frame = gaps[len(gaps) // 2] if gaps else 40_000

    def at(self, microseconds):
        """The index of the first picture at or after this time."""
        return min(len(self.times) - 1, bisect.bisect_left(self.times, microseconds))

    def around(self, i, microseconds):
        """The range of indices within this time of picture i."""
        return (bisect.bisect_left(self.times, self.times[i] - microseconds),
                bisect.bisect_right(self.times, self.times[i] + microseconds))


# Cuts: a local peak of the step distance, then the vetoes.

CUT_FLOOR = 5.0   # grain and compression stay below this mean difference
CUT_RATIO = 2.6   # a cut stands out against the motion around it by this factor
FLASH = 350_000   # the old picture is back within this time after a flash


def find_cuts(block):
    steps, pictures = block.steps, block.pictures
    for i in range(1, len(steps)):
        step = steps[i]
        if step < CUT_FLOOR:
            continue
        low, high = block.around(i, 250_000)
        if high - low < 7:
            low, high = max(0, i - 3), min(len(steps), i + 4)
        near = sorted(steps[max(1, low):i] + steps[i + 1:high])
        if step < max(steps[max(1, i - 2):i + 3]):
            continue
        usual = near[len(near) * 6 // 10] if near else 0.0
        if step < CUT_RATIO * usual + 3.0:
            continue
        old, new = pictures[i - 1], pictures[i]
        if is_flash(block, i) or is_light_change(old, new, step) or is_partial(old, new) or is_motion(old, new, usual):
            continue
        ratio = step / (usual + 3.0)
        score = min(0.99, 0.5 + 0.1 * min(ratio, 4) + step / 400)
        yield Event("cut", block.times[i], block.times[i], block.times[i - 1], score, "画面突变")


def is_flash(block, i):
    """A flash or a strobe: the picture before the peak returns soon after it, or this is the return itself."""
    times, pictures, step = block.times, block.pictures, block.steps[i]
    old, new = pictures[i - 1], pictures[i]
    _, high = block.around(i, FLASH)
    if any(distance(old, pictures[j]) < 0.35 * step for j in range(i + 1, high)):
        return True
    low, _ = block.around(i - 1, FLASH)
    return any(distance(new, pictures[j]) < 0.35 * step for j in range(low, i - 1))


def is_light_change(old, new, step):
    """The same structure after a change of light: exposure, lamps, flicker."""
    return correlation(old[:LUMA], new[:LUMA]) > 0.92


def is_partial(old, new):
    """Only a part of the picture changed: captions, a picture in the picture."""
    changed = [abs(a - b) > 10 for a, b in zip(old[:LUMA], new[:LUMA])]
    busy = sum(a > 24 or b > 24 for a, b in zip(old[:LUMA], new[:LUMA])) or 1
    return sum(changed) < 0.36 * busy


def is_motion(old, new, usual):
    """A quick camera movement: the new picture is the old one shifted."""
    if usual < 2.0:
        return False
    plain = sum(map(abs, map(sub, old[:LUMA], new[:LUMA]))) / LUMA
    return best_shift(old[:LUMA], new[:LUMA]) < 0.4 * plain


# Fades through a plain colour: the spread of the picture falls to almost nothing and comes back.

SAMPLE = 80_000  # microseconds between the samples that are looked at for gradual changes
PLAIN = 3.0      # the spread of a plain picture


def find_fades(block):
    times, pictures = block.times, block.pictures
    samples, due = [], -1
    for i, moment in enumerate(times):
        if moment >= due:
            samples.append(i)
            due = moment + SAMPLE
    if len(samples) < 2:
        return
    spreads = [spread(pictures[i]) for i in samples]
    k = 0
    while k < len(samples):
        if spreads[k] > 12 or spreads[k] > min(spreads[max(0, k - 1):k + 2]):
            k += 1
            continue
        reach = 1
        event = fade_at(block, samples[k])
        if event:
            yield event
            while k + reach < len(samples) and times[samples[k + reach]] < event.last:
                reach += 1
        k += reach


def fade_at(block, lowest):
    """The fade whose plainest picture is near `lowest`, or None."""
    times, pictures = block.times, block.pictures
    low, high = block.around(lowest, SAMPLE)
    lowest = min(range(low, high), key=lambda i: spread(pictures[i]))
    least = spread(pictures[lowest])
    if least > 8:
        return None
    y, u, v = colour(pictures[lowest])
    if least > 1.5:  # a quick fade never shows the pure colour; black and white are what it heads for
        y, u, v = (16, 128, 128) if y < 70 else (235, 128, 128) if y > 180 else (y, u, v)
    plain = plain_picture(y, u, v)
    memo = {}

    def energy(i):
        """How far picture i is from the plain colour; proportional to the fade's gain."""
        if i not in memo:
            memo[i] = distance(pictures[i], plain)
        return memo[i]

    out = ramp(block, lowest, -1, energy)
    into = ramp(block, lowest, +1, energy)
    if out is None and into is None:
        return None
    frame = block.frame
    opening = closing = False
    if out is None:
        start, before = times[0], times[0]
        opening = block.opening
        if not opening:
            return None
        first = 0
    else:
        first = block.at(out - frame // 4)
    if into is None:
        closing = block.closing
        if not closing:
            return None
        last = len(times) - 1
    else:
        last = block.at(into - frame // 4)
    if last - first < 3:
        return None
    gradual = (out is not None and lowest - first >= 3) or (into is not None and last - lowest >= 3)
    if not gradual:
        return None
    if out is not None and into is not None:
        old, new = pictures[max(0, first - 1)], pictures[last]
        same = correlation(old[:LUMA], new[:LUMA]) > 0.9 and distance(old, new) < 12
        if same and times[last] - times[first] < 700_000:
            return None  # a soft flash
    name = "黑场" if y < 50 else "白场" if y > 200 else "纯色"
    edge = "opening" if opening else "closing" if closing else ""
    source = {"opening": "开头淡入", "closing": "结尾淡出"}.get(edge, "淡出淡入") + "（" + name + "）"
    score = 0.95 if least < 1.5 else 0.85
    return Event("fade", times[first], times[last], times[max(0, first - 1)], score, source, edge)


def ramp(block, lowest, way, energy):
    """Where the ramp from the plain picture reaches the full scene, going `way`; None where it never does."""
    times = block.times
    count = len(times)
    at, limit = lowest, max(energy(lowest), PLAIN)
    while 0 <= at + way < count and energy(at + way) <= limit + 1.0:
        at += way
        if abs(times[at] - times[lowest]) > 6_000_000:
            return None
    if not 0 <= at + way < count:
        return None
    # Climb while it still rises noticeably.
    foot, top = at, at
    reach = max(2, round(120_000 / block.frame))
    while 0 <= top + way < count:
        ahead = min(max(top + way * reach, 0), count - 1)
        if energy(ahead) < energy(top) * 1.03 + 0.4 or abs(times[top] - times[foot]) > 4_000_000:
            break
        top += way
    full_range = range(top, min(max(top + way * reach, -1), count), way) or [top]
    full = sorted(energy(i) for i in full_range)[len(full_range) // 2]
    if full < 8:
        return None
    inner = [i for i in range(foot, top + way, way) if 0.12 * full < energy(i) < 0.88 * full]
    if len(inner) < 2:
        return times[foot + way] if way > 0 else times[foot]
    slope, offset = fit_line([times[i] for i in inner], [energy(i) for i in inner])
    if slope * way <= 0:
        return None
    return round((full - offset) / slope)


def find_events(block):
    """All transitions of a block, in order and without overlap."""
    gradual = list(find_fades(block))
    cuts = [c for c in find_cuts(block) if not any(g.first <= c.first <= g.last for g in gradual)]
    return sorted(gradual + cuts, key=lambda event: event.first)


# --- analysis in blocks: memory does not grow with the video's length -------------------------------------------------

BLOCK = 20_000_000    # microseconds decided at a time
CONTEXT = 8_000_000   # microseconds seen before and after what is decided
MOST = 12_000         # pictures held at once, whatever the timestamps say


class Analysis:
    """What is known of a video: the times of its pictures and the transitions. This is what the cache holds."""

    def __init__(self, duration=0, times=None, events=None):
        self.duration = duration
        self.times = times if times is not None else array.array("q")
        self.events = events if events is not None else []


def analyse(path, skip, progress):
    seek = max(0, skip - LEAD_IN)
    seek = seek // 1000 * 1000
    result = Analysis()
    held_times, held, steps = [], [], []
    decided = None
    with Frames(path, seek) as frames:
        for times, pictures in regular_times(frames.batches()):
            if times:
                previous = held[-1:] + pictures
                steps += [] if held else [0.0]
                steps += map(distance, previous[1:], previous) if held else map(distance, pictures[1:], pictures)
                held_times += times
                held += pictures
                result.times.extend(times)
                if decided is None:
                    decided = times[0] - 1
                progress.show(times[-1], frames.header.duration)
                while held_times[-1] - decided > BLOCK + CONTEXT or len(held) > MOST:
                    upto = min(decided + BLOCK, held_times[len(held) * 2 // 3])
                    block = Block(held_times, held, steps, held_times[0] == result.times[0], False)
                    result.events += [e for e in find_events(block) if decided < e.last <= upto]
                    decided = upto
                    gone = bisect.bisect_left(held_times, decided - CONTEXT)
                    del held_times[:gone], held[:gone], steps[:gone]
            else:
                progress.show(result.times[-1] if result.times else None, frames.header.duration)
        header = frames.header
    if held:
        block = Block(held_times, held, steps, held_times[0] == result.times[0], True)
        result.events += [e for e in find_events(block) if e.last > decided]
    elif not header.opened:
        raise Failure("无法识别为视频文件：" + printable(path))
    elif not header.has_video:
        raise Failure("文件里没有视频画面：" + printable(path))
    elif not seek:
        raise Failure("无法读取视频画面，文件可能已损坏：" + printable(path))
    result.duration = header.duration or (result.times[-1] + 40_000 if result.times else 0)
    return result


# --- profiles and segments ----------------------------------------------------------------------------------------------

def removable(event, profile):
    return event.kind != "cut"


def milliseconds(microseconds):
    return microseconds // 1000 / 1000


def usual_gap(times):
    gaps = sorted(times[i + 1] - times[i] for i in range(0, len(times) - 1, max(1, len(times) // 2000)))
    return gaps[len(gaps) // 2] if gaps else 40_000


class Timeline:
    """Turns picture times into limits that survive being cut with three decimals."""

    def __init__(self, analysis):
        self.times = analysis.times
        self.gap = usual_gap(self.times)
        end = self.times[-1] + self.gap if self.times else 0
        self.end = max(end, analysis.duration) if abs(analysis.duration - end) < 500_000 else end

    def start_at(self, microseconds):
        """The start of a segment whose first picture is the first at or after this time."""
        i = bisect.bisect_left(self.times, microseconds)
        return milliseconds(self.times[i]) if i < len(self.times) else milliseconds(self.end)

    def end_before(self, microseconds):
        """The end of a segment that must not contain the first picture at or after this time."""
        i = bisect.bisect_left(self.times, microseconds)
        if i >= len(self.times):
            return round(self.end / 1e6, 3)
        gap = min(self.gap, self.times[i] - self.times[i - 1]) if i else self.gap
        return round(max(0, self.times[i] - gap / 2) / 1e6, 3)


def build(analysis, options):
    """The events as reported and the segments to keep, both in seconds."""
    timeline = Timeline(analysis)
    times = analysis.times
    skip = round(options.skip_start_seconds * 1e6)
    profile = options.fade_removal_profile
    left = round(options.fade_left_padding_seconds * 1e6)
    right = round(options.fade_right_padding_seconds * 1e6)
    events, segments = [], []
    if not times or skip > times[-1]:
        return events, segments
    begin = timeline.start_at(skip) if skip > times[0] else milliseconds(times[0])

    def keep(start, end):
        if end - start > 0.0005:
            segments.append((start, end))

    for event in analysis.events:
        if event.last <= skip or (event.edge and profile != "extreme"):
            continue
        start, end = timeline.end_before(event.first), timeline.start_at(event.last)
        start = max(start, options.skip_start_seconds) if event.first < skip else start
        events.append({"index": len(events) + 1, "type": event.kind, "start": start, "end": end,
                       "duration": round(max(0.0, end - start), 3), "score": round(event.score, 3),
                       "source": event.source})
        if removable(event, profile):
            keep(begin, round(start - left / 1e6, 3))
            begin = timeline.start_at(event.last + right)
        else:
            keep(begin, start)
            begin = end
    keep(begin, round(timeline.end / 1e6, 3))
    return events, segments


# --- output -----------------------------------------------------------------------------------------------------------

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
    options = parse_arguments(words)
    check_file(options.video)
    skip = round(min(options.skip_start_seconds, 1e9) * 1e6)
    analysis = analyse(options.video, skip, Progress(skip))
    result = document(options, analysis)
    text = json.dumps(result, ensure_ascii=False, allow_nan=False) if options.json else readable(result)
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
