"""Faults of ffmpeg, of the disk, and of what is split."""

import contextlib
import os
import re
import shutil
import signal
import subprocess
import time

from false_ffmpeg import UNHURRIED, false_ffmpeg, mounted
from kestrel_at_screen import expect, expect_equal, middle, probe, wait_until
from keepsakes import checksum, count_pictures
from trial import ALL_SIGNALS, HARMLESS, LONG, STOPPING, STOPPING_SECONDS, case

CLIP_SECONDS = 4
RATE = 25
FLOOD_BYTES = 50_000_000
MEMORY_PER_TEXT = 12
PERSON_READS = 400  # characters of a remark

@case("ffmpeg gets each of the signals, in mid-run, 12 at a time")
def ffmpeg_signals(trial):
    trial.set_concurrency(12)
    trial.parse_segments([(0, CLIP_SECONDS)] * len(ALL_SIGNALS))
    shutil.rmtree(trial.clips)
    sent = {}

    def send_what_is_due():
        for output, pid in trial.ffmpegs().items():
            number = ALL_SIGNALS[int(output.stem.rpartition("-")[2]) - 1]
            if output not in sent and output in trial.written_clips():
                with contextlib.suppress(ProcessLookupError):
                    os.kill(pid, number)
                    sent[output] = number
                    if number in STOPPING:
                        time.sleep(0.1)
                        os.kill(pid, signal.SIGCONT)
        return trial.status().startswith("分解完成")
    with false_ffmpeg(UNHURRIED):
        trial.start_split()
        wait_until(send_what_is_due, "the finish", LONG)
    completed, failed = trial.finish_split(len(ALL_SIGNALS))
    expect_equal(len(sent), len(ALL_SIGNALS), "signals that reached a running ffmpeg")
    survivors = HARMLESS | STOPPING | {signal.SIGPIPE}  # ffmpeg ignores the last one itself
    deadly = len(set(ALL_SIGNALS) - survivors)
    expect_equal((completed, failed), (len(survivors), deadly), "completed and failed")
    for output, number in sent.items():
        if number in survivors:
            expect(is_whole(output), f"{output.name}, after signal {number}, is whole")
    return f"{deadly} deadly signals: {failed} counted failures; {len(survivors)} harmless ones: {completed} whole clips"


@case("ffmpeg never ends and ignores SIGTERM; then quit")
def endless_ffmpeg(trial):
    shutil.rmtree(trial.clips)
    trial.set_concurrency(12)
    trial.parse_segments([(0, 1)] * 20)
    with false_ffmpeg("trap '' TERM; echo part > \"$output\"; while :; do sleep 1; done"):
        trial.start_split()
        wait_until(lambda: len(trial.written_clips()) == 12, "twelve running jobs")
        trial.bring_forward()
        trial.desktop.press("ctrl+q")
        text, detail, window = wait_until(trial.kestrel.alert, "the question")
        expect_equal(text, "分解仍在进行", "the question")
        expect(detail.startswith("还有 20 个任务没有完成。"), detail)
        start = time.monotonic()
        trial.desktop.click(middle(next(w["rect"] for w in window["widgets"] if w["text"] == "停止并退出")))
        trial.expect_clean_end()
        seconds = time.monotonic() - start
    expect(seconds < STOPPING_SECONDS + 1, f"the end took {seconds:.1f} s")
    expect(not list(trial.clips.iterdir()), "the unfinished files are removed")
    return f"asks, kills after 3 s, gone after {seconds:.1f} s; status 0, no process, no file"


@case("every fifth of 1,000 jobs on 12 workers fails, twice", twice=True)
def many_jobs(trial):
    trial.set_concurrency(12)
    trial.parse_segments([(0, 0.04)] * 1000)
    with false_ffmpeg("case $output in *[05].mp4) exit 3;; esac; exec /usr/bin/ffmpeg \"$@\""):
        trial.start_split()
        completed, failed = trial.finish_split(1000)
    expect_equal((completed, failed), (800, 200), "completed and failed")
    expect_equal(len(list(trial.clips.glob("*.mp4"))), 800, "the clips")
    return f"{completed} completed, {failed} failed"


@case("ffmpeg is a script whose child ignores SIGTERM; then all is stopped")
def stubborn_grandchild(trial):
    trial.parse_segments([(0, 1)] * 4)
    shutil.rmtree(trial.clips)
    with false_ffmpeg("sh -c 'trap \"\" TERM; while :; do sleep 1; done' & echo part > \"$output\"; wait"):
        trial.start_split()
        wait_until(lambda: len(trial.written_clips()) == 3, "three running jobs")
        start = time.monotonic()
        trial.stop_all()
        wait_until(lambda: not trial.kestrel.offspring(), "no process is left", STOPPING_SECONDS + 1)
    seconds = time.monotonic() - start
    expect(not list(trial.clips.glob("*.mp4")), "the unfinished files are removed")
    return f"killed after 3 s, gone after {seconds:.1f} s; no process, no file"


# Logs


def flood_log(trial, text):
    """A job writes so much, as fast as it can, before it does its work."""
    flood = trial.folder / "flood"
    flood.write_bytes(text * (FLOOD_BYTES // len(text)))
    trial.parse_segments([(0, 1)])
    _, before, _ = trial.vitals()
    with false_ffmpeg(f"cat '{flood}' >&2; exec /usr/bin/ffmpeg \"$@\""):
        trial.start_split()
        expect_equal(trial.finish_split(1, has_short_logs=False), (1, 0), "completed and failed")
    flood.unlink()
    growth = trial.vitals()[2] - before
    expect(growth * 1e6 < MEMORY_PER_TEXT * FLOOD_BYTES, f"{growth:.0f} MB of memory for {FLOOD_BYTES} bytes of text")
    return f"1 completed; {growth * 1e6 / FLOOD_BYTES:.1f} bytes of memory for each of text"


@case("ffmpeg writes 50 MB of lines", gap_ms=100)
def log_of_lines(trial):
    return flood_log(trial, b"[h264 @ 0x5590] error while decoding MB 12 7, bytestream -5\n")


@case("ffmpeg writes 50 MB without a line feed", gap_ms=100)
def log_without_line_feeds(trial):
    return flood_log(trial, b"one line that never ends, ")


@case("ffmpeg writes 50 MB of lines that end with carriage returns", gap_ms=100)
def log_of_carriage_returns(trial):
    return flood_log(trial, b"frame=  100 fps= 25 q=28.0 size=     256kB time=00:00:04.00\r")


@case("ffmpeg fails with one line of 10 MB")
def long_error(trial):
    trial.parse_segments([(0, 1)])
    with false_ffmpeg("head -c 10000000 /dev/zero | tr '\\0' x >&2; exit 1"):
        trial.start_split()
        expect_equal(trial.finish_split(1, has_short_logs=False), (0, 1), "completed and failed")
    remark = trial.job_rows()[0][-1]
    expect(0 < len(remark) < PERSON_READS, f"the remark has {len(remark)} characters")
    return f"1 failed; a remark of {len(remark)} characters"


# The disk


@case("disk full (tmpfs of 300 KB)")
def disk_full(trial):
    trial.parse_segments([(5, 5 + CLIP_SECONDS)] * 6)  # the scene that takes the most room
    trial.clips.mkdir(exist_ok=True)
    with mounted("none", trial.clips, "-t", "tmpfs", "-o", "size=300k"):
        trial.start_split()
        completed, failed = trial.finish_split(6)
        expect(failed > 0 and "No space left on device" in trial.last_logs, f"{completed} completed, {failed} failed")
        whole = [clip for clip in trial.clips.iterdir() if is_whole(clip)]
    return (f"{failed} failed; {completed} for which ffmpeg ended with status 0, {len(whole)} of them whole; the logs say "
            "“No space left on device”")


def is_whole(clip):
    with contextlib.suppress(subprocess.CalledProcessError, KeyError, IndexError):
        return abs(probe(clip)[2] - CLIP_SECONDS) < 0.2
    return False


def split_with_a_fault(trial, fault, running=2, total=8):
    """Something happens while the first jobs run; completed and failed jobs."""
    shutil.rmtree(trial.clips)
    trial.set_concurrency(running)
    trial.parse_segments([(0, CLIP_SECONDS)] * total)
    with false_ffmpeg(UNHURRIED):
        trial.start_split()
        wait_until(lambda: len(trial.written_clips()) == running, "running jobs")
        fault()
        completed, failed = trial.finish_split(total)
    return completed, failed


def launch_failures(trial):
    """What the logs tell of jobs that could not be started."""
    reasons = sorted({re.sub(r" \S+\.mp4", "", reason) for reason in re.findall(r"启动失败：.*", trial.last_logs)})
    expect(reasons, "the log tells why")
    return "; ".join(f"“{reason}”" for reason in reasons)


@case("output folder removed during the run")
def folder_removed(trial):
    completed, failed = split_with_a_fault(trial, lambda: shutil.rmtree(trial.clips))
    expect(failed >= 6, f"{failed} failed")
    return f"{completed} were being written and ended well for ffmpeg, {failed} failed: {launch_failures(trial)}"


@case("output folder renamed during the run")
def folder_renamed(trial):
    other = trial.folder / "renamed"
    completed, failed = split_with_a_fault(trial, lambda: trial.clips.rename(other))
    expect(failed >= 6, f"{failed} failed")
    expect_equal(sum(map(is_whole, other.iterdir())), completed, "whole clips in the renamed folder")
    return f"{completed} completed and whole in the renamed folder, {failed} failed: {launch_failures(trial)}"


@case("output folder made read-only during the run",
      launcher="exec setpriv --bounding-set=-dac_override {kestrel}")
def folder_read_only(trial):
    completed, failed = split_with_a_fault(trial, lambda: trial.clips.chmod(0o555))
    trial.clips.chmod(0o755)
    expect(failed >= 6, f"{failed} failed")
    expect_equal(sum(map(is_whole, trial.clips.iterdir())), completed, "whole clips")
    return f"{completed} completed and whole, {failed} failed: {launch_failures(trial)}"


@case("source removed during the run")
def source_removed(trial):
    completed, failed = split_with_a_fault(trial, trial.source.unlink)
    expect(failed >= 6 and "No such file or directory" in trial.last_logs, f"{failed} failed")
    expect_equal(sum(map(is_whole, trial.clips.iterdir())), completed, "whole clips")
    return f"{completed} completed and whole, {failed} failed: “No such file or directory”"


@case("source truncated during the run")
def source_truncated(trial):
    completed, failed = split_with_a_fault(trial, lambda: os.truncate(trial.source, 5000))
    expect(failed >= 6, f"{failed} failed")
    return f"{completed} completed as far as the source went, {failed} failed"




# What is split


@case("a manifest of several files as the video: .mpd, .m3u8")
def manifests(trial):
    told = set()
    for name, muxer in (("film.mpd", "dash"), ("film.m3u8", "hls")):
        folder = trial.folder / muxer
        folder.mkdir()
        subprocess.run(["ffmpeg", "-v", "error", "-i", trial.source, "-c", "copy", "-f", muxer, folder / name],
                       check=True)
        before = {path: checksum(path) for path in folder.iterdir()}
        trial.choose(folder / name, folder)
        trial.parse_segments([(0, 1), (1, 2), (2, 3)])
        trial.start_split()
        told.add(trial.take_alert())
        expect_equal({path: checksum(path) for path in folder.iterdir()}, before, "the files beside the manifest")
    trial.choose(trial.source, trial.clips)
    return "refused: " + " ".join(sorted(told))


@case("names of clips that ffmpeg cannot write: .xyz, none, .3gp with sound")
def unwritable_names(trial):
    remarks = []
    for name in ("film.xyz", "film", "film.3gp"):
        video = trial.folder / name
        subprocess.run(["ffmpeg", "-v", "error", "-i", trial.source, "-f", "lavfi", "-i", "sine", "-shortest", "-c:v",
                        "copy", "-f", "mp4", video], check=True)
        trial.choose(video, trial.clips)
        trial.parse_segments([(0, 1), (1, 2)])
        trial.start_split()
        expect_equal(trial.finish_split(2), (0, 2), f"{name}: completed and failed")
        remark = trial.job_rows()[0][-1]
        expect(re.search("[\u4e00-\u9fff]{4}", remark), f"{name}: the remark helps nobody: {remark}")
        remarks.append(f"{name}: {remark}")
    trial.choose(trial.source, trial.clips)
    return "; ".join(remarks)


@case("clips that may lack pictures: .mpg, Matroska with a negative start, a cut-off .ts")
def lacking_pictures(trial):
    counts = []
    for name, *how in (("film.mpg", "-c:v", "mpeg1video"),
                       ("film.mkv", "-c", "copy", "-output_ts_offset", "-1", "-avoid_negative_ts", "disabled"),
                       ("film.ts", "-c", "copy")):
        video = trial.folder / name
        subprocess.run(["ffmpeg", "-v", "error", "-i", trial.source, *how, video], check=True)
        if name.endswith(".ts"):
            os.truncate(video, video.stat().st_size * 6 // 10)
        trial.choose(video, trial.clips)
        shutil.rmtree(trial.clips)
        trial.parse_segments([(start, start + 2) for start in range(0, 18, 2)])
        trial.start_split()
        trial.finish_split(9)
        rows = trial.job_rows()
        for row in rows:
            if row[3] == "完成":
                expect_equal(count_pictures(trial.clips / row[1]), 2 * RATE, f"pictures of {row[1]}, told as complete")
        states = [row[3] for row in rows]
        counts.append(f"{name}: " + ", ".join(f"{states.count(state)} {state}" for state in sorted(set(states))))
    trial.choose(trial.source, trial.clips)
    return "; ".join(counts)
