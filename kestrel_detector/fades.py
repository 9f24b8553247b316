"""Fades: the picture shrinks to one plain colour and another grows out of it."""

from operator import sub

from kestrel_detector.block import SAMPLE
from kestrel_detector.events import Event
from kestrel_detector.measures import coarse, correlation, distance, dot, fit_line, middle

PLAIN = 12  # the range of luma (the middle nine tenths) of a plain picture
SHORT_BLACK = 500_000  # microseconds of black between two cuts that are one transition, not a scene of their own
LONGEST = {"黑场": 6_000_000, "白场": 4_000_000, "纯色": 1_500_000}  # microseconds of colour that still make one fade


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
    lowest = plainest(block, min(range(low, high), key=lambda i: block.luma_range(i)))
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
    if block.luma_range(lowest) > (PLAIN if name != "纯色" else 2):
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
        return block.luma_range(i) <= PLAIN and (brightness(near) >= 32 or brightness(i) < 32)

    if block.luma_range(near) > PLAIN:
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
    return brightest if levels[brightest] > 215 else min(levels, key=lambda i: block.luma_range(i))


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
