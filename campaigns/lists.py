"""Lists of cuts in the hands of other programs: lists.py <build folder> <segments of each film> <folder with node_modules>

Run it by scripts/lists. Every kind of list is written for films in five containers, read by the readers that can be had
as packages, and cut by the numbers that they read: the pictures must be those of our own split.
"""

import csv
import itertools
import json
import pathlib
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as xml

WIDTH, HEIGHT, COLUMNS, ROWS = 160, 96, 8, 2
TIMECODES = 40_000
FILMS = [  # file, rate, number of pictures, ffmpeg's words
    ("a.mp4", "30000/1001", 1800, ["-timecode", "00:59:50;00", "-pix_fmt", "yuv420p"]),
    ("b.mkv", "24000/1001", 1500, ["-pix_fmt", "yuv420p"]),
    # Its groups of pictures are closed: from open ones, ffmpeg loses pictures that need the group before, when it starts
    # just there.
    ("c.mov", "25", 1500, ["-c:v", "mpeg4", "-bf", "2", "-flags", "+cgop", "-sc_threshold", "1000000000", "-timecode",
                           "10:00:00:00"]),
    ("d.webm", "50", 2000, ["-c:v", "libvpx", "-deadline", "realtime", "-cpu-used", "8"]),
    ("e.nut", "60000/1001", 2400, ["-c:v", "libx264", "-pix_fmt", "yuv420p"]),
]
RATES = [("24000/1001", 23.976, 0), ("24/1", 24, 0), ("25/1", 25, 0), ("30000/1001", 29.97, 0), ("30000/1001", 29.97, 1),
         ("30/1", 30, 0), ("50/1", 50, 0), ("60000/1001", 59.94, 1)]


def run(*words, **options):
    return subprocess.run([str(word) for word in words], check=True, stdin=subprocess.DEVNULL, capture_output=True,
                          **options).stdout


def make_film(path, rate, count, options):
    """Sixteen blocks, light or dark, are the bits of a picture's number."""
    block = WIDTH // COLUMNS
    ffmpeg = subprocess.Popen(["ffmpeg", "-v", "error", "-y", "-f", "rawvideo", "-pix_fmt", "gray", "-s",
                               f"{WIDTH}x{HEIGHT}", "-r", rate, "-i", "-", *options, str(path)], stdin=subprocess.PIPE)
    for number in range(count):
        rows = [b"".join((b"\xd2" if number >> (row * COLUMNS + column) & 1 else b"\x28") * block
                         for column in range(COLUMNS)) for row in range(ROWS)]
        ffmpeg.stdin.write(b"".join(row * (HEIGHT // ROWS) for row in rows))
    ffmpeg.stdin.close()
    assert ffmpeg.wait() == 0


def numbers(*words, select="1"):
    """What the pictures show that ffmpeg decodes for these words, in their order. ffmpeg shows the first picture of a
    clip twice when the clip starts between two."""
    pixels = run("ffmpeg", "-v", "error", *words, "-fps_mode", "passthrough", "-vf",
                 f"select={select},scale={COLUMNS}:{ROWS}:flags=area", "-pix_fmt", "gray", "-f", "rawvideo", "-")
    size = COLUMNS * ROWS
    shown = (sum((pixel > 128) << bit for bit, pixel in enumerate(pixels[at:at + size]))
             for at in range(0, len(pixels), size))
    return [number for number, _ in itertools.groupby(shown)]


class Campaign:

    def __init__(self, build_folder, segments, packages):
        self._program = build_folder / "campaigns" / "list_files"
        self._segments = segments
        self._packages = packages
        self._node_scripts = 0
        self.results = []

    def tell(self, kind, reader, shown, wrongs):
        self.results.append((kind, reader, shown, wrongs))
        print(f"{kind:12} {reader:34} {shown:48} {'as ours' if not wrongs else f'{wrongs} WRONG'}", flush=True)

    def node(self, script, *words):
        """Runs a few lines of JavaScript that have the packages at hand and print JSON."""
        file = self._packages / "script.js"
        file.write_text(script)
        return json.loads(run("node", file, *words))

    # Timecodes

    def timecodes(self):
        script = """
            const Timecode = require('smpte-timecode'), [rate, drops, count] = process.argv.slice(2).map(Number)
            const all = []
            for (let n = 0; n < count; n++) all.push(Timecode(n, rate, drops === 1).toString())
            console.log(JSON.stringify(all))"""
        for rate, number, drops in RATES:
            ours = run(self._program, "timecodes", *rate.split("/"), drops, TIMECODES, text=True).split()
            theirs = self.node(script, number, drops, TIMECODES)
            self.tell("timecode", "npm smpte-timecode", f"{TIMECODES} pictures at {number}{' dropping' * drops}",
                      sum(map(lambda left, right: left != right, ours, theirs)) + abs(len(ours) - len(theirs)))

    # Films

    def film(self, name, rate, count, options, seed):
        with tempfile.TemporaryDirectory() as folder:
            self._folder = pathlib.Path(folder)
            self._film = self._folder / name
            make_film(self._film, rate, count, options)
            self._shown = numbers("-i", self._film)
            self._cuts = {}
            run(self._program, "export", self._film, self._folder, self._segments, seed)
            self._clips = json.loads((self._folder / "clips.json").read_text())
            self._ranges = [(clip["first"], clip["end"]) for clip in self._clips]
            self._names = [clip["name"] for clip in self._clips]
            self._rate = eval(rate)  # a constant of ours
            self._our_split(name)
            self._counting_kinds(name)
            self._timed_kinds(name)
            self._read_again(name)

    def _our_split(self, name):
        wrongs = 0
        for clip in self._clips:
            run("ffmpeg", "-v", "error", *clip["words"])
            output = clip["words"][-1]
            wrongs += numbers("-i", output) != self._shown[clip["first"]:clip["end"]]
            pathlib.Path(output).unlink()
        self.tell("our split", "ffmpeg", f"{name}: {len(self._clips)} clips, every picture", wrongs)

    def _compare_pictures(self, kind, reader, name, ranges):
        """Pictures by their numbers, as ffmpeg counts them."""
        wrongs = abs(len(ranges) - len(self._ranges))
        for (first, end), (our_first, our_end) in zip(ranges, self._ranges):
            if (first, end) not in self._cuts:  # several lists tell the same numbers
                self._cuts[first, end] = numbers("-i", self._film, select=f"between(n\\,{first}\\,{end - 1})")
            wrongs += self._cuts[first, end] != self._shown[our_first:our_end]
        self.tell(kind, reader, f"{name}: {len(ranges)} clips, every picture", wrongs)

    def _compare_times(self, kind, reader, name, clips):
        """Start, end and name of clips, as a reader of times cuts them."""
        wrongs = abs(len(clips) - len(self._ranges))
        for (start, end, title), (first, last), our_title in zip(clips, self._ranges, self._names):
            wrongs += self._cut(f"{start:.6f}", f"{end - start:.6f}") != self._shown[first:last] or title != our_title
        self.tell(kind, reader, f"{name}: {len(clips)} clips, every picture, names", wrongs)

    def _cut(self, start, length):
        """The pictures of a clip; several lists tell the same times."""
        if (start, length) not in self._cuts:
            output = self._folder / f"cut{self._film.suffix}"
            run("ffmpeg", "-v", "error", "-y", "-ss", start, "-i", self._film, "-t", length, "-strict", "-2", output)
            self._cuts[start, length] = numbers("-i", output)
        return self._cuts[start, length]

    def _counting_kinds(self, name):
        script = """
            const Timecode = require('smpte-timecode')
            const [rate, ...lines] = JSON.parse(process.argv[2]), zero = lines.shift()
            console.log(JSON.stringify(lines.map(line => line.map(
                text => Timecode(text, rate).frameCount - (zero ? Timecode(zero, rate).frameCount : 0)))))"""
        lines = (self._folder / "edl.edl").read_text().splitlines()
        events = [line.split()[4:6] for line in lines if line[:3].isdigit()]
        zero = (run("ffprobe", "-v", "error", "-show_entries", "stream_tags=timecode:format_tags=timecode", "-of",
                    "default=nk=1:nw=1", self._film, text=True).split() or [None])[0]
        rate = {29.97: 29.97, 23.976: 23.976, 59.94: 59.94}.get(round(self._rate, 3), round(self._rate, 2))
        self._compare_pictures("EDL", "its columns, npm smpte-timecode", name,
                               self.node(script, json.dumps([rate, zero, *events])))

        otio = json.loads((self._folder / "otio.otio").read_text())
        clips = otio["tracks"]["children"][0]["children"]
        begin = clips[0]["media_references"]["DEFAULT_MEDIA"]["available_range"]["start_time"]["value"]
        ranges = [(clip["source_range"]["start_time"]["value"] - begin,
                   clip["source_range"]["start_time"]["value"] - begin + clip["source_range"]["duration"]["value"])
                  for clip in clips]
        self._compare_pictures("OTIO", "Python json, its schema's fields", name, [tuple(map(int, r)) for r in ranges])

        with (self._folder / "scenes.csv").open(newline="") as file:
            next(file)
            ranges = [(int(row["Start Frame"]) - 1, int(row["End Frame"])) for row in csv.DictReader(file)]
        self._compare_pictures("scene CSV", "Python csv", name, ranges)

    def _timed_kinds(self, name):
        project = self.node("""
            const JSON5 = require('json5'), fs = require('fs')
            console.log(JSON.stringify(JSON5.parse(fs.readFileSync(process.argv[2], 'utf8'))))""",
                            self._folder / "llc.llc")
        self._compare_times("llc", "npm json5", name,
                            [(s["start"], s["end"], s["name"]) for s in project["cutSegments"]])
        rows = self.node("""
            const {parse} = require('csv-parse/sync'), fs = require('fs')
            console.log(JSON.stringify(parse(fs.readFileSync(process.argv[2]))))""", self._folder / "llccsv.csv")
        self._compare_times("llc CSV", "npm csv-parse", name, [(float(a), float(b), c) for a, b, c in rows])
        with (self._folder / "csv.csv").open(newline="") as file:
            self._compare_times("CSV", "Python csv", name,
                                [(float(row["start"]), float(row["end"]), row["name"]) for row in csv.DictReader(file)])
        for suffix in ("mkv", "mp4"):
            self._ffmetadata(name, suffix)
        self._matroska(name)

    def _ffmetadata(self, name, suffix):
        with_chapters = self._folder / f"with_chapters.{suffix}"
        run("ffmpeg", "-v", "error", "-y", "-i", self._film, "-f", "ffmetadata", "-i",
            self._folder / "ffmetadata.ffmeta", "-map", "0:v", "-map_chapters", "1", "-c:v",
            "copy" if suffix == "mkv" else "mpeg4", with_chapters)
        chapters = json.loads(run("ffprobe", "-v", "error", "-show_chapters", "-of", "json", with_chapters))["chapters"]
        clips = [(float(c["start_time"]), float(c["end_time"]), c["tags"]["title"]) for c in chapters]
        if suffix == "mkv":
            # Its ticks are pictures. Their times in seconds may lie half a millisecond from those in a Matroska film.
            self._compare_pictures("FFmetadata", "ffmpeg into mkv, ffprobe", name,
                                   [tuple(round(time * self._rate) for time in clip[:2]) for clip in clips])
            self.tell("FFmetadata", "ffmpeg into mkv, ffprobe", f"{name}: {len(clips)} clips, names",
                      sum(clip[2] != ours for clip, ours in zip(clips, self._names)))
        else:
            kept = sum(title == ours for (_, _, title), ours in zip(clips, self._names))
            near = [[abs(clip[edge] - ours[edge] / self._rate) < 0.001 for clip, ours in zip(clips, self._ranges)]
                    for edge in (0, 1)]
            print(f"FFmetadata   ffmpeg into mp4, ffprobe           {name}: {len(clips)} of {len(self._clips)} chapters, "
                  f"{kept} names, {sum(near[0])} starts, {sum(near[1])} ends to the millisecond", flush=True)
        back = self._folder / f"back.{suffix}.ffmeta"
        run("ffmpeg", "-v", "error", "-y", "-i", with_chapters, "-f", "ffmetadata", back)
        if suffix == "mkv":
            self._compare_own_reading("ffmetadata", "ours, back from mkv", name, back)

    def _matroska(self, name):
        file = self._folder / "mkvxml.xml"
        dtd = next(pathlib.Path("/usr/share/doc/mkvtoolnix").rglob("matroskachapters.dtd*"), None)
        if dtd:
            run("xmllint", "--noout", "--dtdvalid", dtd, file)
            self.tell("chapters", "xmllint against mkvtoolnix's DTD", name, 0)
        merged, back = self._folder / "merged.mkv", self._folder / "back.xml"
        run("mkvmerge", "-q", "-o", merged, "--chapters", file, "--no-chapters", self._film
            if self._film.suffix != ".nut" else self._folder / "with_chapters.mkv")
        run("mkvextract", merged, "chapters", back)
        clips = []
        for atom in xml.parse(back).iter("ChapterAtom"):
            start, end = (sum(float(part) * unit for part, unit in zip(atom.findtext(tag).split(":"), (3600, 60, 1)))
                          for tag in ("ChapterTimeStart", "ChapterTimeEnd"))
            clips.append((start, end, atom.findtext("ChapterDisplay/ChapterString")))
        self._compare_times("chapters", "mkvmerge, mkvextract", name, clips)
        self._compare_own_reading("mkvxml", "ours, back from mkvextract", name, back)

    def _read_again(self, name):
        for kind, suffix in (("edl", "edl"), ("otio", "otio"), ("scenes", "csv"), ("llc", "llc"), ("llccsv", "csv"),
                             ("csv", "csv"), ("ffmetadata", "ffmeta"), ("mkvxml", "xml")):
            self._compare_own_reading(kind, "ours", name, self._folder / f"{kind}.{suffix}")

    def _compare_own_reading(self, kind, reader, name, file):
        clips = json.loads(run(self._program, "read", kind, self._film, file))
        self.tell(kind, reader, f"{name}: {len(clips)} clips, picture numbers",
                  sum(tuple(clip[:2]) != ours for clip, ours in zip(clips, self._ranges)) +
                  abs(len(clips) - len(self._ranges)))


def main():
    campaign = Campaign(pathlib.Path(sys.argv[1]), int(sys.argv[2]), pathlib.Path(sys.argv[3]))
    campaign.timecodes()
    for seed, film in enumerate(FILMS):
        campaign.film(*film, seed)
    wrongs = sum(result[3] for result in campaign.results)
    print(f"{len(campaign.results)} comparisons, {wrongs} wrong")
    return 1 if wrongs else 0


if __name__ == "__main__":
    sys.exit(main())
