# The targets, files and names that the documents and pictures mention exist.
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
import re
import subprocess
import unittest
from pathlib import Path

from tree import ROOT, Rules, documents, sources_below, text_of

PRODUCT = ("zuerr", "zuplat", "zujsonlh", "interfaces", "source")


class DocumentTexts(Rules):
    def test_GiveTheSystemClockOneBoundThatTheMeasuredFiguresKeep(self):
        for document in ("README.md", "docs/timeScales.md", "packaging/debian/control"):
            self.assertRegex(text_of(document),
                             r"hardware clocks within\s+100 ns and\s+the system clock within\s+3 us", document)
        figures = re.search(r"CLOCK_REALTIME \| (-?\d+) \| -?\d+ \| -?\d+ \| -?\d+ \| (-?\d+) \|",
                            text_of("docs/virtual-controller.md"))
        self.assertGreater(int(figures[1]), -3000)
        self.assertLess(int(figures[2]), 3000)

    def test_NameOnlyCommandsThatTheScriptKnows(self):
        known = re.findall(r"\n  ([a-z-]+)(?: \| [a-z |-]+)?\) ", text_of("dev"))
        self.assertLessEqual({"setup", "build", "test", "demo"}, set(known))
        found = self.for_each_match(r"\./dev ([a-z-]+)", documents(), lambda _, command: self.assertIn(command, known))
        self.assertGreater(found, 1)

    def test_LinkOnlyToFilesThatExist(self):
        found = self.for_each_match(r"\]\(([^)#:\s]+)(?:#[^)]*)?\)", documents(), lambda document, target:
                                    self.assertTrue((ROOT / document.parent / target).exists()))
        self.assertGreater(found, 3)

    def test_ShowTheFiguresThatCommandsPrinted(self):
        self.assertEqual(subprocess.run([ROOT / "docs/figures", "check"]).returncode, 0)


FLOORS = {6: ("include", "zuerr"), 5: ("source/zuHalvexTimekeeper",), 4: ("source/zuHalvexTimekeeper",),
          3: ("source/zuHalvexTimekeeper",), 2: ("interfaces", "source/tools"), 1: ("zuplat", "zujsonlh"), 0: ("zuerr",)}
PICTURES = ("architecture", "life", "controller")


def names_in(picture):
    """The code names in a picture, per floor if it has floors."""
    names, floor = {}, -1
    for mark, name in re.findall(r'<!-- floor (\d) -->|class="name[^"]*"[^>]*>([^<]+)<', text_of(f"docs/{picture}.svg")):
        floor = int(mark) if mark else floor
        names.setdefault(floor, set()).update({name} - {""})
    return names


def units_on(floor, *endings):
    """The units below the folders of one floor: file names without extension."""
    return {Path(source).stem for source in sources_below(*FLOORS[floor]) if source.endswith(endings)}


class Pictures(Rules):
    def test_PutEveryUnitOnItsFloor(self):
        names = names_in("architecture")
        for floor in FLOORS:
            there = units_on(floor, ".h", ".cpp")
            for name in names[floor]:
                is_of_machine = re.search("[/_]", name) and name not in there
                self.assertTrue(Path(name).stem in there or is_of_machine or name == "phc2sys", f"{name} on {floor}")
        drawn = set.union(*(names[floor] for floor in FLOORS))
        for floor in range(6):
            self.assertLessEqual(units_on(floor, ".cpp"), drawn)

    def test_NameOnlyWhatTheSourcesKnow(self):
        files = [path for folder in ("include", *PRODUCT) for path in (ROOT / folder).rglob("*") if path.is_file()]
        known = text_of("packaging/abi/symbols") + "\n".join(path.name + "\n" + text_of(path) for path in files)
        named = [name for picture in PICTURES for names in names_in(picture).values() for name in names]
        for name in named:
            self.assertTrue(("/dev/ptp" if name == "/dev/ptpN" else name) in known, name)
        self.assertGreater(len(named), 40)

    def test_CanBeReadOnLightAndOnDarkPaper(self):
        for picture in PICTURES:
            text = text_of(f"docs/{picture}.svg")
            for part in ("prefers-color-scheme: dark", "<title>", "<desc>"):
                self.assertTrue(part in text, f"{picture}: {part}")
            self.assertFalse("href" in text, picture)
        for chart in (ROOT / "docs").glob("*.svg"):
            self.assertIn("prefers-color-scheme: dark", text_of(chart), chart)


def matches_in(folders, pattern):
    return [match for source in sources_below(*folders) for match in re.findall(pattern, text_of(source))]


class Guide(Rules):
    def test_TellsCauseAndRemedyOfEveryLineInSyslog(self):
        lines = matches_in(PRODUCT, r'\bsyslog\(LOG_[A-Z]+,\s*"([^"]+)"')
        self.assertEqual(len(lines), len(matches_in(PRODUCT, r"\bsyslog\(")), "a line whose text is not a literal")
        self.assertGreaterEqual(len(lines), 9)
        rows = text_of("docs/integration.md").split("\n")
        for line in lines:
            # One of getName is an instance of the line common to all calls.
            if not line.startswith("Encountered error in zuqxmtk_getName"):
                cells = [row.count("|") for row in rows if f"| `{line}` | " in row]
                self.assertEqual(cells[:1], [5], f"cause and remedy of {line}")

    def test_TellsEveryCodeAndEveryFunction(self):
        guide = text_of("docs/integration.md")
        codes = matches_in(["zuerr"], r"= (-52\d{3});")
        self.assertGreaterEqual(len(codes), 20)
        functions = text_of("packaging/abi/symbols").split()
        self.assertEqual(len(functions), 12)
        for named in [f"| {code} | " for code in codes] + [f"`{function}`" for function in functions]:
            self.assertTrue(named in guide, named)


if __name__ == "__main__":
    unittest.main()
