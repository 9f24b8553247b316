"""Dissolves: the pictures between two scenes are blends of them."""

from operator import sub

from kestrel_detector.events import WEAK, Event
from kestrel_detector.measures import Way, correlation, distance, dot, fit_line, mean_picture
from kestrel_detector.scenes import LIVELIER, another_scene, cells, moves_outside, own_part, steady_outside, surroundings


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


def drifts_on(block, i0, i1, off):
    """Whether there is no beginning and no end at the pictures i0 and i1: the change comes and goes on in the same
    direction, as in turning gradients and drifting fog and in the middle of a soft wipe, or the pictures move so much
    outside that between them a blend of two scenes could not be as clean as `off`, or go as straight."""
    moves, along = zip(*moves_outside(block, i0, i1))
    if min(along) > 0.3 or min(moves) > 0.4 and off < 0.15 * min(moves) or max(moves) > LIVELIER:
        return True
    straight = sum(block.steps[i0 + 1:i1 + 1]) < 1.25 * distance(block.pictures[i0], block.pictures[i1])
    return straight and sum(moves) > 1.2 and own_part(block, i0, i1) < 0.5


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
