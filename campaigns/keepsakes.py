"""Files whose content must be found again, wherever it has been moved to."""

import collections
import contextlib
import hashlib
import json
import os
import pathlib
import subprocess
import uuid


def checksum(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


def contents(*folders):
    """The paths of all files in these folders and below, links aside, by the checksum of what they hold."""
    found = collections.defaultdict(list)
    for folder in folders:
        for place, _, names in os.walk(folder):
            for path in (pathlib.Path(place) / name for name in names):
                with contextlib.suppress(FileNotFoundError):
                    if path.is_file() and not path.is_symlink():
                        found[checksum(path)].append(path)
    return found


def is_hidden(path):
    """From a person who looks into the folder. The trash on another volume is hidden too, yet known to every desktop."""
    return path.name.startswith(".")


def make_older_clip(path, clip):
    """A clip like another one, and like no other: what follows its last box is nothing to a player."""
    path.write_bytes(clip.read_bytes() + uuid.uuid4().bytes)


def count_pictures(path):
    """Those of a clip that can be decoded; none where anything is wrong."""
    answer = subprocess.run(["ffprobe", "-v", "error", "-count_frames", "-select_streams", "v", "-show_entries",
                             "stream=nb_read_frames", "-of", "json", str(path)], check=False, capture_output=True,
                            text=True)
    if answer.returncode or answer.stderr:
        return 0
    return int(json.loads(answer.stdout)["streams"][0]["nb_read_frames"])


class CompleteClips:
    """Knows which files are whole clips of a length; each content is looked at once."""

    def __init__(self, pictures):
        self._pictures = pictures
        self._known = {}

    def __contains__(self, path):
        if not path.is_file():
            return False
        content = checksum(path)
        if content not in self._known:
            self._known[content] = count_pictures(path) == self._pictures
        return self._known[content]


class OlderClips:
    """What became of the clips that lay under the outputs' names before a split."""

    def __init__(self, folder, trash, complete):
        self._folder = folder
        self._trash = trash
        self._complete = complete
        self._content = {}
        self._replaceable = set()
        self.fates = collections.Counter()

    def note(self, path, replaceable):
        """`replaceable`: the same window has written it from the same video, so a complete successor is enough."""
        self._content[path] = checksum(path)
        if replaceable:
            self._replaceable.add(path)

    def wrongs(self, outputs, killed=False):
        """What is not as it must be after a split. After a kill, names may hold what nobody was left to clear away, as
        long as the older clips are to be seen elsewhere."""
        found = contents(self._folder, self._trash)
        wrongs = []
        cleared = set(outputs) if not killed else set(self._content)  # of what was only begun
        for path, content in self._content.items():
            fate = self._fate(path, found[content])
            self.fates[fate] += 1
            if fate in ("lost", "hidden") or fate == "moved away" and not killed:
                wrongs.append(f"{path.name} is {fate}")
            elif fate == "moved away":
                cleared.discard(path)
        older = set(self._content.values())
        for path in cleared & set(outputs):
            if path.is_file() and checksum(path) not in older and path not in self._complete:
                wrongs.append(f"{path.name} is {path.stat().st_size} bytes that are no clip")
        wrongs += [f"{path.name} is left behind" for path in self._folder.iterdir() if is_hidden(path)]
        return wrongs

    def _fate(self, path, places):
        if path in places:
            return "in place"
        if not places:
            return "replaced" if path in self._replaceable and path in self._complete else "lost"
        if all(map(is_hidden, places)):
            return "hidden"
        if path not in self._complete:
            return "moved away"
        return "beside" if any(place.parent == path.parent for place in places) else "in the trash"
