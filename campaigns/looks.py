"""The main window at other scales, on other screens, in dark, with a long path: looks.py <build folder> <folder>"""

import pathlib
import sys
import tempfile
import time

from kestrel_at_screen import Desktop, Kestrel, make_video
from screenshots import dark_desktop, place_with_a_name

# Name, screen, scale.
LOOKS = [
    ("scale-100", (1800, 1000), "1"),
    ("scale-150", (2700, 1500), "1.5"),
    ("scale-200", (3600, 2000), "2"),
    ("small-screen", (1280, 720), "1"),
    ("large-screen", (3840, 2160), "1"),
    ("dark-200", (3600, 2000), "2"),
]


def look(name, screen, scale, build_folder, video, pictures, settings):
    environment = {"QT_SCALE_FACTOR": scale, **(dark_desktop(settings) if name.startswith("dark") else {})}
    with Desktop(screen) as desktop, Kestrel(desktop, build_folder, environment=environment) as kestrel:
        kestrel.fill_screen()
        kestrel.drop([video], "videoPathField")
        kestrel.tab_to("parseButton")  # which a small screen does not show
        desktop.press("space")
        kestrel.wait_for_text("statusLabel", "解析完成")
        desktop.do("mousemove", screen[0] - 5, screen[1] - 5)
        time.sleep(0.4)
        desktop.picture(pictures / f"{name}.png")


def main():
    build_folder, pictures = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
    pictures.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory() as settings, place_with_a_name() as folder:
        place = folder / "二〇二六年夏天在海边拍下的全部录像" / "原始素材 - camera A - card 01 - do not delete"
        place.mkdir(parents=True)
        video = place / "第一天早上从出发到到达的一整段没有剪过的长录像.mp4"
        make_video(video, [8, 11, 6, 14, 9, 12, 7, 10])
        for name, screen, scale in LOOKS:
            look(name, screen, scale, build_folder, video, pictures, pathlib.Path(settings))


if __name__ == "__main__":
    main()
