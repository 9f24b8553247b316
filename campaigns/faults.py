"""The fault campaign: the real program on a virtual display, and everything around it going wrong.

faults.py <build folder> [--report FILE] [part of a case's title]...

Run it by scripts/faults, in a mount namespace of its own: it mounts small disks and a false ffmpeg. Every case runs the
program in order, then with the fault, then in order again, and quits it.
"""

import argparse
import contextlib
import importlib
import os
import pathlib
import platform
import signal
import subprocess
import sys
import tempfile
import time

from gaps import watched_gaps
from kestrel_at_screen import Desktop, Failure, expect, make_video
from quitting import Installation
from trial import CASES, VIDEO_SECONDS, Trial

for room in ("jobs", "detectors", "surroundings"):  # each registers its cases
    importlib.import_module(f"faults_of_{room}")

MOST_GROWTH_MB = 24  # caches of fonts and pictures, and what the allocator keeps
INTRODUCTION = """# Faults

What Kestrel does when everything around it goes wrong: made by `scripts/faults`, which runs the real program on a
virtual display, in order, with the fault, and in order again.

{} cases, {} failed; {}, {} {}, {} cores.

In every case the numbers of completed and failed jobs make up the total, the window works on afterwards, the source
is untouched by us, the program ends with status 0, and no process is left. A gap is the longest time for which the main
thread answered nothing during the fault; what other programs had of the processors meanwhile does not count.

ffmpeg is given a clip's final name, as the command in the log says. Hence two limits that remain: what somebody puts
under that name in the tenth of a second between ffmpeg's launch and its opening the file is overwritten; and when
Kestrel is killed and its ffmpegs with it, or the power fails, the clips that were being written stay as far as they
were. What they were to replace is beside them, hidden, until the next split into that folder puts it back, or leaves it
beside a short clip that can be played.

| Case | What was seen | Descriptors | Memory, MB | Peak, MB | Gap, ms | Time |
|---|---|---|---|---|---|---|
"""


class Row:
    """What came of one case."""

    def __init__(self, title):
        self.title = title
        self.seen = ""
        self.vitals = []
        self.gap = None
        self.seconds = 0.0

    def markdown(self):
        cells = [self.title, self.seen.replace("|", "\\|").replace("\n", " "), "", "", "", "", f"{self.seconds:.0f} s"]
        if self.vitals:
            (descriptors, memory, _), (descriptors_later, memory_later, peak) = self.vitals
            cells[2:5] = [f"{len(descriptors)} → {len(descriptors_later)}", f"{memory:.0f} → {memory_later:.0f}",
                          f"{peak:.0f}"]
        if self.gap is not None:
            cells[5] = f"{self.gap:.0f}"
        return "| " + " | ".join(cells) + " |"


def run_case(desktop, build_folder, case):
    """Whether all was as it must be, and the row, which tells what was not."""
    row = Row(case.title)
    start = time.monotonic()
    try:
        with contextlib.ExitStack() as stack:
            if case.own_desktop:
                desktop = stack.enter_context(Desktop())
            trial = stack.enter_context(Trial(desktop, build_folder, **case.options))
            trial.prepare()
            before = trial.work_in_order()
            if case.twice:
                case.function(trial)
                before = trial.work_in_order()
            with watched_gaps(trial.kestrel) as gaps:
                row.seen = case.function(trial)
            row.gap = gaps[0]
            if trial.kestrel.process.poll() is None:
                after = trial.work_in_order()
                row.vitals = [before, after]
                trial.quit()
                expect(len(after[0]) <= len(before[0]), f"descriptors: {before[0]}, then {after[0]}")
                expect(after[1] - before[1] < MOST_GROWTH_MB, f"memory: {before[1]:.0f} MB, then {after[1]:.0f} MB")
                expect(after[2] < case.peak_mb, f"memory: {after[2]:.0f} MB at most")
            expect(row.gap < case.gap_ms, f"the window stood still for {row.gap:.0f} ms")
        passed = True
    except (Failure, subprocess.CalledProcessError, OSError) as failure:
        row.seen = f"FAILED: {failure} {row.seen}"
        passed = False
    row.seconds = time.monotonic() - start
    return passed, row


def write_report(path, rows, failed):
    introduction = INTRODUCTION.format(len(rows), failed, time.strftime("%Y-%m-%d %H:%M"), platform.system(),
                                       platform.release(), os.cpu_count())
    path.write_text(introduction + "".join(row.markdown() + "\n" for row in rows))


def main():
    arguments = argparse.ArgumentParser()
    arguments.add_argument("--report", type=pathlib.Path)
    arguments.add_argument("build_folder", type=pathlib.Path)
    arguments.add_argument("titles", nargs="*")
    wanted = arguments.parse_args()
    for inherited in (signal.SIGHUP, signal.SIGINT, signal.SIGQUIT):  # a shell's background has them ignored
        signal.signal(inherited, signal.SIG_DFL)
    rows = []
    failed = 0
    with Desktop() as desktop, tempfile.TemporaryDirectory() as folder:
        Trial.video = Installation.video = pathlib.Path(folder) / "source.mp4"
        make_video(Trial.video, [VIDEO_SECONDS / 4] * 4)
        for case in CASES:
            if wanted.titles and not any(part in case.title for part in wanted.titles):
                continue
            passed, row = run_case(desktop, wanted.build_folder.resolve(), case)
            rows.append(row)
            failed += not passed
            print(row.markdown(), flush=True)
            if wanted.report:
                write_report(wanted.report, rows, failed)
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
