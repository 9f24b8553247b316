#!/usr/bin/env python3
"""Checks that includes follow the layers: check_layers.py SOURCE_DIRECTORY"""

import re
import sys
from pathlib import Path

# The modules right below each; what lies below these it may include too.
BELOW = {
    "Models": [],
    "Services": ["Models"],
    "Jobs": ["Services"],
    "CutLists": ["Services"],
    "Frames": ["CutLists"],
    "Controls": [],
    "WorkerWindowController": ["Services", "Controls"],
    "SplitCoordinator": ["WorkerWindowController", "Jobs"],
    "Viewer": ["Frames", "Controls"],
    "Review": ["Frames", "Controls"],
    "RunOverview": ["SplitCoordinator"],
    "MainWindowController": ["RunOverview", "Review", "Viewer"],
    "AppMain": ["MainWindowController"],
    "Batch": ["Jobs", "Frames"],
}
# These make up kestrel_core, which runs without a display.
CORE_MODULES = {"Models", "Services", "Jobs", "CutLists"}
# Pictures, but no widgets: kestrel_frames and kestrel_batch.
PICTURE_MODULES = {"Frames", "Batch"}
CORE_FILES = {"AppMain/CommandLineTool.h", "AppMain/CommandLineTool.cpp"}  # they may include Services

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def allowed(module):
    return {module}.union(*map(allowed, BELOW[module]))


def faults_of_include(file, bracket, included, root):
    name = file.relative_to(root).as_posix()
    module = name.split("/")[0]
    in_core = module in CORE_MODULES or name in CORE_FILES
    if bracket == "<":
        # Names without a folder need no check: a library is given the headers of its own parts of Qt alone.
        if in_core and re.match(r"Qt(?!Core/)\w+/", included):
            yield f"{included} is not QtCore, and {module} runs without a display"
        if module in PICTURE_MODULES and re.match(r"Qt(?!Core/|Gui/)\w+/", included):
            yield f"{included} is neither QtCore nor QtGui, and {module} has no widgets"
        return
    if included.endswith(".moc"):
        return
    if not (root / included).is_file():
        yield f'"{included}" names no file; includes start with the module'
        return
    own_header = name.replace(".cpp", ".h")
    if included.split("/")[0] not in allowed("Services" if name in CORE_FILES else module) and included != own_header:
        yield f'"{included}" is not below {module}'


def faults(root):
    for file in sorted([*root.rglob("*.h"), *root.rglob("*.cpp")]):
        if file.relative_to(root).parts[0] not in BELOW:
            yield f"{file}: no module of that name"
            continue
        for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
            include = INCLUDE.match(line)
            if include:
                for fault in faults_of_include(file, *include.groups(), root):
                    yield f"{file}:{number}: {fault}"


def main():
    found = list(faults(Path(sys.argv[1])))
    print("\n".join(found) or "includes follow the layers")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
