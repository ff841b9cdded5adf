# Recording a session and reporting it, with the real library on the simulated controller.
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
import bisect
import json
import re
import unittest

from onBoard import HALVEXCTL, ROOT, OnBoard

RAW_AT_START_NS = 1_000_000_000_000


def truths_of(trace):
    """The true differences of each clock from the master, with their raw times in the record."""
    truths = {}
    for line in map(json.loads, trace.read_text().splitlines()):
        for name, clock in line["clocks"].items() if line["kind"] in ("epoch", "truth") else ():
            truths.setdefault("CLOCK_REALTIME" if name == "system" else name, {})[
                RAW_AT_START_NS + line["raw_ns"]] = clock["difference_ns"]
    return {name: (list(times), list(times.values())) for name, times in truths.items()}


class RecordOnBoard(OnBoard):
    def verbs(self, *words, scenario="demo", code=0):
        """Carries out verbs and expects this exit code."""
        self.on_board("--yes", *words, scenario=scenario)
        self.expect_exit(code)
        self.printed = self.output + self.errors

    def lines(self, kind):
        """Samples with what they leave out, since it is as in the one before."""
        found, sample = [], {}
        for line in map(json.loads, self.record.read_text().splitlines()):
            if line["kind"] == "sample":
                before = sample.get("clocks", [])
                clocks = [{**(before[at] if at < len(before) else {}), **clock} for at, clock in enumerate(line.get("clocks", before))]
                sample = line = {**sample, **line, "clocks": clocks}
            found += [line] if line["kind"] == kind else []
        return found

    def texts(self, kind, member):
        return [line[member] for line in self.lines(kind)]

    def test_KeepsTheLibrarysLogLinesWhichStillReachSyslog(self):
        self.verbs("record", self.record, "init", "wait", "2s")
        line = "Successfully aligned all timekeeping elements after 3 iterations."
        self.assertIn(line, self.texts("log", "text"))
        self.assertIn("System time will be synchronized to enp1s0.", self.texts("log", "text"))
        self.assertIn("error", self.texts("log", "priority"), "the one about the oscillator's path")
        self.assertIn(line, self.trace.read_text())

    def test_KeepsVerbsAndCallsWithTheirResultsAndTimes(self):
        self.verbs("record", self.record, "freq", "-1250", "wait", "1s", "expect-error", "get", code=3)
        calls = self.lines("call")
        self.assertIn("zuqxmtk_setCorrectionPerSecond", self.texts("call", "function"))
        self.assertEqual(calls[0]["function"], "zuqxmtk_initialize")
        self.assertGreater(calls[0]["endedRawNs"], calls[0]["rawNs"])
        self.assertEqual(self.texts("verb", "verb"), ["freq", "wait", "expect-error", "get"])
        self.assertEqual(self.lines("verb")[-1]["outcome"], "failed")
        self.assertEqual(self.lines("end")[0]["exitCode"], 3)

    def test_MeasuresWhatIsTrueWithinThePrintedBoundInEveryScenario(self):
        for file in sorted((ROOT / "board/scenarios").glob("*.toml")):
            self.record.unlink(missing_ok=True)
            text = re.sub(r"truth_interval.*\n", "", file.read_text())
            self.on_board("--yes", "record", self.record, "info", "wait", "20s",
                          scenario=self.scenario('truth_interval = "10 ms"\n' + text))
            truths, compared = truths_of(self.trace), 0
            for sample in self.lines("sample"):
                for clock in sample["clocks"] if sample["reference"] == "master" else ():
                    times, differences = truths.get(clock["name"], ([], []))
                    after = bisect.bisect_left(times, sample["rawNs"])
                    if clock["differenceNs"] is None or not 0 < after < len(times):
                        continue
                    low, high = sorted(differences[after - 1:after + 1])
                    self.assertGreaterEqual(clock["differenceNs"], low - clock["boundNs"], (file, sample, clock))
                    self.assertLessEqual(clock["differenceNs"], high + clock["boundNs"], (file, sample, clock))
                    compared += 1
            self.assertGreaterEqual(compared, 10, file)

    def test_SamplesEverySecondThatVerbsWait(self):
        self.verbs("init", "record", self.record, "wait", "5s")
        self.assertIn(len(self.lines("sample")), (5, 6, 7))
        self.assertEqual(self.lines("sample")[-1]["reference"], "master")

    def test_SamplesAsOftenAsItIsTold(self):
        self.verbs("init", "record", self.record, "--interval", "100ms", "wait", "1s")
        self.assertIn(len(self.lines("sample")), (10, 11, 12))

    def test_WatchesForAsLongAsItIsToldAndNotForWholeIntervals(self):
        for duration, samples_ns in (("1ms", 2), ("1500ms", 3), ("2s", 3)):
            self.record.unlink(missing_ok=True)
            self.verbs("init", "record", self.record, duration, scenario="plain")
            taken = self.texts("sample", "rawNs")
            self.assertEqual(len(taken), samples_ns)
            self.assertAlmostEqual(taken[-1] - taken[0], {"1ms": 1e6, "1500ms": 1.5e9, "2s": 2e9}[duration], delta=1e6)

    def test_SamplesWhileRunWaitsForInput(self):
        self.verbs("record", self.record, "run")
        self.assertIn("run", self.texts("verb", "verb"))

    def test_NoticesALinkThatGoesDownAndUp(self):
        self.verbs("init", "record", self.record, "wait", "90s")
        self.assertLessEqual({"link-down", "link-up"}, set(self.texts("event", "event")))

    def test_LeavesAnErrorOfTheLibrarysThreadToTheNextVerb(self):
        self.verbs("record", self.record, "init", "wait", "97s", "expect-error", "-52024", "get", "clear", "get")
        self.assertIn("failed as expected", self.printed)
        self.assertIn("library-error", self.texts("event", "event"))

    def test_SaysWhyWhenTheFileCannotBeWritten(self):
        self.verbs("record", "/dev/full", "init", "get", code=3)
        self.assertIn("/dev/full", self.printed)

    def test_RefusesASecondRecordingAtATime(self):
        self.verbs("record", self.record, "record", self.folder / "other", code=3)
        self.assertIn("is being recorded already", self.printed)

    def test_IsReportedFromTheSameSession(self):
        page = self.folder / "page.html"
        self.verbs("record", self.record, "init", "wait", "2s", "report", page)
        self.assertIn('"aligned":true', page.read_text())

    def test_ReportsIterationsWithTheTruthFromTheTrace(self):
        page = self.folder / "page.html"
        self.verbs("record", self.record, "init", "wait", "2s")
        self.call(HALVEXCTL[0], "--json", "report", page, "--from", self.record, "--trace", self.trace)
        self.expect_exit(0)
        values = json.loads(self.output)[0]["values"]
        self.assertEqual(values["alignments"], 1)
        self.assertGreater(values["truths"], 20)
        chronicle = json.loads(page.read_text().split('id="chronicle">', 1)[1].split("</script>", 1)[0])
        iterations = chronicle["alignments"][0]["iterations"]
        self.assertEqual(len(iterations), 3)
        self.assertEqual(len(iterations[0]["slaves"]), 3)
        for slave in iterations[2]["slaves"]:
            self.assertEqual(slave["measuredNs"], slave["trueNs"], "the board's stamps are exact")
            self.assertIsNone(slave["askedNs"])

    def test_IsNeverReplacedByItsReport(self):
        self.verbs("record", self.record, "init")
        self.verbs("record", self.record, "init", "report", self.record, code=3)
        self.assertIn("is not a report and stays as it is", self.printed)
        self.assertEqual((len(self.lines("start")), len(self.lines("end"))), (2, 2))
        self.verbs("report", "--from", self.record)
        self.assertIn("<html", (self.folder / "record.html").read_text())

    def test_GoesOnBehindALineThatIsTorn(self):
        self.verbs("record", self.record, "init")
        self.record.write_text(self.record.read_text()[:-10])
        self.verbs("record", self.record, "init")
        self.assertIn('\n{"kind":"start"', self.record.read_text(), "a line of its own")
        self.verbs("report", "--from", self.record, code=1)
        self.assertIn("1 of ", self.printed)
        self.record.write_text('{"ki')
        self.verbs("record", self.record, "init")

    def test_IsNotAppendedToAFileThatIsNoRecord(self):
        self.record.write_text("other text\n")
        self.verbs("record", self.record, "init", code=3)
        self.assertIn("is not a record and stays as it is", self.printed)
        self.assertEqual(self.record.read_text(), "other text\n")

    def test_IsReportedFromStandardInput(self):
        page = self.folder / "page.html"
        self.verbs("record", self.record, "init")
        for sources, path, code, errors in (
                (("--from", "-"), self.record, 0, ""),
                (("--from", self.record, "--trace", "-"), self.trace, 0, ""),
                (("--from", "-"), "/dev/null", 3, "halvexctl: report: standard input has no line of a record\n")):
            with open(path) as stdin:
                self.call(HALVEXCTL[0], "report", page, *sources, stdin=stdin)
            self.assertEqual((self.exit_code, self.errors), (code, errors))
        self.assertIn('"standard input"', page.read_text())

    def test_KeepsMetricsInAFileOfMetricsAlone(self):
        metrics = self.folder / "metrics"
        self.verbs("init", "monitor", "--count", "2", "--metrics", metrics, scenario="plain")
        self.assertIn("halvex_sample_time_seconds", metrics.read_text())
        self.verbs("record", self.record, "init", "monitor", "--once", "--metrics", self.record, scenario="plain", code=3)
        self.assertIn("is not a file of metrics and stays as it is", self.printed)
        self.assertEqual(len(self.lines("end")), 1)

    def test_HasNothingToReportWithoutASource(self):
        self.verbs("report", self.folder / "page.html", code=3)
        self.assertIn("nothing to report", self.printed)


if __name__ == "__main__":
    unittest.main()
