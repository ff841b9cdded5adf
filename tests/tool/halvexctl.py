# halvexctl as a child process with a fake library: exit codes, streams, signals.
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
import json
import os
import pty
import signal
import subprocess
import time
import unittest

from onBoard import BUILD, HALVEXCTL, OnBoard

COMMAND = [HALVEXCTL[0], "--library", str(BUILD / "tests/unit/host/libfakePlugin.so")]


class Halvexctl(OnBoard):
    def start(self, *words, failures="", command=COMMAND, **streams):
        self.journal = self.folder / "journal"
        streams = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **streams}
        return subprocess.Popen([*command, *words], text=True, **streams, env={
            **os.environ, "FAKE_PLUGIN_JOURNAL": str(self.journal), "FAKE_PLUGIN_FAILURES": failures})

    def finish(self, program, code, text=None):
        self.output, self.errors = program.communicate(text)
        self.assertEqual(program.returncode, code, self.errors)
        self.calls = self.journal.read_text().split() if self.journal.exists() else []

    def expect(self, code, *words, failures=""):
        """Runs the program to its end; expects this exit code."""
        self.finish(self.start(*words, failures=failures), code)

    def signal_behind(self, function, program, number):
        """Sends a signal once the program has called a function of the library."""
        for _ in range(5000):
            if self.journal.exists() and function in self.journal.read_text():
                break
            time.sleep(0.001)
        program.send_signal(number)

    def test_EndsWithZeroWhenAllIsWell(self):
        self.expect(0, "info", "get")
        self.assertTrue(self.output.startswith("info\n  library"))
        self.assertEqual(self.errors, "")

    def test_EndsWithOneOnAWarning(self):
        self.expect(1, "get", failures="getTime:1:9")
        self.assertIn("warning: the library warned: 9", self.output)

    def test_EndsWithTwoAndDoesNothingWhenTheLineIsWrong(self):
        self.expect(2, "get", "step", "+1ms", "stpe")
        self.assertEqual(self.errors, 'halvexctl: unknown verb "stpe"; did you mean "step"?\n')
        self.expect(2, "get", "step", "-1ms")
        self.expect(2, "--jsno", "get")
        self.expect(2)
        self.assertEqual(self.errors, "halvexctl: no verb was given; halvexctl --help lists them\n")
        self.assertEqual(self.calls, [])

    def test_PrintsAWrongLineAsADocumentWhenJsonIsWanted(self):
        for line in ("--json", "stpe -j", "--json get --describe"):
            self.expect(2, *line.split())
            self.assertEqual(self.errors, f"halvexctl: {json.loads(self.output)['usageError']}\n")

    def test_EndsWithThreeOnAFailure(self):
        self.expect(3, "get", "get", "limits", failures="getTime:2:-52024")
        self.assertEqual(self.errors, "halvexctl: get: zuqxmtk_getTime failed: -52024 zuplaterr_communicationsFault\n"
                                      "halvexctl: not carried out: limits\n")
        self.assertEqual(self.calls, ["initialize", "getTime", "getTime", "finalize"])

    def test_PrintsOneJsonDocument(self):
        self.expect(3, "--json", "--echo", "get", "get", "limits", failures="getTime:2:-52024")
        first, second, third = json.loads(self.output)
        self.assertEqual(first["outcome"], "ok")
        self.assertGreaterEqual(first["values"]["timeNs"], 0)
        self.assertEqual(second["error"]["code"], -52024)
        self.assertEqual(third["outcome"], "skipped")
        self.assertIn("-> zuqxmtk_getTime()\n", self.errors)

    def test_EchoesCallsAmongTheResults(self):
        self.expect(0, "get", "--echo")
        self.assertTrue(self.output.startswith(
            "get\n  -> zuqxmtk_initialize()\n  <- done\n  -> zuqxmtk_getTime()\n  <- "), self.output)

    def test_FinalisesWhenAWaitIsInterrupted(self):
        program = self.start("get", "wait", "1000s", "get")
        self.signal_behind("getTime", program, signal.SIGINT)
        self.finish(program, 3)
        self.assertEqual(self.calls, ["initialize", "getTime", "finalize"])
        self.assertIn("not carried out: get", self.errors)

    def test_StaysUpInRunUntilTerminated(self):
        program = self.start("run", stdin=subprocess.PIPE)
        program.stdin.write("get\n")
        program.stdin.flush()
        self.signal_behind("getTime", program, signal.SIGTERM)
        self.assertEqual(program.wait(), 0)
        self.finish(program, 0)
        self.assertEqual(self.calls, ["initialize", "getTime", "finalize"])

    def test_EditsTheLinesOfRunOnATerminalAndCallsThemBack(self):
        master, slave = pty.openpty()
        program = self.start("run", stdin=slave, stderr=slave)
        os.close(slave)
        for keys in ("wait 0 \u00b5m\x7fs\n", "\x1b[A\x1b[D\x7f\n", "quit\n"):
            shown = b""
            while not shown.endswith(b"halvexctl> "):
                shown += os.read(master, 1)
            os.write(master, keys.encode())
        self.finish(program, 0)
        os.close(master)
        self.assertEqual(self.output, "run\nwait 0 \u00b5s\nwait 0 s\n")

    def test_LeavesAnIgnoredHangUpIgnored(self):
        shell = ["/bin/sh", "-c", "trap '' HUP; exec \"$@\"", "sh", *COMMAND]
        program = self.start("get", "wait", "300ms", "get", command=shell)
        self.signal_behind("getTime", program, signal.SIGHUP)
        self.finish(program, 0)
        self.assertEqual(self.calls, ["initialize", "getTime", "getTime", "finalize"])

    def test_ReadsMetadataFromStandardInputAndSaysWhenThatIsClosed(self):
        self.finish(self.start("apply-metadata", "-", stdin=subprocess.PIPE), 0, "{}")
        self.assertIn("2 bytes from standard input", self.output)
        shell = ["/bin/sh", "-c", 'exec "$@" <&-', "sh", *COMMAND]
        self.finish(self.start("apply-metadata", "-", command=shell), 2)
        self.assertEqual(self.errors, "halvexctl: cannot read standard input: Bad file descriptor\n")

    def test_EndsRunWithTheInput(self):
        self.expect(0, "run")
        self.assertEqual(self.calls, ["initialize", "finalize"])

    def test_ShowsHelpWithoutALibrary(self):
        self.expect(0, "help", "drift")
        self.assertIn("CLOCK_MONOTONIC_RAW", self.output)
        self.assertEqual(self.calls, [])


if __name__ == "__main__":
    unittest.main()
