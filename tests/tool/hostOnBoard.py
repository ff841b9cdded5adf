# halvexctl and the demo with the real library on the simulated controller.
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
import json
import subprocess
import unittest

from onBoard import BUILD, ROOT, OnBoard


class OnItsBoard(OnBoard):
    def trace_of(self, seed):
        self.on_board("step", "+1.5ms", "wait", "5s", "get", seed=seed)
        self.expect_exit(0)
        return self.trace.read_text()

    def demo(self, scenario="demo", programs=BUILD / "bin"):
        """Runs the demo in a build folder of its own, so that its trace is not shared."""
        build = self.folder / "build"
        build.mkdir()
        (build / "bin").symlink_to(programs)
        (build / "lib").symlink_to(BUILD / "lib")
        self.call(ROOT / "demo/run", build, 1, scenario)
        return self.output + self.errors


class HostOnBoard(OnItsBoard):
    def test_CarriesOutTheWholeChain(self):
        document = self.folder / "metadata.json"
        document.write_text('{"selectedTRInstID":"gm"}')
        everything = self.results("info", "get", "step", "+1.5ms", "wait", "2s", "freq", "-1250", "limits", "drift", "10s",
                                  "apply-metadata", document, "get", "finalize")
        self.expect_exit(0)
        self.assertEqual([result["outcome"] for result in everything], ["ok"] * 10)
        values = [result.get("values") for result in everything]
        self.assertEqual(values[0]["name"], "HalvexTimekeeper")
        self.assertEqual(values[4]["correctionPpb"], -1250)
        self.assertAlmostEqual(values[8]["timeNs"] - values[1]["timeNs"], 12_001_500_000, delta=2_000_000)

    def test_MeasuresAStepToWithinItsBound(self):
        step = self.results("step", "+1.5ms")[0]["values"]
        self.assertAlmostEqual(step["movedNs"], 1_500_000, delta=step["movedBoundNs"])
        self.assertLess(step["movedBoundNs"], 100_000)

    def test_MeasuresTheCrystalsErrorAndItsCorrection(self):
        before, _, after = self.results("drift", "10s", "freq", "-12000", "drift", "10s")
        self.assertAlmostEqual(before["values"]["driftPpb"], 12_000, delta=5)
        self.assertAlmostEqual(after["values"]["driftPpb"], 0, delta=5)

    def test_SeesTheRefusalOfALibraryThatIsNotInitialised(self):
        refused = ("expect-error", "-52010")
        self.results("finalize", *refused, "name", *refused, "seeded", *refused, "get", "clear", "init", "get")
        self.expect_exit(0)

    def test_SeesTheLibrarysOwnRangeCheckWhenItInsists(self):
        everything = self.results("--yes", "expect-error", "-52005", "freq", "62001", "clear", "freq")
        self.expect_exit(0)
        self.assertEqual(everything[3]["values"]["correctionPpb"], 0)

    def test_FailsWithTheLibrarysMessageWhenNoPortIsUsable(self):
        get = self.results("get", scenario=self.scenario('title = "no ports"\n'))[0]
        self.expect_exit(3)
        self.assertEqual(get["error"]["code"], -52010)
        self.assertIn("at least one usable PHC interface", get["message"])

    def test_RunsLinesFromStandardInput(self):
        lines = self.folder / "lines"
        lines.write_text("get\nwait 10s\nget\n")
        with lines.open() as stdin:
            self.on_board("--json", "run", scenario="plain", stdin=stdin)
        self.expect_exit(0)
        self.assertEqual(len(json.loads(self.output)), 4)

    def test_LeavesTheSameTraceWithTheSameSeedAndAnotherWithAnother(self):
        first = self.trace_of(3)
        self.assertGreater(len(first), 10_000)
        self.assertTrue(self.trace_of(3) == first)
        self.assertTrue(self.trace_of(4) != first)

    def test_LeavesTheSameTraceWhateverElseTheMachineRuns(self):
        alone = self.trace_of(3)
        others = [subprocess.Popen(["sleep", "60"]) for _ in range(10)]
        self.assertTrue(self.trace_of(3) == alone, "processes of the machine cost virtual time")
        for other in others:
            other.kill()
            other.wait()

    def test_DemoPasses(self):
        printed = self.demo()
        self.expect_exit(0)
        self.assertIn("VERDICT: passed", printed)
        self.assertNotIn("[FAIL]", printed)
        self.assertIn("-> zuqxmtk_snapTime(-399 ns)", printed)

    def test_DemoNamesTheReportItMade(self):
        page = self.folder / "build/demo-report.html"
        self.assertIn(f"\nReport: {page}\n", self.demo())
        self.assertIn("demo 9: Shutdown", page.read_text(), "the record's and the trace's log lines")
        self.assertIn('"name":"fpga"', page.read_text(), "the trace's truth")

    def test_DemoFailsInEveryChapterWhenNothingHappens(self):
        programs = self.folder / "bin"
        programs.mkdir()
        for program in ("halvexboard", "halvexctl"):
            (programs / program).symlink_to("/bin/true")
        chapters = self.demo(programs=programs).split("\n-- ")[1:]
        self.expect_exit(1)
        for number in range(1, 10):
            chapter = next(chapter for chapter in chapters if chapter.startswith(f"demo {number}"))
            self.assertIn("[FAIL]", chapter)


class DemoOnADamagedBoard(OnItsBoard):
    def expect_failure(self, failure, old, new):
        demo = (ROOT / "board/scenarios/demo.toml").read_text()
        self.assertIn(old, demo)
        printed = self.demo(self.scenario(demo.replace(old, new, 1) if old else demo + new))
        self.expect_exit(1)
        self.assertIn("VERDICT: FAILED", printed)
        self.assertIn("[FAIL]  " + failure, printed)

    def test_FailsWithoutItsFault(self):
        self.expect_failure("the FPGA's driver fails once", 'from = "95 s"', 'from = "9500 s"')

    def test_FailsWhenTheFpgaIsAwayAtTheEnd(self):
        self.expect_failure("all enabled clocks end within 100 ns of the master\n          seen: verdict: FAILED, "
                            "further than 100 ns from the master: fpga (+2", "",
                            '\n[[event]]\nat = "99.5 s"\nkind = "jump"\ntarget = "fpga"\nby = "300 ns"\n')

    def test_FailsWithAnotherMaster(self):
        self.expect_failure("the master is seeded once", 'offset = "-1.25 s"', 'offset = "-1.5 s"')

    def test_FailsWithASlowerCrystal(self):
        self.expect_failure("before steering the host measures", "crystal_error_ppb = 12000", "crystal_error_ppb = 9000")

    def test_FailsWithAnotherJump(self):
        self.expect_failure("it comes up with its clock about 250 us off", 'by = "250 us"', 'by = "350 us"')

    def test_FailsWithAFasterCrystal(self):
        self.expect_failure("after steering the host measures", "crystal_error_ppb = 12000", "crystal_error_ppb = 13000")


if __name__ == "__main__":
    unittest.main()
