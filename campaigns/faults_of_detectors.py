"""Faults of the detector and of what it reads."""

import os
import re
import shutil
import signal
import time
import zlib

from false_ffmpeg import UNHURRIED, false_ffmpeg
from kestrel_at_screen import descendants, expect, expect_equal, wait_until
from trial import ALL_SIGNALS, HARMLESS, STOPPING, case

MOST_MB = 300  # whatever a detector says on standard error
PROMPT_SECONDS = 60  # for a video of seconds, on a busy machine

@case("detector hangs and ignores SIGTERM; then quit")
def hanging_detector(trial):
    trial.plan("signal.signal(signal.SIGTERM, signal.SIG_IGN); say('hangs'); time.sleep(600)")
    trial.start_parse()
    wait_until(lambda: trial.status() == "hangs", "the hanging detector")
    start = time.monotonic()
    trial.desktop.press("ctrl+q")
    wait_until(lambda: not trial.desktop.has_window("kestrel"), "the window's disappearance", 2)
    gone = time.monotonic() - start
    trial.expect_clean_end()
    return f"window gone after {gone:.1f} s, process after {time.monotonic() - start:.1f} s; status 0, no process"


FLOOD = "line = b'x' * 99 + b'\\n'\nfor _ in range(500): sys.stderr.buffer.write(line * 10000)\n"


@case("detector floods 500 MB of standard error, then answers", peak_mb=MOST_MB)
def error_flood(trial):
    trial.plan(FLOOD + "answer([(0, 1)])")
    status, alert = trial.parse()
    expect(status.startswith("解析完成：0 个换场，1 个保留片段"), f"{status} {alert}")
    return status


def expect_failure_with_reason(trial, flood):
    """However much was said before, the alert has its beginning and its end."""
    trial.plan(f"say('the beginning')\n{flood}say('\\nthe reason')\nsys.exit(1)")
    _, alert = trial.parse()
    expect(alert.startswith("解析失败：the beginning") and alert.endswith("the reason") and len(alert) < 3000,
           f"the alert: {alert[:100]} … {alert[-100:]}")
    return f"alert of {len(alert)} characters: “解析失败：the beginning … the reason”"


@case("detector floods 500 MB of standard error, then fails", peak_mb=MOST_MB)
def error_flood_and_failure(trial):
    return expect_failure_with_reason(trial, FLOOD)


@case("detector says 100 MB without a line feed, then fails", peak_mb=MOST_MB)
def endless_line_and_failure(trial):
    return expect_failure_with_reason(trial, "for _ in range(100): sys.stderr.buffer.write(b'x' * 1000000)\n")


@case("detector says yes for 3 s, then fails", peak_mb=MOST_MB)
def yes_and_failure(trial):
    return expect_failure_with_reason(trial, "subprocess.run('timeout 3 yes >&2', shell=True)\n")


@case("detector prints 200 MB of JSON (100,000 events), twice", twice=True)
def huge_payload(trial):
    trial.plan("text = 'x' * 1900\nanswer([(0, 1)], events=[{'index': n, 'type': 'cut', 'start': n, 'end': n + 1, "
               "'duration': 1, 'score': 1, 'source': text} for n in range(100000)])")
    status, alert = trial.parse()
    expect(status.startswith("解析完成：100000 个换场，1 个保留片段"), f"{status} {alert}")
    return status


@case("detector prints 200 MB that are no JSON")
def huge_nonsense(trial):
    trial.plan("for _ in range(200): sys.stdout.write('x' * 1000000)")
    _, alert = trial.parse()
    expect(alert.startswith("无法解析检测脚本输出："), alert)
    expect(not trial.kestrel.offspring(), "the detector is ended")
    return alert


@case("detector closes its pipes and goes on for 2 s")
def early_close(trial):
    trial.plan("answer([(0, 1)]); os.close(1); os.close(2); time.sleep(2); os._exit(0)")
    status, alert = trial.parse()
    expect(status.startswith("解析完成：0 个换场，1 个保留片段"), f"{status} {alert}")
    trial.plan("os.close(1); os.close(2); time.sleep(2); os._exit(0)")
    _, alert = trial.parse()
    expect_equal(alert, "无法解析检测脚本输出：输出为空。", "the alert")
    return f"with an answer before: {status} Without: {alert}"


@case("detector forks and exits; its child keeps the pipes")
def forking_detector(trial):
    trial.plan("answer([(0, 1)])\nif os.fork() == 0: time.sleep(600)\nos._exit(0)")
    status, alert = trial.parse()
    expect(status.startswith("解析完成：0 个换场，1 个保留片段"), f"{status} {alert}")
    wait_until(lambda: not trial.kestrel.offspring(), "the child's end", 5)
    trial.plan("if os.fork() == 0: time.sleep(600)\nos._exit(1)")
    _, alert = trial.parse()
    expect(alert.startswith("解析失败："), alert)
    wait_until(lambda: not trial.kestrel.offspring(), "the child's end", 5)
    return status + " The child is ended"


@case("detector ends without a word: status 3, SIGKILL, SIGSEGV")
def silent_detector(trial):
    alerts = []
    for death, sign in (("os._exit(3)", "3"), ("os.kill(os.getpid(), 9)", "9|KILL"), ("os.kill(os.getpid(), 11)", "11|SEGV")):
        trial.plan(death)
        _, alert = trial.parse()
        expect(re.match(f"解析失败：.*({sign})", alert), f"it is not said how it ended: {alert}")
        alerts.append(alert)
    return " ".join(alerts)


@case("detector answers in what is no UTF-8")
def no_text(trial):
    trial.plan("sys.stdout.buffer.write('{\"video\": \"电影\"}'.encode('gb18030'))")
    _, alert = trial.parse()
    expect(alert.startswith("无法解析检测脚本输出：") and "为空" not in alert, alert)
    return alert


@case("detector dies by each of the signals")
def detector_signals(trial):
    failures = []
    for number in ALL_SIGNALS:
        trial.plan(f"if {number} not in (9, 19): signal.signal({number}, signal.SIG_DFL)\n"
                   f"say('about to die')\nos.kill(os.getpid(), {number})\nanswer([(0, 1)])")
        trial.start_parse()

        def is_over():
            if number in STOPPING:
                for pid in descendants(trial.pid):
                    os.kill(pid, signal.SIGCONT)
            return trial.status().startswith(("解析完成", "解析失败"))
        wait_until(is_over, f"the end by signal {number}")
        if trial.status().startswith("解析失败"):
            expect_equal(trial.take_alert(), "解析失败：about to die", "the alert")
            failures.append(number)
    deadly = [number for number in ALL_SIGNALS if number not in HARMLESS | STOPPING]
    expect_equal(failures, deadly, "the signals that failed the detection")
    return f"{len(deadly)} deadly signals: “解析失败：about to die”; {len(HARMLESS | STOPPING)} harmless ones: 解析完成"




# The detector that comes with the program


def parse_as_ever(trial):
    """The status that the real detector leads to, with nothing in its way."""
    trial.plan_real_detector()
    status, alert = trial.parse(PROMPT_SECONDS)
    expect(status.startswith("解析完成"), f"{status} {alert}")
    return status


def forget_analyses(trial):
    shutil.rmtree(trial.cache, ignore_errors=True)


@case("the detector's ffmpeg is killed, or ends, before the video does")
def detector_loses_ffmpeg(trial):
    in_order = parse_as_ever(trial)
    forget_analyses(trial)
    with false_ffmpeg(UNHURRIED):
        trial.start_parse()
        time.sleep(4)
        for pid in trial.ffmpegs().values():
            os.kill(pid, signal.SIGKILL)
        wait_until(lambda: trial.status().startswith(("解析完成", "解析失败")), "the end of the detection")
    status = trial.status()
    expect(status.startswith("解析失败"), status)
    alert = trial.take_alert()
    with false_ffmpeg("exec /usr/bin/ffmpeg -t 6 \"$@\""):
        status, _ = trial.parse(PROMPT_SECONDS)
    expect(status != in_order, f"the early end is not seen: {status}")
    expect_equal(parse_as_ever(trial), in_order, "the status afterwards: neither is remembered")
    return f"killed: {alert} Ended: {status} Afterwards as ever"


@case("the cache's folder is a link to a folder of the user's own")
def cache_is_a_link(trial):
    theirs = trial.folder / "films"
    theirs.mkdir()
    for number in range(4):
        film = theirs / f"film{number}.mkv"
        film.touch()
        os.truncate(film, 200_000_000)
        os.utime(film, (number, number))
    for place in (trial.cache / "kestrel" / "detector", trial.cache / "kestrel"):
        forget_analyses(trial)
        place.parent.mkdir(parents=True)
        place.symlink_to(theirs)
        parse_as_ever(trial)
        expect_equal(sorted(path.name for path in theirs.glob("*.mkv")), [f"film{number}.mkv" for number in range(4)],
                     "the user's files")
    forget_analyses(trial)
    return "its files stay"


@case("a remembered analysis is a FIFO, a link, one that unpacks to 1 GB")
def hostile_cache(trial):
    forget_analyses(trial)
    in_order = parse_as_ever(trial)
    entries = [path for path in trial.cache.rglob("*") if path.is_file()]
    expect(entries, "the analysis is remembered")
    packer = zlib.compressobj(1)
    bomb = b"".join(packer.compress(bytes(1 << 20)) for _ in range(1 << 10)) + packer.flush()
    slowest = 0
    for spoil in (os.mkfifo, lambda path: path.symlink_to("/dev/zero"), lambda path: path.write_bytes(bomb)):
        for entry in entries:
            entry.unlink(missing_ok=True)
            spoil(entry)
        start = time.monotonic()
        expect_equal(parse_as_ever(trial), in_order, "the status")
        slowest = max(slowest, time.monotonic() - start)
    forget_analyses(trial)
    return f"analysed anew each time, in {slowest:.1f} s at most"


def box(kind, content):
    return (len(content) + 8).to_bytes(4, "big") + kind + content


def make_commented_video(path, video, comment):
    """An MP4 file with a further comment. Its last box is the one that comments belong to; ffmpeg itself would need an
    hour to write a long one."""
    entry = box(b"\xa9cmt", box(b"data", bytes([0, 0, 0, 1, 0, 0, 0, 0]) + comment))
    handler = box(b"hdlr", bytes(8) + b"mdirappl" + bytes(10))
    comments = box(b"udta", box(b"meta", bytes(4) + handler + box(b"ilst", entry)))
    content = video.read_bytes()
    place = content.rindex(b"moov") - 4
    path.write_bytes(content[:place] + box(b"moov", content[place + 8:] + comments))


@case("10 MB of words, 200 KB of carriage returns and of line feeds in a video's comment, twice", twice=True)
def metadata(trial):
    seen = []
    video = trial.folder / "film.mp4"
    for what, comment in (("words", b"words " * 1_700_000), ("carriage returns", b"\r" * 200_000),
                          ("line feeds", b"\n" * 200_000)):
        make_commented_video(video, trial.source, comment)
        trial.choose(video, trial.clips)
        start = time.monotonic()
        parse_as_ever(trial)
        seen.append(f"{what}: parsed in {time.monotonic() - start:.1f} s")
        trial.parse_segments([(0, 1), (1, 2)])
        trial.start_split()
        expect_equal(trial.finish_split(2, has_short_logs=False), (2, 0), f"{what}: completed and failed")
    trial.choose(trial.source, trial.clips)
    return "; ".join(seen)


@case("a FIFO and a folder as the video")
def no_file(trial):
    fifo = trial.folder / "film.mp4"
    os.mkfifo(fifo)
    told = []
    for path in (fifo, trial.clips):
        trial.choose(path, trial.clips)
        trial.plan_real_detector()
        trial.bring_forward()
        trial.kestrel.click("parseButton")
        told.append(trial.take_alert())
    expect(told[1] != "请先选择视频文件。", f"a folder was chosen: {told[1]}")
    trial.choose(trial.source, trial.clips)
    return " ".join(told)
