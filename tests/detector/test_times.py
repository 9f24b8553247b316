"""Tests of what is worked out from times alone: the nominal rate, regular times, the segments between events."""

import os
import random
import sys
import unittest
from itertools import accumulate

sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__)))))
from kestrel_detector.analysis import Analyser, Analysis  # noqa: E402
from kestrel_detector.command_line import Options  # noqa: E402
from kestrel_detector.events import Event  # noqa: E402
from kestrel_detector.measures import FRAME  # noqa: E402
from kestrel_detector.output import document  # noqa: E402
from kestrel_detector.segments import build  # noqa: E402
from kestrel_detector.times import fps_of, regular_times  # noqa: E402

HOUR = 3_600_000_000


def at_rates(*stretches):
    """Times of (count, microseconds apart)."""
    return list(accumulate([0] + [gap for count, gap in stretches for _ in range(count)]))


TIMES = {
    "none": ([], 25.0),
    "one picture": ([7], 25.0),
    "two pictures": ([0, 500_000], 2.0),
    "a steady rate": (at_rates((500, 40_000)), 25.0),
    "in whole milliseconds": ([n * 1000 // 24 * 1000 for n in range(1000)], 24.0),
    "60 a second, then mostly 30": (at_rates((5040, 16_667), (6000, 33_333)), 30.0),
    "30 a second, then mostly 60": (at_rates((100, 33_333), (6000, 16_667)), 59.999),
    "in turns": (at_rates(*[(1, 20_000), (1, 60_000), (1, 60_000)] * 300), 16.667),
    "one a second": (at_rates((100, 1_000_000)), 1.0),
    "gaps of hours": (at_rates((50, 40_000), (1, 5 * HOUR), (50, 40_000), (3, HOUR)), 25.0),
    "all but constant": (at_rates((19_000, 1)), 25.0),
    "constant, then steady": (at_rates((9000, 1), (9000, 20_000)), 50.0),
}


class Times(unittest.TestCase):
    def test_the_rate_and_that_nothing_breaks(self):
        """With pictures of three scenes, each analysis comes to an end whatever the times are."""
        scenes = [random.Random(seed).randbytes(FRAME) for seed in range(3)]
        for name, (times, rate) in TIMES.items():
            with self.subTest(name):
                self.assertEqual(fps_of(times), rate)
                analyser = Analyser()
                for k in range(0, len(times), 400):
                    part = times[k:k + 400]
                    analyser.feed(part, [scenes[(k + i) * 3 // len(times)] for i in range(len(part))])
                events = document(Options(["x"]), analyser.finish())["events"]
                if len(times) > 10:
                    self.assertEqual([event["type"] for event in events], ["cut", "cut"])

    def test_times_become_regular(self):
        for name, stamps, times in (
                ("in order", [0, 40, 80], [0, 40, 80]), ("missing", [None, 100, None], [0, 100, 200]),
                ("constant and backward", [50, 50, 40, 60], [50, 51, 52, 60]),
                ("beginning anew", [5_000_000, 5_040_000, 0, 40_000], [5_000_000, 5_040_000, 5_080_000, 5_120_000]),
                ("absurd", [0, 40_000, 1 << 62, 120_000], [0, 40_000, 80_000, 120_000])):
            with self.subTest(name):
                found, = regular_times([(stamps, None)])
                self.assertEqual(found[0], times)

    def test_segments_between_events(self):
        cut, fade = Event("cut", 1_000_000, 1_000_000, 0.9, ""), Event("fade", 3_000_000, 3_400_000, 0.9, "")
        ends = Event("fade", 0, 400_000, 0.9, "", "opening")
        for name, events, words, segments in (
                ("none", [], [], [(0.0, 4.0)]),
                ("a cut", [cut], [], [(0.0, 0.98), (1.0, 4.0)]),
                ("a fade with paddings", [fade], [], [(0.0, 2.86), (3.64, 4.0)]),
                ("a fade that is not taken out", [fade], ["--fade-removal-profile", "conservative"], [(0.0, 2.94), (3.6, 4.0)]),
                ("an opening", [ends], [], [(0.0, 4.0)]),
                ("an opening taken out", [ends], ["--fade-removal-profile", "extreme"], [(0.68, 4.0)]),
                ("eaten by its padding", [cut, fade], ["--fade-left-padding-seconds", "2"], [(0.0, 0.98), (3.64, 4.0)]),
                ("skipped", [cut, fade], ["--skip-start-seconds", "1.5"], [(1.52, 2.86), (3.64, 4.0)])):
            with self.subTest(name):
                analysis = Analysis(4_000_000, at_rates((99, 40_000)), events)
                self.assertEqual(build(analysis, Options(["x", *words]))[1], segments)


if __name__ == "__main__":
    unittest.main()
