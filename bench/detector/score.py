#!/usr/bin/env python3
"""Scores the detector on the clips of make_clips.py.

    score.py FOLDER [--half report]... [--detector FILE] [--only TEXT] [--verbose] [--cut N] [--time]

FOLDER is what make_clips.py filled. Prints precision, recall and F1 by kind of transition and by kind of clip, the errors
of the limits, the transition time left in segments and the clean time lost, and clips that hold a neighbour's picture (from
the limits for all clips; with --cut N by really cutting N segments of every clip and counting their pictures). With --time,
the detector runs without its cache, alternating with a pure decode of the same file, and the ratio is printed.
"""

import argparse
import json
import os
import subprocess
import sys
import tempfile
import time
from collections import defaultdict

HERE = os.path.dirname(os.path.abspath(__file__))
DETECTOR = os.path.join(HERE, "..", "..", "detect_scene_changes.py")
NEAR = 0.1  # seconds by which a cut may be off and still count as found


def detect(detector, path, *more):
    words = [sys.executable, detector, path, "--json", "--no-cache", "--fade-left-padding-seconds", "0",
             "--fade-right-padding-seconds", "0", *more]
    done = subprocess.run(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    if done.returncode:
        sys.exit("%s: %s" % (path, done.stderr.decode()))
    return json.loads(done.stdout)


def overlap(a, b):
    inner = min(a[1], b[1]) - max(a[0], b[0])
    return max(0.0, inner) / (max(a[1], b[1]) - min(a[0], b[0]) or 1.0)


def pair(truth, found, fits):
    """One-to-one pairs (t, f), best fit first; fits(t, f) is a number, 0 for no fit."""
    ranked = sorted(((fits(t, f), n, m) for n, t in enumerate(truth) for m, f in enumerate(found)), reverse=True)
    used_t, used_f, pairs = set(), set(), []
    for fit, n, m in ranked:
        if fit > 0 and n not in used_t and m not in used_f:
            used_t.add(n)
            used_f.add(m)
            pairs.append((n, m))
    return pairs


class Count:
    def __init__(self):
        self.true = self.found = self.hit = 0

    def add(self, true, found, hit):
        self.true += true
        self.found += found
        self.hit += hit

    def __str__(self):
        precision = self.hit / self.found if self.found else 1.0
        recall = self.hit / self.true if self.true else 1.0
        f1 = 2 * self.hit / (self.true + self.found) if self.true + self.found else 1.0
        return "%4d true %4d found  P %.3f  R %.3f  F1 %.3f" % (self.true, self.found, precision, recall, f1)


class Totals:
    def __init__(self):
        self.counts = defaultdict(Count)
        self.ious, self.start_errors, self.end_errors = [], [], []
        self.gradual_time = self.left_time = self.clean_time = self.lost_time = 0.0
        self.segments = self.leaks = self.cut_clips = self.wrong_cuts = 0


def score_clip(folder, truth, result, totals, verbose):
    events = [(e["type"], e["start"], e["end"]) for e in result["events"]]
    true = [(kind, start, end) for kind, start, end, *_ in truth["events"]]
    frame = 1 / truth["rate"]

    def any_fit(t, f):
        near = min(t[2], f[2]) - max(t[1], f[1]) + NEAR
        return near + 10 * overlap(t[1:], f[1:]) if near >= 0 else 0

    pairs = pair(true, events, any_fit)
    totals.counts["all"].add(len(true), len(events), len(pairs))
    totals.counts["clip " + truth["file"].split("-")[0]].add(len(true), len(events), len(pairs))
    for group in ("montage", "moving", "low", "captions", "logo"):
        if group in truth["file"]:
            totals.counts["hard " + group].add(len(true), len(events), len(pairs))
    for n, _ in pairs:
        totals.counts["recall " + true[n][0]].hit += 1
    for kind, *_ in true:
        totals.counts["recall " + kind].true += 1
    cuts, found_cuts = [t for t in true if t[0] == "cut"], [e for e in events if e[0] == "cut"]
    hits = pair(cuts, found_cuts, lambda t, f: max(0, NEAR - abs(t[1] - f[2]) + 1e-9))
    totals.counts["cuts"].add(len(cuts), len(found_cuts), len(hits))
    slow, found_slow = [t for t in true if t[0] != "cut"], [e for e in events if e[0] != "cut"]
    fits = pair(slow, found_slow, lambda t, f: overlap(t[1:], f[1:]) if overlap(t[1:], f[1:]) >= 0.3 else 0)
    totals.counts["gradual"].add(len(slow), len(found_slow), len(fits))
    for n, m in fits:
        totals.ious.append(overlap(slow[n][1:], found_slow[m][1:]))
        totals.start_errors.append(abs(slow[n][1] - found_slow[m][1]))
        totals.end_errors.append(abs(slow[n][2] - found_slow[m][2]))
        totals.counts["recall* " + slow[n][0]].hit += 1
    for kind, *_ in slow:
        totals.counts["recall* " + kind].true += 1
    if verbose:
        missed = [true[n] for n in range(len(true)) if n not in {p[0] for p in pairs}]
        extra = [events[m] for m in range(len(events)) if m not in {p[1] for p in pairs}]
        badly = [(slow[n], found_slow[m]) for n, m in fits if overlap(slow[n][1:], found_slow[m][1:]) < 0.8]
        weak = [slow[n] for n in range(len(slow)) if n not in {p[0] for p in fits} and slow[n] not in missed]
        if missed or extra or badly or weak:
            print(truth["file"], [t[3:] for t in truth["events"] if t[0] == "wipe"])
            for title, items in (("missed", missed), ("extra", extra), ("limits", badly), ("not gradual", weak)):
                for item in items:
                    print("   ", title, item)
    segments = [(s["start"], s["end"]) for s in result["keep_segments"]]
    score_time(true, segments, truth, totals, frame)
    score_leaks(true, segments, truth, totals)
    return segments


def score_time(true, segments, truth, totals, frame):
    kept = [any(a <= t + 1e-6 and t < b for a, b in segments) for t in truth["times"]]
    inside = [any(k != "cut" and a <= t + 1e-6 and t < b for k, a, b in true) for t in truth["times"]]
    totals.gradual_time += sum(inside) * frame
    totals.left_time += sum(k and i for k, i in zip(kept, inside)) * frame
    totals.clean_time += sum(not i for i in inside) * frame
    totals.lost_time += sum(not k and not i for k, i in zip(kept, inside)) * frame


def score_leaks(true, segments, truth, totals):
    """A leak is a few pictures of a neighbour at a segment's end: a transition that was missed altogether is none."""
    for a, b in segments:
        totals.segments += 1
        times = [t for t in truth["times"] if a <= t + 1e-6 and t < b]
        for kind, start, end in true:
            if kind == "cut":
                before, after = sum(t < start - 1e-6 for t in times), sum(t > start - 1e-6 for t in times)
            else:
                before, after = sum(t < start - 1e-6 for t in times), sum(t > end - 1e-6 for t in times)
            if 0 < min(before, after) <= 5:
                totals.leaks += 1


def really_cut(path, segments, truth, totals, number):
    """Cuts with the words of a real job and compares the count of pictures with that of the source."""
    suffix = os.path.splitext(path)[1]
    for a, b in segments[:number]:
        with tempfile.TemporaryDirectory() as folder:
            target = os.path.join(folder, "out" + suffix)
            short = lambda x: ("%.3f" % x).rstrip("0").rstrip(".")
            subprocess.run(["ffmpeg", "-y", "-hide_banner", "-nostdin", "-ss", short(a), "-i", path, "-t", short(b - a),
                            "-strict", "-2", target], stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL)
            got = subprocess.run(["ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries", "packet=pts", "-of",
                                  "csv=p=0", target], stdout=subprocess.PIPE).stdout.split()
        wanted = sum(a <= t + 1e-6 and t < b for t in truth["times"])
        totals.cut_clips += 1
        if len(got) != wanted:
            totals.wrong_cuts += 1
            print("    cut %s %.3f-%.3f: %d pictures, wanted %d" % (truth["file"], a, b, len(got), wanted))


def timed(words):
    began = time.perf_counter()
    subprocess.run(words, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return time.perf_counter() - began


def measure_time(detector, paths, rounds=3):
    ratios, sums = [], [0.0, 0.0]
    for path in paths:
        pairs = [(timed(["ffmpeg", "-nostdin", "-i", path, "-map", "0:v", "-f", "null", "-"]),
                  timed([sys.executable, detector, path, "--json", "--no-cache"])) for _ in range(rounds)]
        decode, detection = (sorted(column)[rounds // 2] for column in zip(*pairs))
        sums[0] += decode
        sums[1] += detection
        ratios.append(detection / decode)
    ratios.sort()
    print("time against a pure decode: %.3f in all, median file %.3f" % (sums[1] / sums[0], ratios[len(ratios) // 2]))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder")
    parser.add_argument("--half", action="append", help="report when none is given; several are scored together")
    parser.add_argument("--detector", default=DETECTOR)
    parser.add_argument("--profile", default="aggressive")
    parser.add_argument("--only", default="")
    parser.add_argument("--verbose", action="store_true")
    parser.add_argument("--cut", type=int, default=0)
    parser.add_argument("--time", action="store_true")
    options = parser.parse_args()
    folders = [os.path.join(options.folder, half) for half in options.half or ["report"]]
    names = [(folder, n) for folder in folders for n in sorted(os.listdir(folder)) if n.endswith(".json") and options.only in n]
    totals = Totals()
    paths = []
    for folder, name in names:
        with open(os.path.join(folder, name)) as file:
            truth = json.load(file)
        path = os.path.join(folder, truth["file"])
        paths.append(path)
        if options.time:
            continue
        result = detect(options.detector, path, "--fade-removal-profile", options.profile)
        segments = score_clip(folder, truth, result, totals, options.verbose)
        if options.cut:
            really_cut(path, segments, truth, totals, options.cut)
    if options.time:
        measure_time(options.detector, paths)
        return
    for key in sorted(totals.counts):
        count = totals.counts[key]
        if key.startswith("recall"):
            print("%-18s %.3f of %d" % (key, count.hit / max(1, count.true), count.true))
        else:
            print("%-18s %s" % (key, count))
    mean = lambda values: sum(values) / max(1, len(values))
    print("gradual limits     mean IoU %.3f, start off by %.3f s, end off by %.3f s" %
          (mean(totals.ious), mean(totals.start_errors), mean(totals.end_errors)))
    print("transition time left %.1f %%, clean time lost %.2f %%" %
          (100 * totals.left_time / max(1e-9, totals.gradual_time), 100 * totals.lost_time / max(1e-9, totals.clean_time)))
    print("segments %d, with a neighbour's picture %d" % (totals.segments, totals.leaks))
    if options.cut:
        print("really cut %d, wrong count of pictures %d" % (totals.cut_clips, totals.wrong_cuts))


if __name__ == "__main__":
    main()
