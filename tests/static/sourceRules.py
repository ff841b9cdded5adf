# The dependency and naming rules of the tree, checked on its files.
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
import os
import re
import unittest
from pathlib import Path

from tree import BUILD, PRODUCT_FOLDERS, ROOT, Rules, is_below, sources_below, text_of

PLUGIN = "source/zuHalvexTimekeeper"

# The layers of the plug-in's own folder, and what each may include from elsewhere.
ROOM_OF = {unit: room for room, units in {
    "interface": "clockInterface epochDeviceInterface freqSteeringDeviceInterface timekeeperInterface",
    "device": "i210EpochDevice i210EpochHelpers fpgaEpochDevice timeReferenceMetadata ferroxEpochDevice "
              "si514FreqSteeringDevice systemTimeClock",
    "timekeeper": "halvexTimekeeper epochAlignment timeDifference monitoringThread",
    "entry": "halvexTimekeeperPlugin pluginState pluginLifecycle callFrame i210EpochDeviceFactory",
}.items() for unit in units.split()}
ROOM_MAY_INCLUDE = {
    "interface": ("source/tools/qxmTimestamp.h",),
    "device": ("zuerr/", "zuplat/", "zujsonlh/", "interfaces/", "source/tools/"),
    "timekeeper": ("zuerr/", "source/tools/", "zuplat/quarks/"),
    "entry": tuple(folder + "/" for folder in PRODUCT_FOLDERS),
}
FOLDER_MAY_INCLUDE = {
    "locks": (),
    "zuerr": ("zuerr/",),
    "zuplat": ("zuplat/", "zuerr/codes.h"),
    "zujsonlh": ("zujsonlh/", "zuerr/"),
    "interfaces": ("interfaces/", "zuplat/"),
    "source/tools": ("source/tools/", "zuerr/", "zuplat/platStatus.h"),
    "include": ("zuerr/zuerr_Status.h",),
}
# A device may use its own helpers but no other device.
DEVICE_OF = {"i210EpochHelpers": "i210EpochDevice", "timeReferenceMetadata": "fpgaEpochDevice"}


def includes_of(source):
    """A file's quoted includes: the project's own headers."""
    return re.findall(r'^\s*#\s*include\s*"([^"]+)"', text_of(source), re.MULTILINE)


def may_plugin_include(source, included):
    unit, other = Path(source).stem, Path(included).stem
    if not is_below(included, PLUGIN):
        return included.startswith(ROOM_MAY_INCLUDE[ROOM_OF[unit]])
    room, other_room = ROOM_OF[unit], ROOM_OF[other]
    if room == other_room == "device":
        return DEVICE_OF.get(unit, unit) == DEVICE_OF.get(other, other)
    return other_room == "interface" or room == "entry" or room == other_room == "timekeeper"


def may_include(source, included):
    if is_below(included, "locks"):
        return True
    for folder, allowed in FOLDER_MAY_INCLUDE.items():
        if is_below(source, folder):
            return included.startswith(allowed)
    return may_plugin_include(source, included)


def product_sources():
    return sources_below(*PRODUCT_FOLDERS)


class FloorPlan(Rules):
    def test_IsReadFromATreeThatIsThere(self):
        self.assertGreater(len(product_sources()), 40)

    def test_LetsIncludesPointDownwardOnly(self):
        for source in product_sources():
            for included in includes_of(source):
                self.assertTrue((ROOT / included).exists(), f"{source} does not name {included} from the root")
                self.assertTrue(may_include(source, included), f"{source} may not include {included}")

    def test_WouldNoticeADeviceThatIncludesAnother(self):
        self.assertFalse(may_include(f"{PLUGIN}/fpgaEpochDevice.cpp", f"{PLUGIN}/ferroxEpochDevice.h"))
        self.assertFalse(may_include(f"{PLUGIN}/halvexTimekeeper.cpp", f"{PLUGIN}/i210EpochDevice.h"))
        self.assertFalse(may_include("zuplat/platStatus.cpp", "zuerr/exception.h"))
        self.assertFalse(may_include("locks/annotatedLocks.h", "zuerr/codes.h"))
        self.assertTrue(may_include(f"{PLUGIN}/i210EpochDevice.cpp", f"{PLUGIN}/i210EpochHelpers.h"))

    def test_KeepsTheBoardAndTheProductApart(self):
        product = [folder for folder in PRODUCT_FOLDERS if folder != "locks"]
        for source in sources_below("board", *PRODUCT_FOLDERS):
            others = product if is_below(source, "board") else ["board"]
            for included in includes_of(source):
                self.assertFalse(is_below(included, *others), f"{source} includes {included}")

    def test_ShowsHostsAndBoundaryTestsThePublicHeadersOnly(self):
        for source in sources_below("host", "tests/boundary"):
            for included in includes_of(source):
                is_own = "/" not in included or is_below(included, "host", "tests", "locks")
                is_public = included in ("zuqxmtk.h", "include/zuqxmtk.h", "zuerr/zuerr_Status.h")
                self.assertTrue(is_own or is_public, f"{source} includes {included}")


def is_unit(unit):
    """Whether the tree has a file of that name with any extension."""
    return any(path.is_file() and path.stem == unit.name for path in (ROOT / unit.parent).glob(unit.name + ".*"))


class UnitTests(Rules):
    def test_LieInTheFolderOfTheirUnitAndCarryItsName(self):
        tests = [source for source in sources_below("tests/unit") if source.endswith("Test.cpp")]
        for test in tests:
            unit = Path(test.removesuffix("Test.cpp")).relative_to("tests/unit")
            self.assertTrue(is_unit(unit), f"{test} is the test of nothing")
        self.assertGreater(len(tests), 80)
        self.assertFalse(is_unit(Path("source/tools/texts")))

    def test_AreThereForEveryUnitOfTheProduct(self):
        for source in product_sources():
            test = f"tests/unit/{source.removesuffix('.cpp')}Test.cpp"
            self.assertTrue(not source.endswith(".cpp") or (ROOT / test).exists(), f"no {test}")


class TestPrograms(Rules):
    @unittest.skipIf("thread" in os.environ.get("HALVEX_SANITIZE", ""), "programs on the preloaded board are left out")
    def test_ThatScriptsNameAreBuilt(self):
        targets, named = (BUILD / "build.ninja").read_text(), []
        for script in ("tests/mutants/jury.py", "tests/mutants/run", "tests/coverage/run"):
            for program in re.findall(r"\b\w+(?:Test|Replay)\b", text_of(script)):
                named.append(program)
                self.assertTrue(f"\nbuild {program}: phony" in targets, f"{script} names {program}, which is not built")
        for folder in ("zuerr", "zuplat", "zujsonlh", "interfaces", "source", "tests"):
            self.assertEqual(named.count(folder + "Test"), 2, "once in jury.py, once in coverage/run")


def long_functions_of(source):
    """Every function of more than 40 lines, as "line (length)". Trusts the layout of clang-format: a body opens behind a
    parameter list or alone on a line, and the first brace that is indented less than it closes it."""
    lines, found, first = text_of(source).split("\n"), [], 0
    indents = [len(line) - len(line.lstrip()) for line in lines]
    while first + 1 < len(lines):
        last = first
        if re.search(r"^\{$|(\)( const| noexcept| override)*|\}|-> .*) \{$", lines[first]):
            indent, last = indents[first + 1], first + 1
            while last + 1 < len(lines) and not (lines[last].lstrip().startswith("}") and indents[last] < indent):
                last += 1
            if last - first >= 40:
                found.append(f"{first + 1} ({last - first + 1})")
        first = last + 1 if last > first else first + 1
    return found


class Sources(Rules):
    def test_SayInTheirFirstLineWhatTheyAre(self):
        for source in sources_below(*PRODUCT_FOLDERS, "board", "host", "tests"):
            self.assertRegex(text_of(source), r"\A(//|/\*) ", source)

    def test_NameInTheChangelogTheVersionThatIsBuilt(self):
        version = re.search(r"^project\(.*?VERSION (\S+)", text_of("CMakeLists.txt"), re.MULTILINE | re.DOTALL)[1]
        self.assertTrue(text_of("packaging/debian/changelog").startswith(f"halvex-timekeeper ({version})"), version)

    def test_RecordErrorLinesAsData(self):
        for source in product_sources():
            self.assertNotIn("__LINE__", text_of(source), source)

    def test_HaveNoFunctionOver40LinesAndNoFileOver500(self):
        for source in sources_below(*PRODUCT_FOLDERS, "board", "host", "tests", "bench", "fuzz"):
            self.assertLessEqual(text_of(source).count("\n"), 500, source)
            self.assertEqual(long_functions_of(source), [], source)

    def test_NameEveryErrorSiteOfAUnitOnce(self):
        sites = [site for source in product_sources()
                 for site in re.findall(r'ErrorSite\s+\w+\{[^}]*?"(\w+)",\s*(\d+)\}', text_of(source))]
        self.assertEqual([site for site in sites if sites.count(site) > 1], [])
        self.assertGreater(len(sites), 5)


if __name__ == "__main__":
    unittest.main()
