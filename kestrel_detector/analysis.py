"""From the pictures to the transitions; memory does not grow with the video's length."""

import array
import bisect

from kestrel_detector.block import Block
from kestrel_detector.cuts import find_cuts
from kestrel_detector.events import WEAK
from kestrel_detector.fades import find_fades
from kestrel_detector.frames import LEAD_IN, Frames
from kestrel_detector.gradual import find_gradual
from kestrel_detector.messages import Failure, clock, printable, say
from kestrel_detector.times import regular_times, usual_gap

STRIDE = 4_000_000    # microseconds decided at a time
CONTEXT = 8_000_000   # microseconds seen before and after what is decided
MISSING = 10_000_000  # microseconds; where so much is missing at the end, a video was not read as a whole
MOST = 12_000         # pictures held, whatever their timestamps say


class Analysis:
    """What is known of a video: the times of its pictures and the transitions, and whether it was read to its end."""

    def __init__(self, duration=0, times=None, events=None):
        self.duration = duration
        self.times = times if times is not None else array.array("q")
        self.events = events if events is not None else []
        self.whole = True


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
    if header.knows_no_vsync and sync == "-vsync":  # the option's later name
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
    missing = result.duration - max(end, skip)
    result.whole = header.estimated or missing <= max(2_000_000, min(MISSING, result.duration // 10))
    if not result.whole:
        say("注意：画面在 %s 处就结束了，而文件标明的时长是 %s。文件可能不完整，或者读取时中断了；这次的结果不会保存。"
            % (clock(end), clock(result.duration)))
    return result
