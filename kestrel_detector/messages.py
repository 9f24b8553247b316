"""What is said to the user: failures, and lines on standard error."""

import os


class Failure(Exception):
    """What the user must read: one complete Chinese sentence."""


def printable(path):
    """A path as one line of valid text, whatever bytes it holds."""
    text = os.fsencode(path).decode("utf-8", "replace")
    return "".join(c if c.isprintable() else "\N{REPLACEMENT CHARACTER}" for c in text)


def say(text):
    try:
        os.write(2, (text + "\n").encode("utf-8", "replace"))
    except OSError:
        pass


def clock(microseconds):
    whole = max(0, microseconds) // 1_000_000
    return "%02d:%02d:%02d" % (whole // 3600, whole // 60 % 60, whole % 60)
