# The verbs that inspect the controller, on the simulated one.
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
import json
import re
import shlex
import unittest

from onBoard import DRIVERS, ENP1S0, ENP2S0, ROOT, OnBoard, named

READ_OF_CLOCK = '"call":"read","target":"enp1s0","file":"ptp"'


def health_of(doctor, check):
    """The doctor's verdict of one check: "OK", "WARN" or "FAIL"."""
    return next(finding["health"] for finding in doctor["values"]["checks"] if finding["check"] == check)


class InspectOnBoard(OnBoard):
    def expect_no_change(self):
        for change in ("PTP_PIN_SETFUNC", "PTP_EXTTS_REQUEST", "settime", "spawn", '"write"', "select"):
            self.assertNotIn(change, self.trace.read_text())

    def test_MapShowsWhatIsChosenAndWhyTheRestIsNot(self):
        interfaces = self.results("map", scenario="unusableInterfaces")[0]["values"]["interfaces"]
        self.assertIs(named(interfaces, "enp1s0")["chosen"], True)
        self.assertEqual(named(interfaces, "enp1s0")["node"], "/dev/ptp0")
        self.assertEqual(len(named(interfaces, "enp1s0")["pins"]), 4)
        self.assertEqual(named(interfaces, "enp2s0")["reason"], "not an I210 (0x8086:0x1533)")
        self.assertIn("0 outputs", named(interfaces, "enp3s0")["reason"])
        self.assertEqual(named(interfaces, "enp4s0")["reason"], "has no PTP clock")
        self.assertIn("3 pins", named(interfaces, "enp5s0")["reason"])

    def test_MapAgreesWithTheLibraryAboutWhatIsChosen(self):
        self.results("map", "init", scenario="unusableInterfaces")
        for line in ("enp1s0 will be synchronized.", "enp3s0 is not usable", "enp5s0 is not usable"):
            self.assertIn("Interface " + line, self.trace.read_text())

    def test_MapAndDoctorTellWhatCannotBeReadFromWhatIsNotThere(self):
        unreadable = self.scenario(DRIVERS + '[[interface]]\nname = "enp1s0"\n' + "".join(
            f'[[fault]]\ncall = "read"\nfile = "{file}"\nerror = "EIO"\ntimes = "forever"\n'
            for file in ("vendor", "interfacePath", "name")))
        map_result, doctor = self.results("map", "doctor", scenario=unreadable)
        found, reason = map_result["values"], "cannot be read: Input/output error"
        self.assertEqual(map_result["outcome"], "warning")
        self.assertEqual(found["interfaces"][0]["reason"], "/sys/class/net/enp1s0/device/vendor " + reason)
        self.assertIn("/interfacePath " + reason, found["ferrox"]["error"])
        self.assertIn("/name " + reason, found["si514"]["error"])
        self.assertIn("/interfacePath " + reason, json.dumps(doctor))
        self.on_board("map", scenario=unreadable)
        self.assertIn("left out: /sys/class/net/enp1s0/device/vendor cannot be read", self.output)
        self.assertNotIn("no driver", self.output)

    def test_DoctorFindsTheControllerWell(self):
        doctor = self.results("doctor")[0]
        for check in ("interfaces links clock-nodes clock-rights clock-pins virtual-clocks ferrox-driver ferrox-node "
                      "fpga-driver fpga-node si514-driver si514-attribute si514-rights phc2sys-file kernel-clock").split():
            self.assertEqual(health_of(doctor, check), "OK", check)

    def test_DoctorFindsWhatIsMissingAndEndsWithThree(self):
        doctor = self.results("doctor", scenario=self.scenario('title = "no ports"\n'))[0]
        self.expect_exit(3)
        self.assertEqual(doctor["outcome"], "failed")
        self.assertEqual(health_of(doctor, "interfaces"), "FAIL")

    def test_LookingChangesNothing(self):
        self.results("map", "doctor")
        self.expect_no_change()
        self.assertIn("ptp", self.trace.read_text())

    def test_GetReadsAClockWithoutInitialisingAndChangesNothing(self):
        everything = self.results("get", "enp1s0", "get", "/dev/ptp1", "get", "CLOCK_REALTIME", "init", "wait", "5s",
                                  "get", "enp1s0", "get", "finalize", "get", "enp2s0")
        self.expect_exit(0)
        self.assertEqual(everything[0]["values"]["clock"], "enp1s0")
        clock, master = (int(everything[verb]["values"]["timeNs"]) for verb in (5, 6))
        self.assertAlmostEqual(clock, master, delta=1e6, msg="the master a little later")
        self.on_board("get", "enp1s0")
        self.expect_no_change()
        self.expect_exit(0)
        self.on_board("get", "lo")
        self.expect_exit(3)

    def test_ThePhc2sysOfTheSessionItselfOwnsNothing(self):
        self.results("init", "wait", "3s", "finalize", "init", "get")
        self.expect_exit(0)

    def test_MonitorMeasuresEveryClockWithinItsBound(self):
        sample = self.results("init", "wait", "5s", "monitor", "--once")[2]["values"]["last"]
        self.expect_exit(0)
        self.assertEqual(sample["reference"], "master")
        self.assertEqual(len(sample["clocks"]), 4)
        for clock in sample["clocks"]:
            # The truth is within 100 ns: the measurement may be off by its bound.
            self.assertLessEqual(abs(clock["differenceNs"]), clock["boundNs"] + 100, clock)
            self.assertLess(clock["boundNs"], 10_000)
            self.assertIs(clock["away"], False)
        self.assertEqual(sample["clocks"][3]["name"], "CLOCK_REALTIME")
        self.assertIs(sample["phc2sysAlive"], True)
        self.assertIs(sample["kernelSynchronised"], True)
        self.assertLess(sample["kernelMaxErrorNs"], 5_000_000)

    def test_MonitorAloneInitialisesNothingAndChangesNothing(self):
        sample = self.results("monitor", "--once")[0]
        self.expect_exit(1)
        self.assertEqual(sample["outcome"], "warning", "the clocks are not aligned")
        self.assertEqual(sample["values"]["last"]["reference"], "enp1s0")
        self.assertIs(sample["values"]["last"]["phc2sysAlive"], False)
        self.assertIs(named(sample["values"]["last"]["clocks"], "enp2s0")["away"], True)
        self.expect_no_change()
        self.assertNotIn(READ_OF_CLOCK, self.trace.read_text())

    def test_MonitorNeverReadsTimeStampEventsOfTheLibrarysClocks(self):
        self.on_board("init", "wait", "1s", "remark", "watched from here", "monitor", "--count", "3")
        watched = self.trace.read_text().split("watched from here", 1)[1]
        self.assertNotIn(READ_OF_CLOCK, watched)
        self.assertIn("PTP_SYS_OFFSET_EXTENDED", watched)

    def test_MonitorSeesASteppedClockAwayAndJumped(self):
        self.on_board("--json", "init", "wait", "5s", "monitor", "--count", "5", scenario=self.scenario(
            DRIVERS + ENP1S0 + ENP2S0 + '[[event]]\nat = "8 s"\nkind = "jump"\ntarget = "enp2s0"\nby = "2 ms"\n'))
        self.expect_exit(1)
        samples = [json.loads(line) for line in self.output.splitlines()]
        self.assertEqual(len(samples), 6, "five samples, and the results as the last line")
        self.assertIs(samples[0]["alarm"], False)
        jumped = [clock for clock in (named(sample["clocks"], "enp2s0") for sample in samples[:5])
                  if clock["jumpNs"] is not None]
        self.assertEqual(len(jumped), 1)
        self.assertAlmostEqual(jumped[0]["jumpNs"], 2e6, delta=1e4)
        self.assertIs(jumped[0]["away"], True)
        self.assertEqual([named(sample["clocks"], "enp1s0")["jumpNs"] for sample in samples[:5]], [None] * 5)
        self.assertIsInstance(samples[5], list)

    def test_MonitorRaisesNamedAlarmsForADeadPhc2sysAndForAClockThatGoesAndComesBack(self):
        self.on_board("--json", "init", "wait", "3s", "monitor", "--count", "12", scenario=self.scenario(
            DRIVERS + ENP1S0 + ENP2S0 + '[[event]]\nat = "8 s"\nkind = "kill_phc2sys"\n'
            '[[event]]\nat = "10 s"\nkind = "driver_gone"\ntarget = "enp2s0"\n'
            '[[event]]\nat = "12 s"\nkind = "driver_back"\ntarget = "enp2s0"\n'))
        self.expect_exit(1)
        values = json.loads(self.output.splitlines()[-1])[2]["values"]
        alarms = {(alarm["alarm"], alarm["clock"]) for alarm in values["alarmsBegun"]}
        self.assertLessEqual({("dead", ""), ("gone", "enp2s0")}, alarms)
        self.assertEqual(values["last"]["alarms"], [{"alarm": "dead", "clock": ""}], "the clock is back")

    def test_HealthIsTheExitStatusAndNamesWhatIsWrong(self):
        no_access = '[[interface]]\nname = "enp1s0"\n[[fault]]\ncall = "open"\nfile = "ptp"\ntimes = "forever"\nerror = "EACCES"\n'
        killed = DRIVERS + ENP1S0 + '[[event]]\nat = "2 s"\nkind = "kill_phc2sys"\n'
        started = ("init", "wait", "3s")
        for verbs, scenario, health, alarms, code in (
                ((), "plain", "unseeded", [("away", "enp2s0")], 1),
                (started, "plain", "aligned", [], 0),
                (started, killed, "degraded", [("dead", "")], 1),
                ((), no_access, "lost", [("unreadable", "enp1s0")], 3),  # not none: the library would take it
                ((), "[ferrox]\n[fpga]\n", "lost", [("none", "")], 3)):
            scenario = scenario if scenario == "plain" else self.scenario(scenario)
            values = self.results(*verbs, "health", scenario=scenario)[-1]["values"]
            self.assertEqual(values["health"], health)
            self.assertEqual([(alarm["alarm"], alarm["clock"]) for alarm in values["alarms"]], alarms)
            self.expect_exit(code)

    def test_MonitorFindsAClockThatBecomesUsableLater(self):
        self.on_board("--json", "monitor", "--count", "4", scenario=self.scenario(
            "[ferrox]\n[fpga]\n" + ENP1S0 + 'n_pins = 3\n[[event]]\nat = "2 s"\nkind = "capabilities"\ntarget = "enp1s0"\n'))
        samples = [json.loads(line) for line in self.output.splitlines()]
        self.assertEqual(samples[0]["alarms"], [{"alarm": "none", "clock": ""}])
        self.assertEqual(samples[3]["reference"], "enp1s0")
        self.expect_exit(1)

    def test_MonitorDoesNotMissAPhc2sysThatTheSessionsFinalizeEnded(self):
        self.results("record", self.record, "init", "wait", "3s", "finalize", "wait", "3s", scenario="plain")
        self.expect_exit(0)
        self.assertNotIn('"dead"', self.record.read_text())
        self.assertIn('"phc2sysAlive":false', self.record.read_text())

    def test_MonitorKeepsAMetricsFileAndLeavesNothingBeside(self):
        metrics = self.folder / "halvex.prom"
        self.results("init", "monitor", "--once", "--metrics", metrics)
        for line in ("# TYPE halvex_clock_difference_seconds gauge\n", 'halvex_clock_alarm{clock="enp1s0"} 0',
                     "halvex_phc2sys_alive 1"):
            self.assertIn(line, metrics.read_text())
        self.assertEqual(list(self.folder.glob("*.new")), [])

    def test_MonitorFailsWhenItsMetricsCannotBeWritten(self):
        outcome = self.results("monitor", "--once", "--metrics", self.folder / "none" / "m")[0]["outcome"]
        self.assertEqual(outcome, "failed")
        self.expect_exit(3)

    def test_RecordKeepsASampleASecond(self):
        self.results("init", "record", self.record, "3s")
        lines = [json.loads(line) for line in self.record.read_text().splitlines()]
        self.assertEqual([line.get("reference") for line in lines if line["kind"] == "sample"], ["master", None, None, None])

    def test_TheManualsCommandsDoWhatTheySay(self):
        table = (ROOT / "docs/halvexctl.md").read_text().split("## Exit status")[0]
        commands = re.findall(r"`halvexctl ([a-z][^`]*)`", table)
        for command in commands:
            words = [str(self.folder / word) if word in ("clocks.jsonl", "session.jsonl", "page.html") else word
                     for word in shlex.split(command)]
            words[-1] = "step" if words[-1] == "VERB" else words[-1]
            words += ["--count", "2"] if words[-1] == "monitor" else []  # otherwise watches forever
            self.assertIn(self.on_board(*words), (0, 1), command)
            self.assertNotEqual(self.output, "", command)
        self.assertGreaterEqual(len(commands), 9)


if __name__ == "__main__":
    unittest.main()
