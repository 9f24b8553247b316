"""Cuts: a step that stands out, then the vetoes."""

import bisect
from itertools import repeat
from operator import sub

from kestrel_detector.events import Event
from kestrel_detector.measures import Way, correlation, distance, dot
from kestrel_detector.scenes import shifted

CUT_FLOOR = 4.0   # compression and grain stay below this mean difference
CUT_RATIO = 2.6   # a cut stands out against the motion around it by this factor
HELD = 0.2        # a repeated picture differs less than this part of the steps around it
JERK = 3.0        # a cut to a picture of much the same structure stands out by more
HALT = 250_000    # microseconds; a picture that stays this long is a scene of its own
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
        if any(other > step and abs(j - i) <= 2 and abs(block.times[j] - block.times[i]) < HALT for _, j, _, other in candidates):
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
    steps, times, gap = block.steps, block.times, block.times[new] - block.times[i - 1]
    low, high = block.around(i, 250_000)
    others = [j for j in range(max(1, min(low, i - 3)), min(len(steps), max(high, i + 4))) if not i <= j <= new and not is_held(steps, j)]
    # Where pictures come irregularly, the scene moves on in a longer gap.
    longer = [gap / (times[j] - times[j - 1]) for j in others]
    longer = [min(factor, 4.0) if factor > 1.25 else 1.0 for factor in longer]
    near = sorted(steps[j] * factor for j, factor in zip(others, longer)) or [0.0]
    usual = near[len(near) * 6 // 10]
    if step >= CUT_RATIO * usual + 2.5:
        moving = near[-1] > 0.2 * step
        return 0 if moving and is_motion(block, i, new) else step / (usual + 2.5)
    if usual < 3.0:
        return 0
    # Perhaps the light flickers: compare without the change of brightness.
    still = sorted(steady_step(block, j) * factor for j, factor in zip(others, longer)) or [0.0]
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
