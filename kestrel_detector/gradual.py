"""Gradual changes: ways from one steady picture to another."""

from kestrel_detector.dissolves import blend_at, dissolve_at
from kestrel_detector.events import WEAK, overlaps
from kestrel_detector.measures import correlation
from kestrel_detector.scenes import pace_limits, steady_outside
from kestrel_detector.wipes import slide_at, sweep_at, wipe_at


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
