"""The times of the pictures: strictly rising, and how many there are in a second."""

from itertools import islice
from operator import sub

SHORTEST = 1_000  # microseconds; closer pictures have no times of their own
FARTHEST = 10 ** 13  # microseconds; no video lasts 115 days


def regular_times(batches):
    """Makes timestamps strictly rising and fills missing ones: damaged and joined files have such faults."""
    last, step, shift = None, 40_000, 0
    for stamps, pictures in batches:
        times = []
        for stamp in stamps:
            if stamp is None or abs(stamp) > FARTHEST:
                stamp = 0 if last is None else last + step
            elif last is not None:
                stamp += shift
                if stamp < last - 1_000_000:  # the timestamps begin anew
                    shift += last + step - stamp
                    stamp = last + step
                elif stamp <= last:
                    stamp = last + 1
                elif stamp - last < 1_000_000:
                    step = stamp - last
            last = stamp
            times.append(last)
        yield times, pictures


def usual_gap(times):
    """Microseconds between two pictures, whatever mixture of rates they have; what is next to nothing is no gap."""
    every = max(1, len(times) // 10_000) | 1  # odd, so as not to fall in with a pattern of the pictures
    gaps = [times[i] - times[i - 1] for i in range(1, len(times), every)]
    gaps = sorted(gap for gap in gaps if gap >= SHORTEST)
    return gaps[len(gaps) // 2] if gaps else 40_000


def fps_of(times):
    """The nominal rate: pictures a second where they come as they usually do."""
    usual = usual_gap(times)
    count, total = 0, 0
    for gap in map(sub, islice(times, 1, None), times):
        if abs(gap - usual) <= usual / 4:
            count, total = count + 1, total + gap
    return round(1e6 * count / total if count else 1e6 / usual, 3)
