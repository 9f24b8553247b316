"""What the user gets to read."""

import os
import time

from kestrel_detector.messages import Failure, clock, printable, say
from kestrel_detector.segments import build
from kestrel_detector.times import fps_of


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


def write_out(text):
    data = (text + "\n").encode("utf-8", "replace")
    try:
        while data:
            data = data[os.write(1, data):]
    except BrokenPipeError:
        raise
    except OSError as error:
        raise Failure("无法写出结果：" + os.strerror(error.errno)) from error
