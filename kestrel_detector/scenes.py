"""Two scenes and the pictures between them: what any decider may ask."""

import bisect
from itertools import accumulate
from operator import sub

from kestrel_detector.measures import correlation, distance, dot, middle


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


def surroundings(block, i0, i1):
    """The indices of some pictures of the scenes before i0 and after i1."""
    reach = min(600_000, max(200_000, (block.times[i1] - block.times[i0]) // 2))
    low, high = block.at(block.times[i0] - reach), block.at(block.times[i1] + reach)
    return [i0 - (i0 - low) * k // 7 for k in range(8)], [i1 + (high - i1) * k // 7 for k in range(8)]


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


def own_path(block, i0, i1):
    """The sum of the steps between the pictures i0 and i1 beyond what both scenes move or flicker by themselves."""
    reach = max(4, (i1 - i0) // 2)
    sides = block.steps[max(1, i0 + 1 - reach):i0 + 1], block.steps[i1 + 1:i1 + 1 + reach]
    usual = [middle(side) for side in sides if side] or [0.0]
    return sum(block.steps[i0 + 1:i1 + 1]) - (i1 - i0) * sum(usual) / len(usual)


def own_part(block, i0, i1):
    """The part of all movement between the pictures i0 and i1 that their change makes."""
    return own_path(block, i0, i1) / max(1e-9, sum(block.steps[i0 + 1:i1 + 1]))


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
