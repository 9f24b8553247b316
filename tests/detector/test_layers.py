"""The detector's modules import only what lies below them, and none has grown beyond what is read at one go."""

import ast
import os
import unittest

PACKAGE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "kestrel_detector")
# From the bottom to the top; modules of one layer know nothing of each other.
LAYERS = (
    ("messages", "measures", "times", "events"),
    ("command_line", "frames", "block", "scenes"),
    ("cuts", "fades", "dissolves", "wipes"),
    ("gradual",),
    ("analysis",),
    ("cache", "profiles"),
    ("segments",),
    ("output",),
    ("main",),
)
LONGEST = 450  # lines


class Layers(unittest.TestCase):
    def test_imports_point_downwards(self):
        below, faults = {"__init__"}, []
        modules = {name[:-3] for name in os.listdir(PACKAGE) if name.endswith(".py")}
        self.assertEqual(modules, {"__init__"}.union(*LAYERS))
        for layer in LAYERS:
            for module in layer:
                with open(os.path.join(PACKAGE, module + ".py"), encoding="utf-8") as file:
                    text = file.read()
                faults += [module + " imports " + name for name in imported(text) - below]
                faults += [module + " is too long"] if text.count("\n") > LONGEST else []
            below |= set(layer)
        self.assertEqual(faults, [])


def imported(text):
    """The modules of the package that a module imports."""
    names = set()
    for node in ast.walk(ast.parse(text)):
        if isinstance(node, ast.ImportFrom):
            names.add((node.module or "") if node.level == 0 else "kestrel_detector." + (node.module or ""))
        elif isinstance(node, ast.Import):
            names |= {alias.name for alias in node.names}
    return {name.partition(".")[2] for name in names if name.partition(".")[0] == "kestrel_detector"}


if __name__ == "__main__":
    unittest.main()
