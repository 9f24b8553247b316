"""A run as a whole."""

import json
import os
import signal
import stat
import sys
import traceback

from kestrel_detector.analysis import analyse
from kestrel_detector.cache import Cache
from kestrel_detector.command_line import USAGE, Options
from kestrel_detector.frames import stop_all
from kestrel_detector.messages import Failure, printable, say
from kestrel_detector.output import Progress, document, readable, write_out


def check_file(path):
    try:
        status = os.stat(path)
        if stat.S_ISDIR(status.st_mode):
            raise Failure("这是文件夹，不是视频文件：" + printable(path))
        if not (stat.S_ISREG(status.st_mode) or stat.S_ISBLK(status.st_mode)):
            raise Failure("这是管道或设备，不是视频文件：" + printable(path))
        if stat.S_ISREG(status.st_mode) and status.st_size == 0:
            raise Failure("视频文件是空的：" + printable(path))
        if not os.access(path, os.R_OK):
            raise Failure("没有权限读取视频文件：" + printable(path))
    except (FileNotFoundError, NotADirectoryError):
        raise Failure("找不到视频文件：" + printable(path)) from None
    except (OSError, ValueError):
        raise Failure("无法读取视频文件：" + printable(path)) from None


def analysis_of(options):
    skip = round(options.skip_start_seconds * 1e6)
    cache = None
    if not options.no_cache:
        try:
            cache = Cache(options.video, skip)
        except OSError:  # no sources, no home folder
            pass
    known = cache and cache.load()
    if known:
        say("已读取上次的分析结果：100%")
        return known
    analysis = analyse(options.video, skip, Progress(skip))
    if cache and analysis.whole:
        cache.save(analysis)
    return analysis


def run(words):
    if words[:1] in (["-h"], ["--help"]):
        write_out(USAGE)
        return
    options = Options(words)
    check_file(options.video)
    result = document(options, analysis_of(options))
    text = json.dumps(result, ensure_ascii=False, allow_nan=False) if options.json else readable(result)
    write_out(text)


def stop(number, _frame):
    """SIGINT and SIGTERM end everything at once, so that nothing that is going on can swallow them."""
    signal.signal(number, signal.SIG_DFL)
    stop_all()
    os.kill(os.getpid(), number)


def own_fault(error):
    """A fault of our own still speaks in one line, and tells what can be done."""
    place = traceback.extract_tb(error.__traceback__)[-1]
    return ("检测脚本分析这个视频时出错。可以先用 ffmpeg 把视频转存成 MP4 再解析；反馈问题时请附上：%s，%s 第 %d 行，%s"
            % (type(error).__name__, os.path.basename(place.filename), place.lineno, error))


def main():
    for number in (0, 1, 2):  # a closed standard stream must not become one of our pipes
        try:
            os.fstat(number)
        except OSError:
            os.open(os.devnull, os.O_RDWR)
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, stop)
    try:
        run(sys.argv[1:])
    except BrokenPipeError:
        return 1
    except MemoryError:
        failure = "内存不足，没有分析完。请关闭其他程序后重试。"
    except Failure as error:
        failure = error
    except Exception as error:
        failure = own_fault(error)
    else:
        return 0
    say(printable(" ".join(str(failure).split())))
    return 1
