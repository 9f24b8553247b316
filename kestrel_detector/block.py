"""The stretch of the video that is in memory: what the deciders see."""

import bisect
from operator import mul

from kestrel_detector.measures import CELL, CHROMA, HEIGHT, LUMA, WIDTH, coarse, distances, dot
from kestrel_detector.times import usual_gap

SAMPLE = 80_000  # microseconds between the samples that are looked at for gradual changes
LENGTHS = (3, 4, 5, 7, 9, 12, 16, 21, 28, 37, 49)  # in samples: the lengths of gradual changes that are looked for


class Block:
    """The stretch of the video that is in memory: times in microseconds, pictures without static black bars, the
    distance of each to the one before it (the step), and for the samples what gradual changes are found by. Everything
    is measured once, when a picture comes in."""

    def __init__(self):
        self.times, self.whole_pictures = [], []
        self.opening, self.closing = True, False  # whether the video's first or last picture is in here
        self.frame = 40_000  # the usual time between two pictures
        self.crop = (0, 0, WIDTH, HEIGHT)
        self.clear()

    def clear(self):
        """Forgets all measures."""
        left, top, right, bottom = self.crop
        self.width, self.height = right - left, bottom - top
        self.luma = self.width * self.height
        self.pictures, self.steps, self.steady_steps, self.luma_ranges, self.details = [], [], {}, {}, {}
        self.samples, self.ranges, self.coarse, self.norms, self.products, self.due = [], [], [], [], [], None
        self.candidates = []  # windows that may hold a gradual change: (trust, first, last)
        self.verdicts = {}    # what the deciders found, so that it is worked out once

    def extend(self, times, pictures):
        known = len(self.times)
        self.times += times
        self.whole_pictures += pictures
        if known < 100:
            self.frame = usual_gap(self.times)
        self.measure(known)

    def measure(self, known):
        """Measures the pictures from index `known` on."""
        new = self.whole_pictures[known:]
        if self.luma < LUMA:
            new = [cropped(picture, *self.crop) for picture in new]
        previous = self.pictures[-1:] or new[:1]
        self.pictures += new
        self.steps += distances((previous + new)[:len(new)], new)
        for i in range(known, len(self.times)):
            if self.due is None or self.times[i] >= self.due:
                self.due = self.times[i] + SAMPLE - self.frame // 3
                self.samples.append(i)
                self.ranges.append(self.luma_range(i))
                self.coarse.append(coarse(self.whole_pictures[i]))
                self.norms.append(dot(self.coarse[-1], self.coarse[-1]))
                self.products.append({})
                last = len(self.samples) - 1
                for n in LENGTHS:
                    outside = max(2, n * 2 // 5)
                    self.consider(last - outside - n, last - outside, outside)

    def consider(self, k0, k1, outside):
        if k0 >= 2:  # something of the old scene must be seen, as of the new one
            trust = way_between(self, k0, k1, outside)
            if trust:
                self.candidates.append((trust, self.times[self.samples[k0]], self.times[self.samples[k1]]))

    def end(self):
        """No more pictures come: the windows that reach to the end are looked at too."""
        self.closing = True
        last = len(self.samples) - 1
        for n in LENGTHS:
            outside = max(2, n * 2 // 5)
            for k1 in range(max(n, last - outside + 1), last - 1):
                self.consider(k1 - n, k1, outside)

    def fit_bars(self):
        """Masks the static black bars of all that is in memory; measures anew when they have changed."""
        crop = bars([self.whole_pictures[i] for i in self.samples or [-1]])
        if crop != self.crop:
            self.crop = crop
            self.clear()
            self.measure(0)

    def drop(self, before):
        """Forgets the pictures before this time."""
        gone = bisect.bisect_left(self.times, before)
        if not gone:
            return
        self.opening = False
        del self.times[:gone], self.whole_pictures[:gone], self.pictures[:gone], self.steps[:gone]
        self.frame = usual_gap(self.times)
        self.steady_steps, self.luma_ranges, self.details = {}, {}, {}
        past = bisect.bisect_left(self.samples, gone)
        del self.samples[:past], self.ranges[:past], self.coarse[:past], self.norms[:past], self.products[:past]
        self.samples = [i - gone for i in self.samples]
        start = self.times[0]
        self.candidates = [c for c in self.candidates if c[1] >= start]
        self.verdicts = {key: verdict for key, verdict in self.verdicts.items() if key[0] >= start}

    def product(self, a, b):
        """The dot product of the coarse pictures of the samples a and b."""
        if a < b:
            a, b = b, a
        known = self.products[a].get(a - b)
        if known is None:
            known = self.products[a][a - b] = sum(map(mul, self.coarse[a], self.coarse[b]))
        return known

    def at(self, microseconds):
        """The index of the first picture at or after this time, or the last one."""
        return min(len(self.times) - 1, bisect.bisect_left(self.times, microseconds))

    def around(self, i, microseconds):
        """The limits of the indices within this time of picture i, as for range()."""
        return (bisect.bisect_left(self.times, self.times[i] - microseconds),
                bisect.bisect_right(self.times, self.times[i] + microseconds))

    def luma_of(self, i):
        return self.pictures[i][:self.luma]

    def luma_range(self, i):
        """The range of the middle nine tenths of luma: small for a plain picture, even with a logo on it."""
        if i not in self.luma_ranges:
            values = sorted(self.luma_of(i)[::2])
            edge = len(values) // 20
            self.luma_ranges[i] = values[-1 - edge] - values[edge]
        return self.luma_ranges[i]


def way_between(block, k0, k1, outside):
    """How much the samples k0 and k1 look like the steady ends of a gradual change, from 0 (not at all) on.

    All places along the way are worked out from dot products of coarse pictures, which are shared by many windows."""
    product, norms = block.product, block.norms
    old_old, old_new = norms[k0], product(k0, k1)
    energy = old_old + norms[k1] - 2 * old_new
    if energy < (4 * CELL) ** 2 * len(block.coarse[k0]):
        return 0

    def along(k):
        return (product(k, k1) - product(k, k0) - old_new + old_old) / energy

    n = k1 - k0
    half = along(k0 + n // 2)
    if not 0.15 < half < 0.85:
        return 0
    k_before, k_after = max(0, k0 - outside), min(len(block.samples) - 1, k1 + outside)
    before, after = along(k_before), along(k_after)
    if not (-0.35 < before < 0.35 and 0.65 < after < 1.35):
        return 0
    early, late = along(k0 + n // 4), along(k1 - n // 4)
    if not -0.15 < early <= half + 0.1 <= late + 0.2:
        return 0
    bend = max(abs(half - n // 2 / n), abs(early - n // 4 / n), abs(late - 1 + n // 4 / n))
    trust = 1 - abs(before) - abs(after - 1) - bend
    if trust < 0.3:
        return 0
    drift = sum(norms[a] + norms[b] - 2 * product(a, b) for a, b in ((k_before, k0), (k_after, k1)))
    if drift > 0.5 * energy:
        return 0
    # In between, the cells lie between old and new, too; when the camera moves, many lie elsewhere.
    old, new, between = block.coarse[k0], block.coarse[k1], block.coarse[k0 + n // 2]
    ways = [(m - o) / (w - o) for o, w, m in zip(old, new, between) if abs(w - o) > 4 * CELL]
    wild = sum(not -0.4 < way < 1.4 for way in ways)
    return energy ** 0.5 * trust if wild < 0.35 * len(ways) else 0


BAR = 26  # black bars are not brighter


def bars(pictures):
    """The part of the pictures inside static black bars: (left, top, right, bottom), all even."""
    whole = (0, 0, WIDTH, HEIGHT)
    last = pictures[-1]
    sides = (last[:WIDTH], last[LUMA - WIDTH:LUMA], last[0:LUMA:WIDTH], last[WIDTH - 1:LUMA:WIDTH])
    if all(max(side) > BAR for side in sides) or len(pictures) < 5:
        return whole
    pictures = pictures[::max(1, len(pictures) // 50)] + [last]
    brightest = bytes(map(max, *(p[:LUMA] for p in pictures)))
    rows = [y for y in range(HEIGHT) if max(brightest[y * WIDTH:(y + 1) * WIDTH]) > BAR]
    columns = [x for x in range(WIDTH) if max(brightest[x:LUMA:WIDTH]) > BAR]
    if not rows or not columns:
        return whole
    left, top = (columns[0] + 1) // 2 * 2, (rows[0] + 1) // 2 * 2
    right, bottom = (columns[-1] + 1) // 2 * 2, (rows[-1] + 1) // 2 * 2
    return (left, top, right, bottom) if right - left >= 8 and bottom - top >= 6 else whole


def cropped(picture, left, top, right, bottom):
    rows = [picture[y * WIDTH + left:y * WIDTH + right] for y in range(top, bottom)]
    for start in (LUMA, LUMA + CHROMA):
        rows += [picture[start + y * WIDTH // 2 + left // 2:start + y * WIDTH // 2 + right // 2]
                 for y in range(top // 2, bottom // 2)]
    return b"".join(rows)
