"""One ffmpeg decodes the video and hands over small pictures with their true timestamps."""

import contextlib
import os
import re
import selectors
import shutil
import subprocess

from kestrel_detector.measures import FRAME, HEIGHT, WIDTH
from kestrel_detector.messages import Failure

INTERRUPTED = 255  # ffmpeg's exit status after SIGINT or SIGTERM
RUNNING = []  # the processes that must not outlive this one
LEAD_IN = 4_000_000  # microseconds decoded before a skip, so that a change right at the skip has a before


def ffmpeg_command(ffmpeg, path, seek, timestamp_fd, sync):
    """The words for ffmpeg: pictures go to standard output, one line of timestamp each to `timestamp_fd`.

    The loop filter only smooths block edges, which nobody sees at 32x18; skipping it pays for the scaling.
    """
    filters = (
        f"scale={WIDTH}:{HEIGHT}:flags=area,format=yuv420p,settb=1/1000000,"
        f"metadata=add:key=k:value=1,metadata=print:file=pipe\\\\:{timestamp_fd}"
    )
    words = [ffmpeg, "-hide_banner", "-nostdin", "-nostats", "-loglevel", "info"]
    words += ["-skip_loop_filter", "all", "-filter_threads", "1"]
    if seek:
        words += ["-ss", "%.6f" % (seek / 1e6)]
    # The file's own timestamps: otherwise ffmpeg shifts some formats by the streams that are not decoded here.
    words += ["-copyts", "-i", b"file:" + os.fsencode(path), "-an", "-sn", "-dn", "-vf", filters]
    words += [sync, "passthrough", "-flush_packets", "0", "-f", "rawvideo", "-pix_fmt", "yuv420p", "pipe:1"]
    return words


class Header:
    """What ffmpeg says about the file before it decodes: length, start and the kinds of streams. It is read line by line,
    because a file may bring megabytes of text along."""

    LENGTH = re.compile(rb"  Duration: (\d+):(\d\d):(\d\d(?:\.\d+)?)(?:, start: (-?[\d.]+))?")
    VIDEO = re.compile(rb"\s+Stream #0:.*?: Video: (?!.*\(attached pic\))")
    LONGEST_LINE = 4096  # of a longer one only the beginning is looked at

    def __init__(self):
        self.rest = b""
        self.opened = self.has_video = self.complete = self.knows_no_vsync = False
        self.duration = None  # microseconds, where the file says it
        self.start = 0  # the timestamp in microseconds at which the file's time 0 lies, as ffmpeg's -ss counts it
        self.estimated = False  # whether the length is only guessed from the file's size

    def feed(self, data):
        if not self.complete:
            lines = (self.rest + data).split(b"\n")
            self.rest = lines.pop()[:self.LONGEST_LINE]
            for line in lines:
                self.take(line[:self.LONGEST_LINE])

    def take(self, line):
        length = self.LENGTH.match(line)
        if length:
            hours, minutes, seconds, start = length.groups()
            self.duration = int(hours) * 3_600_000_000 + int(minutes) * 60_000_000 + round(float(seconds) * 1e6)
            self.start = round(float(start) * 1e6) if start else 0
        self.opened |= line.startswith(b"Input #0")
        self.has_video |= self.VIDEO.match(line) is not None
        self.estimated |= b"Estimating duration from bitrate" in line
        self.knows_no_vsync |= b"option 'vsync'" in line
        self.complete |= line.startswith(b"Output #0")


class Frames:
    """Runs ffmpeg and yields batches ([microseconds], [picture]); bounded memory, all pipes are read at once."""

    def __init__(self, path, seek=0, sync="-vsync"):
        self.path, self.seek, self.sync = path, seek, sync
        self.header = Header()
        self.process = None

    def __enter__(self):
        ffmpeg = shutil.which("ffmpeg")
        if not ffmpeg:
            raise Failure("找不到 ffmpeg，请先安装 ffmpeg。")
        self.stamps, stamp_writer = os.pipe()
        try:
            self.process = subprocess.Popen(
                ffmpeg_command(ffmpeg, self.path, self.seek, stamp_writer, self.sync),
                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                pass_fds=(stamp_writer,), bufsize=0)
        except OSError as error:
            os.close(self.stamps)
            raise Failure("无法启动 ffmpeg：" + (error.strerror or str(error))) from error
        finally:
            os.close(stamp_writer)
        RUNNING.append(self.process)
        widen(self.process.stdout)
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        RUNNING.remove(self.process)
        os.close(self.stamps)
        self.process.stdout.close()
        self.process.stderr.close()

    def batches(self):
        """Ends when ffmpeg has closed all pipes. An empty batch is a heartbeat while ffmpeg is busy."""
        pictures, stamps, rest, line = [], [], bytearray(), b""
        with selectors.DefaultSelector() as selector:
            for fd, kind in ((self.process.stdout.fileno(), "picture"), (self.stamps, "stamp"),
                             (self.process.stderr.fileno(), "message")):
                selector.register(fd, selectors.EVENT_READ, kind)
            while selector.get_map():
                for key, _ in selector.select(0.5):
                    data = os.read(key.fd, 1 << 18)
                    if not data:
                        selector.unregister(key.fd)
                    elif key.data == "message":
                        self.header.feed(data)
                    elif key.data == "picture":
                        rest += data
                        whole = len(rest) // FRAME * FRAME
                        block = bytes(memoryview(rest)[:whole])
                        del rest[:whole]
                        pictures += [block[i:i + FRAME] for i in range(0, whole, FRAME)]
                    else:
                        lines = (line + data).split(b"\n")
                        line = lines.pop()
                        stamps += [self.timestamp(text) for text in lines if text.startswith(b"frame:")]
                ready = min(len(pictures), len(stamps))
                if not self.header.complete and selector.get_map() and ready < 1000:
                    ready = 0  # the header tells what the timestamps count from
                start = self.header.start if ready else 0
                yield [None if stamp is None else stamp - start for stamp in stamps[:ready]], pictures[:ready]
                del pictures[:ready], stamps[:ready]
        status = self.process.wait()
        if status < 0 or status == INTERRUPTED:
            raise Failure("ffmpeg 在分析途中被中止（%s），没有分析完。请重试；如果总是这样，请检查内存和磁盘。"
                          % ("信号 %d" % -status if status < 0 else "状态 %d" % status))

    @staticmethod
    def timestamp(text):
        """From "frame:7 pts:280000 pts_time:0.28"; None when the picture has no timestamp."""
        pts = text.split(b"pts:", 1)[1].split(None, 1)[0]
        return None if pts == b"NOPTS" else int(pts)


def stop_all():
    """Ends the running ffmpegs for good; it may be called at any moment."""
    for process in RUNNING:
        process.kill()
        with contextlib.suppress(ChildProcessError):
            os.waitpid(process.pid, 0)


def widen(pipe):
    """Lets ffmpeg run ahead while pictures are analysed; where the system cannot, it waits a little more often."""
    try:
        import fcntl
        fcntl.fcntl(pipe, getattr(fcntl, "F_SETPIPE_SZ", 1031), 1 << 20)
    except (ImportError, OSError):
        pass
