"""Wipes: place by place, the new scene takes over from the old one."""

import functools
import math
from itertools import accumulate
from operator import add, itemgetter, sub

from kestrel_detector.events import Event
from kestrel_detector.measures import Way, correlation, differences, distance, fit_line, mean_picture
from kestrel_detector.scenes import LIVELIER, another_scene, cells, moves_outside, own_part, own_path, pace_limits, shifted, steady_outside, surroundings


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
