"""The segments to keep, with limits that survive being cut with three decimals."""

import bisect

from kestrel_detector.profiles import SLIVER, reported, stretch_of
from kestrel_detector.times import usual_gap


def milliseconds(microseconds):
    return microseconds // 1000 / 1000


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
