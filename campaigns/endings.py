"""The ways in which a person, the system or an accident ends the program."""

import contextlib
import random
import re
import subprocess

from kestrel_at_screen import Failure, descendants, middle, send, wait_until
from quitting import QUESTION, answer


def quit_by_shortcut(kestrel):
    kestrel.bring_forward("Kestrel")
    kestrel.desktop.press("ctrl+q")


def quit_by_menu(kestrel):
    kestrel.bring_forward("Kestrel")
    click_item(kestrel, "QMenuBar", "Kestrel")
    wait_until(lambda: shown_items(kestrel, "QMenu"), "the open menu")
    click_item(kestrel, "QMenu", "退出 Kestrel")


def shown_items(kestrel, kind):
    return [item for window in kestrel.windows() for widget in window["widgets"] if widget["class"] == kind
            for item in widget["items"]]


def click_item(kestrel, kind, text):
    kestrel.desktop.click(middle(next(item["rect"] for item in shown_items(kestrel, kind) if item["text"] == text)))


def quit_by_closing(kestrel):
    while not kestrel.alert():
        windows = kestrel.windows()
        kestrel.desktop.do("windowactivate", "--sync", random.choice(windows)["id"])
        kestrel.desktop.press("alt+F4")
        wait_until(lambda: kestrel.alert() or len(kestrel.windows()) < len(windows), "one window less")


def interrupt(kestrel):
    send(kestrel.process, "SIGINT")


def terminate(kestrel):
    send(kestrel.process, "SIGTERM")


def hang_up(kestrel):
    send(kestrel.process, "SIGHUP")


SIGNALS = [interrupt, terminate, hang_up]
WAYS = [quit_by_shortcut, quit_by_menu, quit_by_closing, *SIGNALS]


def split_is_complete(kestrel):
    """All jobs done: then a quit asks nothing."""
    return kestrel.window("Kestrel") and re.match(r"分解完成：成功 (\d+) / \1，", kestrel.text("statusLabel"))


def quit_and_confirm(kestrel, way):
    """The split may end at any moment, and the program with it: then nothing is asked, or the question closes by itself.
    Another alert keeps a wish to quit away: it is closed, and the wish repeated."""
    gone = (Failure, StopIteration, TypeError, subprocess.CalledProcessError)
    answered = way in SIGNALS
    with contextlib.suppress(*gone):
        way(kestrel)

    def has_ended():
        nonlocal answered
        if kestrel.process.poll() is not None:
            return True
        with contextlib.suppress(*gone):
            alert = kestrel.alert()
            if alert and alert[0] == QUESTION:
                answer(kestrel, "停止并退出")
                answered = True
            elif alert:
                kestrel.desktop.do("windowactivate", "--sync", alert[2]["id"], "key", "Return")
                if not answered:
                    way(kestrel)
            elif split_is_complete(kestrel) or not answered and not descendants(kestrel.process.pid):
                send(kestrel.process, "SIGTERM")
                answered = True
        return False
    wait_until(has_ended, "the end")
