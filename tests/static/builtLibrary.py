# Exported symbols and hardening of the built library.
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
import re
import unittest

from tree import LIBRARY, Rules, output_of, text_of


class BuiltLibrary(Rules):
    def test_ShowsExactlyTheTwelveFunctions(self):
        symbols = [line.split()[1:] for line in output_of("nm", "-D", "--defined-only", LIBRARY).splitlines()]
        names = """getAPIVersion getName isSeeded getMinCorrectionPerSecond getMaxCorrectionPerSecond
            setCorrectionPerSecond getCorrectionPerSecond snapTime getTime applyMetaData initialize finalize""".split()
        self.assertCountEqual(symbols, [["T", "zuqxmtk_" + name] for name in names])

    def test_CarriesTheMarksOfControlFlowEnforcement(self):
        self.assertIn("IBT, SHSTK", output_of("readelf", "-nW", LIBRARY))

    def test_CanBeLoadedAtRunTime(self):
        dynamic = output_of("readelf", "-dW", LIBRARY)
        self.assertNotIn("NOOPEN", dynamic)
        self.assertRegex(dynamic, "NEEDED.*libcjson")

    def test_NeedsNoNewerSystemLibrariesThanThePageOfPlatformsSays(self):
        symbols = output_of("objdump", "-T", LIBRARY)
        for library in ("GLIBC", "GLIBCXX"):
            versions = re.findall(rf"{library}_([0-9.]+)", symbols)
            newest = max(versions, key=lambda version: [int(part) for part in version.split(".")])
            self.assertIn(f"{library}_{newest}", text_of("docs/platforms.md"))

    def test_CanBeUnloadedSinceNoSymbolIsUnique(self):
        self.assertNotIn(" UNIQUE ", output_of("readelf", "-sW", LIBRARY))


if __name__ == "__main__":
    unittest.main()
