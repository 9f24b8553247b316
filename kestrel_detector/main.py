"""A run as a whole."""

import json
import os
import signal
import sys

from kestrel_detector.analysis import analyse
from kestrel_detector.cache import Cache
from kestrel_detector.command_line import USAGE, Options
from kestrel_detector.messages import Failure, Interrupted, printable, say
from kestrel_detector.output import Progress, document, readable, write_out


def check_file(path):
    try:
        size = os.stat(path).st_size
        if os.path.isdir(path):
            raise Failure("这是文件夹，不是视频文件：" + printable(path))
        if os.path.isfile(path) and size == 0:
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
        except (OSError, RuntimeError):  # no sources, no home folder
            pass
    known = cache and cache.load()
    if known:
        say("已读取上次的分析结果：100%")
        return known
    analysis = analyse(options.video, skip, Progress(skip))
    if cache:
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


def interrupt(number, _frame):
    raise Interrupted(number)


def main():
    for number in (0, 1, 2):  # a closed standard stream must not become one of our pipes
        try:
            os.fstat(number)
        except OSError:
            os.open(os.devnull, os.O_RDWR)
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, interrupt)
    try:
        run(sys.argv[1:])
    except Interrupted as stop:
        signal.signal(stop.number, signal.SIG_DFL)
        os.kill(os.getpid(), stop.number)
    except Failure as failure:
        say(" ".join(str(failure).split()))
        return 1
    except BrokenPipeError:
        return 1
    except Exception as error:  # a fault of our own still speaks in one line
        say("检测时发生内部错误：%s: %s" % (type(error).__name__, " ".join(str(error).split())))
        return 1
    return 0
