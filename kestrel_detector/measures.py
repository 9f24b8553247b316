"""Pictures of 32x18, and what is measured of them and between them."""

import array
import functools
import sys
from operator import mul, sub

WIDTH, HEIGHT = 32, 18
LUMA = WIDTH * HEIGHT
CHROMA = LUMA // 4
FRAME = LUMA + 2 * CHROMA


@functools.lru_cache(maxsize=128)
def lanes(length):
    """Integers with, in every 16 bits: the low byte full, the lowest bit, the bit above the low byte."""
    low = int.from_bytes(b"\xff\x00" * (length // 2), "little")
    return low, low // 255, low // 255 << 8


def differences(a, b):
    """The absolute differences of two byte strings, summed two by two. All bytes are subtracted at once, as two long
    integers with room for a carry between the bytes: several times as fast as one by one."""
    length = len(a) + len(a) % 2
    low, one, above = lanes(length)
    a, b = int.from_bytes(a, "little"), int.from_bytes(b, "little")
    result = 0
    for a, b in ((a & low, b & low), ((a >> 8) & low, (b >> 8) & low)):
        raw = (a | above) - b  # 256 + a - b in every place of 16 bits
        positive = (raw >> 8) & one
        flip = low + positive - (positive << 8)  # 255 where a < b
        result += ((raw & low) ^ flip) + one - positive
    places = array.array("H", result.to_bytes(length, "little"))
    if sys.byteorder == "big":
        places.byteswap()
    return places


def distance(a, b):
    """Mean absolute difference of two pictures, 0 to 255."""
    return sum(differences(a, b)) / len(a)


def distances(old, new):
    """The distances between the pictures of two lists, pair by pair."""
    result = []
    for k in range(0, len(new), 32):
        size = len(new[0])
        places = differences(b"".join(old[k:k + 32]), b"".join(new[k:k + 32]))
        result += [sum(places[i:i + size // 2]) / size for i in range(0, len(places), size // 2)]
    return result


def dot(a, b):
    return sum(map(mul, a, b))


def correlation(a, b):
    """Of two planes: 1 for the same structure whatever the light, around 0 for unrelated pictures."""
    n = len(a)
    mean_a, mean_b = sum(a) / n, sum(b) / n
    variance_a, variance_b = dot(a, a) / n - mean_a * mean_a, dot(b, b) / n - mean_b * mean_b
    if variance_a < 2 or variance_b < 2:  # a plain picture has no structure
        return 0.0
    return (dot(a, b) / n - mean_a * mean_b) / (variance_a * variance_b) ** 0.5


def fit_line(xs, ys):
    """Least squares: (slope, intercept)."""
    n = len(xs)
    mean_x, mean_y = sum(xs) / n, sum(ys) / n
    across = sum((x - mean_x) ** 2 for x in xs)
    slope = sum((x - mean_x) * (y - mean_y) for x, y in zip(xs, ys)) / across if across else 0.0
    return slope, mean_y - slope * mean_x


def middle(values):
    return sorted(values)[len(values) // 2]


CELL = 12  # the coarse picture's values are sums over cells of 4x3


def coarse(picture):
    """The sums of 8x6 cells of luma and 4x3 of both chroma planes: what moves in the scene hardly changes them.

    All cells are added at once, in the 16-bit places of one long integer, the neighbours shifted over each other."""
    low, _, _ = lanes(FRAME)
    whole = int.from_bytes(picture, "little")
    pairs = (whole & low) + ((whole >> 8) & low)
    fours = pairs + (pairs >> 16)
    result = []
    chroma = WIDTH // 2, HEIGHT // 2
    for start, width, rows in ((0, WIDTH, HEIGHT), (LUMA, *chroma), (LUMA + CHROMA, *chroma)):
        places = fours + (fours >> 8 * width) + (fours >> 16 * width)
        places = array.array("H", places.to_bytes(FRAME, "little"))
        if sys.byteorder == "big":
            places.byteswap()
        for row in range(start, start + rows * width, 3 * width):
            result += places[row // 2:(row + width) // 2:2]
    return result


class Way:
    """The line from one picture to another: how far along it a third picture lies (0 old, 1 new)."""

    def __init__(self, old, new):
        self.line = list(map(sub, new, old))
        self.energy = dot(self.line, self.line)
        self.base = dot(old, self.line)

    def __call__(self, picture):
        return (dot(picture, self.line) - self.base) / self.energy


def mean_picture(pictures, indices):
    """The mean of eight pictures, all bytes added at once as in differences()."""
    size = len(pictures[indices[0]])
    low, one, _ = lanes(size)
    wholes = [int.from_bytes(pictures[i], "little") for i in indices]
    even, odd = sum(whole & low for whole in wholes), sum(whole >> 8 & low for whole in wholes)
    return ((even + 4 * one >> 3 & low) + ((odd + 4 * one >> 3 & low) << 8)).to_bytes(size, "little")
