#!/usr/bin/env python3
"""Finds the scene changes of a video and proposes the segments to keep.

    detect_scene_changes.py VIDEO [--skip-start-seconds S] [--fade-removal-profile P]
        [--fade-left-padding-seconds L] [--fade-right-padding-seconds R] [--json]

The result is one JSON document on standard output; events and segments are numbered from 1, all times are seconds from
the start of the file as ffmpeg's -ss counts them. Progress is written to standard error in Chinese. A failure is one line
on standard error and a non-zero exit status. Only Python's standard library and ffmpeg (4.4 or later) are used.

This is what Kestrel starts; the work is done by the package kestrel_detector beside it. A detector of your own may take
this file's place and needs no package.
"""

import os
import sys

FOLDER = os.path.dirname(os.path.realpath(__file__))
sys.path.insert(0, FOLDER)

try:
    from kestrel_detector.main import main
except ModuleNotFoundError as missing:
    if not (missing.name or "").startswith("kestrel_detector"):
        raise
    place = os.fsencode(FOLDER).decode("utf-8", "replace")
    text = "检测脚本不完整：它旁边应当有文件夹 kestrel_detector，在 %s 里没有找到。请把两者放在一起，或者改用指向原脚本的链接。\n"
    sys.stderr.buffer.write((text % " ".join(place.split())).encode("utf-8"))
    sys.exit(1)

if __name__ == "__main__":
    sys.exit(main())
