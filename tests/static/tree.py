# The tree as the rules about it read it, and the frame of their tests.
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
import os
import re
import subprocess
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ.get("HALVEX_BINARY_DIR", ROOT / "build"))
LIBRARY = BUILD / "lib" / "libzuHalvexTimekeeper.so"
PRODUCT_FOLDERS = ("locks", "zuerr", "zuplat", "zujsonlh", "interfaces", "source", "include")


def text_of(path):
    """The contents of a file, named from the root."""
    return (ROOT / path).read_text(errors="surrogateescape")


def sources_below(*folders):
    """All C and C++ files below folders, as paths from the root."""
    return sorted(str(path.relative_to(ROOT)) for folder in folders for path in (ROOT / folder).rglob("*")
                  if path.suffix in (".h", ".c", ".cpp"))


def is_below(path, *folders):
    return path.startswith(tuple(folder + "/" for folder in folders))


def documents():
    return sorted(path.relative_to(ROOT) for path in (*ROOT.glob("*.md"), *(ROOT / "docs").rglob("*.md")))


def output_of(*command):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT).stdout


class Rules(unittest.TestCase):
    longMessage = True

    def for_each_match(self, pattern, paths, check):
        """Calls `check` with each file and what the first group of the pattern matches in it; returns how many."""
        found = [(path, match) for path in paths for match in re.findall(pattern, text_of(path))]
        for path, match in found:
            with self.subTest(file=str(path), text=match):
                check(path, match)
        return len(found)
