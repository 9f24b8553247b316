"""The real program on a virtual display, used the way a person uses it: with mouse, keyboard and drag and drop.

What the person sees comes from the inspector plugin, which tells where the controls are and what they show.
"""

import contextlib
import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import uuid

PATIENCE_SECONDS = 30
ANSWER_SECONDS = 120  # a window with very many rows takes its time to describe
SCREEN = (1800, 1000)
NO_CONTROL = "-"  # asks for windows alone, which costs the program least


class Failure(Exception):
    """Something was not as it must be."""


def expect(condition, explanation):
    if not condition:
        raise Failure(explanation)


def expect_equal(actual, expected, what):
    expect(actual == expected, f"{what}: {actual!r} instead of {expected!r}")


def wait_until(question, what, seconds=PATIENCE_SECONDS):
    """The first answer to `question` that counts as true."""
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        answer = question()
        if answer:
            return answer
        time.sleep(0.03)
    raise Failure(f"waited {seconds} s in vain for: {what}")


class Desktop:
    """A screen of its own with a window manager. Also says what mouse and keyboard do on it."""

    def __init__(self, screen=SCREEN):
        self.screen = screen

    def __enter__(self):
        self._ended = contextlib.ExitStack()
        reading, writing = os.pipe()
        self.server = self._start(["Xvfb", "-displayfd", str(writing), "-nolisten", "tcp", "-screen", "0",
                                   f"{self.screen[0]}x{self.screen[1]}x24"], pass_fds=[writing])
        os.close(writing)
        with os.fdopen(reading) as numbers:
            self.display = ":" + numbers.readline().strip()
        expect(len(self.display) > 1, "Xvfb did not start")
        # Without a session bus: one that is started on demand would outlive the program that asks for it.
        self.environment = {**os.environ, "DISPLAY": self.display, "DBUS_SESSION_BUS_ADDRESS": "unix:path=/nonexistent"}
        # Windows that open before it is ready are not given the focus.
        ready = pathlib.Path(self._ended.enter_context(tempfile.TemporaryDirectory())) / "ready"
        self._start(["openbox", "--sm-disable", "--startup", f"touch {ready}"], env=self.environment)
        wait_until(ready.exists, "the window manager")
        return self

    def __exit__(self, *_):
        self._ended.close()

    def start(self, command, **options):
        """Runs until the desktop is left."""
        return self._start(command, env=self.environment, **options)

    def _start(self, command, **options):
        process = subprocess.Popen(command, stderr=subprocess.DEVNULL, **options)

        def end():
            process.terminate()
            process.wait()
        self._ended.callback(end)
        return process

    def _run(self, *command):
        return subprocess.run(command, env=self.environment, check=False, capture_output=True, text=True).stdout

    def do(self, *words):
        subprocess.run(["xdotool", *map(str, words)], env=self.environment, check=True)

    def click(self, point, button=1, times=1):
        self.do("mousemove", *point, "click", "--repeat", times, "--delay", 60, button)

    def press(self, *keys):
        self.do("key", "--delay", 15, *keys)

    def type(self, text):
        self.do("type", "--delay", 8, text)

    def has_window(self, window_class):
        return bool(self._run("xdotool", "search", "--onlyvisible", "--class", window_class).strip())

    def picture(self, path, area=None):
        """Puts the screen, or a part of it (left, top, width, height), into a PNG file of 256 colours."""
        left, top, width, height = area or (0, 0, *self.screen)
        subprocess.run(["ffmpeg", "-y", "-v", "error", "-f", "x11grab", "-draw_mouse", "0", "-video_size",
                        f"{width}x{height}", "-i", f"{self.display}+{left},{top}", "-frames:v", "1", "-vf",
                        "trim=end_frame=1,split[a][b];[a]palettegen[p];[b][p]paletteuse=dither=none", str(path)], check=True)


def middle(rect):
    return rect[0] + rect[2] // 2, rect[1] + rect[3] // 2


class Kestrel:
    """The running program."""

    def __init__(self, desktop, build_folder, executable=None, environment=None):
        self.desktop = desktop
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kestrel-"))
        self.socket_path = self.folder / "inspector"
        self._mark = f"KESTREL_UNDER_TEST={uuid.uuid4().hex}"
        self._drag_source = build_folder / "tests" / "drag_source"
        self.process = subprocess.Popen(
            [executable or build_folder / "bin" / "kestrel"], cwd=self.folder, env={
                **desktop.environment, "QT_QPA_PLATFORM": "xcb", "QT_PLUGIN_PATH": str(build_folder / "tests/plugins"),
                "QT_QPA_GENERIC_PLUGINS": f"kestrelinspector:{self.socket_path}", **(environment or {}),
                **dict([self._mark.split("=")])})
        self._socket = socket.socket(socket.AF_UNIX)
        wait_until(self._connect, "the program's start")
        self._socket.settimeout(ANSWER_SECONDS)
        self._answers = self._socket.makefile()
        wait_until(lambda: any(window["active"] for window in self.windows()), "the main window in front")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        self._socket.close()
        shutil.rmtree(self.folder, ignore_errors=True)

    def _connect(self):
        expect(self.process.poll() is None, "the program ended at its start")
        with contextlib.suppress(OSError):
            self._socket.connect(str(self.socket_path))
            return True

    def offspring(self):
        """All processes that stem from the program, wherever they hang now."""
        found = set(descendants(self.process.pid))
        for folder in pathlib.Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):
                if self._mark.encode() in (folder / "environ").read_bytes().split(b"\0"):
                    found.add(int(folder.name))
        return found - {self.process.pid}

    # What is to be seen

    def windows(self, control=""):
        """All windows, each with its controls of this name or with all; alerts always with all."""
        try:
            self._socket.sendall(f"{control}\n".encode())
            answer = self._answers.readline()
        except OSError:
            answer = ""
        expect(answer, f"the program does not answer, exit status {self.process.poll()}")
        return json.loads(answer)

    def window(self, title):
        return next((window for window in self.windows(NO_CONTROL) if window["title"] == title), None)

    def alert(self):
        """The open alert or question as its two texts and its window, or nothing."""
        window = next((window for window in self.windows(NO_CONTROL) if "alert" in window), None)
        return window and (window["alert"], window["detail"], window)

    def find(self, name=None, window="Kestrel", **properties):
        for candidate in self.windows(name or ""):
            if "alert" in candidate and candidate["title"] == window == "Kestrel" and name:
                continue
            if candidate["title"] == window:
                for widget in candidate["widgets"]:
                    if name in (None, widget["name"]) and properties.items() <= widget.items():
                        return widget
        raise Failure(f"no {name or properties} in the window {window}")

    def text(self, name, **where):
        return self.find(name, **where)["text"]

    def rows(self, table, **where):
        return [[cell["text"] for cell in row] for row in self.find(table, **where)["table"]["rows"]]

    def selected_rows(self, table):
        return self.find(table)["table"]["selectedRows"]

    def cell(self, table, row, column):
        return self.find(table)["table"]["rows"][row][column]

    def wait_for_text(self, name, text, seconds=PATIENCE_SECONDS):
        """Until the control shows a text that contains this one; the whole text."""
        def shown():
            expect(not self.alert(), f"an alert came up: {self.alert()}")
            return text in self.text(name) and self.text(name)
        return wait_until(shown, f"{text} in {name}", seconds)

    # What is to be done

    def click(self, name, **where):
        wait_until(lambda: self.find(name, **where)["enabled"], f"{name or where} enabled")
        self.desktop.click(middle(self.find(name, **where)["rect"]))

    def tab_to(self, name):
        for _ in range(40):
            if self.find(name)["focus"]:
                return
            self.desktop.press("Tab")
        raise Failure(f"Tab does not come to {name}")

    def fill(self, name, text):
        self.click(name)
        wait_until(lambda: self.find(name)["focus"], f"the focus in {name}")
        self.desktop.press("ctrl+a")
        if text:
            self.desktop.type(text)
        else:
            self.desktop.press("Delete")
        wait_until(lambda: self.text(name) == text, f"{name} filled with {text}")

    def click_cell(self, table, row, column, times=1):
        self.desktop.click(middle(self.cell(table, row, column)["rect"]), times=times)

    def retime(self, row, column, text):
        self.click_cell("segmentTableView", row, column, times=2)
        self.type_time(text)

    def type_time(self, text):
        wait_until(lambda: self.find(**{"class": "SegmentTimeField"})["focus"], "the time field")
        self.desktop.press("ctrl+a")
        self.desktop.type(text)
        self.desktop.press("Return")

    def bring_forward(self, title):
        self.desktop.do("windowactivate", "--sync", self.window(title)["id"])

    def drop(self, paths, name):
        """Drags files from another program onto a field. They are let go once the field accepts them, which takes the
        two programs a conversation."""
        source = self.desktop.start([self._drag_source, *map(str, paths)], stdout=subprocess.PIPE)
        os.set_blocking(source.stdout.fileno(), False)
        wait_until(lambda: self.desktop.has_window("drag_source"), "the window to drag from")
        x, y = middle(self.find(name)["rect"])
        self.desktop.do("mousemove", 20, 20, "mousedown", 1, "mousemove", 30, 30, "mousemove", 40, 40)

        def accepted():
            self.desktop.do("mousemove", x, y, "sleep", 0.1, "mousemove", x + 1, y)
            return source.stdout.read()
        wait_until(accepted, f"{name} to accept {paths}")
        self.desktop.do("mouseup", 1)
        wait_until(lambda: not self.desktop.has_window("drag_source"), "the end of the drag")

    def detect(self, video):
        self.drop([video], "videoPathField")
        wait_until(lambda: self.text("videoPathField") == str(video), "the video in its field")
        self.click("parseButton")
        self.wait_for_text("statusLabel", "解析完成")

    def fill_screen(self):
        """Makes the main window so large that as little as possible needs to be scrolled to."""
        self.place(10, 70, self.desktop.screen[0] - 40, self.desktop.screen[1] - 120)

    def place(self, left, top, width, height):
        """Puts the main window there, its frame or its content, as the window manager takes it; the size is the
        content's."""
        window = self.window("Kestrel")
        self.desktop.do("windowsize", "--sync", window["id"], width, height)
        self.desktop.do("windowmove", window["id"], left, top)

        def is_there():  # to the pixel, or nearly so where a scale makes fractions
            window = self.window("Kestrel")
            content = window["widgets"][0]["rect"]
            return any(all(abs(actual - wanted) <= 2 for actual, wanted in zip(corner + content[2:],
                                                                               (left, top, width, height)))
                       for corner in (window["frame"][:2], content[:2]))
        wait_until(is_there, "the main window at its place")

    def wait_for_end(self, seconds=PATIENCE_SECONDS):
        """The exit status."""
        try:
            return self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            raise Failure(f"the program still runs after {seconds} s") from None


def make_video(path, seconds=(3, 3, 3, 3), size="320x240", rate=25):
    """A video of plainly different scenes, one after the other."""
    sources = ["testsrc", "mandelbrot", "color=c=navy", "smptebars", "rgbtestsrc", "color=c=olive"]
    command = ["ffmpeg", "-y", "-v", "error"]
    for number, length in enumerate(seconds):
        source = sources[number % len(sources)]
        separator = ":" if "=" in source else "="
        command += ["-f", "lavfi", "-t", str(length), "-i", f"{source}{separator}size={size}:rate={rate}"]
    inputs = "".join(f"[{number}:v]format=yuv420p,setsar=1[s{number}];" for number in range(len(seconds)))
    joined = "".join(f"[s{number}]" for number in range(len(seconds)))
    command += ["-filter_complex", f"{inputs}{joined}concat=n={len(seconds)}:v=1:a=0", "-c:v", "libx264",
                "-preset", "ultrafast", str(path)]
    subprocess.run(command, check=True)


def probe(path):
    """Width, height and seconds of a video."""
    answer = subprocess.run(["ffprobe", "-v", "error", "-select_streams", "v", "-show_entries",
                             "stream=width,height:format=duration", "-of", "json", str(path)], check=True,
                            capture_output=True, text=True).stdout
    description = json.loads(answer)
    stream = description["streams"][0]
    return stream["width"], stream["height"], float(description["format"]["duration"])


def run_tests(tests):
    """Runs the functions one after the other, each with a desktop and a build folder; ends the process."""
    build_folder = pathlib.Path(sys.argv[1]).resolve()
    failed = 0
    with Desktop() as desktop:
        for test in tests:
            start = time.monotonic()
            try:
                test(desktop, build_folder)
                outcome = "ok"
            except Failure as failure:
                failed += 1
                outcome = f"FAILED: {failure}"
            print(f"{test.__name__}: {outcome} ({time.monotonic() - start:.1f} s)", flush=True)
    sys.exit(1 if failed else 0)


def descendants(pid):
    """The processes that a process has started, and those that these have started."""
    children = []
    with contextlib.suppress(OSError):
        for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
            children += (task / "children").read_text().split()
    found = []
    for child in map(int, children):
        found += [child, *descendants(child)]
    return found


def is_running(pid):
    with contextlib.suppress(OSError):
        return pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()[0] != "Z"
    return False


def send(process, name):
    process.send_signal(getattr(signal, name))
