"""Another ffmpeg in the place where the program finds the real one. In a mount namespace of one's own alone."""

import contextlib
import pathlib
import subprocess
import tempfile

PLACE = pathlib.Path("/usr/local/bin")  # comes before /usr/bin, where the real ffmpeg lies
UNHURRIED = "exec /usr/bin/ffmpeg -re \"$@\""  # takes as long as the clip lasts, and works little


@contextlib.contextmanager
def mounted(what, where, *options):
    subprocess.run(["mount", *options, str(what), str(where)], check=True)
    try:
        yield
    finally:
        subprocess.run(["umount", "--lazy", str(where)], check=True)


@contextlib.contextmanager
def false_ffmpeg(script):
    """What the ffmpeg does, in shell; `$output` is the file to write."""
    with tempfile.TemporaryDirectory() as folder:
        tool = pathlib.Path(folder) / "ffmpeg"
        tool.write_text("#!/bin/sh\nfor output; do :; done\n" + script + "\n")
        tool.chmod(0o755)
        with mounted(folder, PLACE, "--bind"):
            yield
