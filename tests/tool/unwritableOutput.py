# Both programs with an unwritable standard output, on the simulated controller.
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
import json
import unittest

from onBoard import HALVEXBOARD, HALVEXCTL, OnBoard


class UnwritableOutput(OnBoard):
    def redirected(self, redirection, *words):
        return self.call("/bin/sh", "-c", f'exec "$@" {redirection}', "sh", HALVEXBOARD, *words)

    def tool(self, redirection, *words):
        return self.redirected(redirection, "run", "--trace", self.trace, "--", *HALVEXCTL, *words)

    def expect_failure(self, run, program, *words):
        for redirection, reason in ((">/dev/full", "No space left on device"), (">&-", "Bad file descriptor")):
            self.assertEqual(run(redirection, *words), 3, words)
            self.assertIn(f"{program}: standard output cannot be written: {reason}\n", self.errors)

    def test_EndsEveryVerbOfHalvexctlWithThreeAndAReason(self):
        for line in ("map", "--json map", "--help", "--version", "help step", "info", "doctor", "explain all", "map -h",
                     "--describe zsh", "monitor --once", "monitor"):
            self.expect_failure(self.tool, "halvexctl", *line.split())

    def test_EndsHelpAndSummaryOfHalvexboardWithThreeAndAReason(self):
        self.assertEqual(self.tool(">/dev/null", "init"), 0, self.errors)
        for words in (["--help"], ["summary", self.trace], ["summary", "--list", self.trace]):
            self.expect_failure(self.redirected, "halvexboard", *words)

    def test_IsToldFromATraceThatCannotBeRead(self):
        (self.folder / "empty").write_text("")
        (self.folder / "text").write_text("no trace\n")
        for trace, reason in (("nothing", "nothing: No such file or directory\n"),
                              ("empty", " is empty; halvexboard run --trace FILE writes a trace\n"),
                              ("text", "halvexboard: trace line 1: not a JSON object\n"), (".", ": Is a directory\n")):
            self.assertEqual(self.redirected("", "summary", self.folder / trace), 2)
            self.assertIn(reason, self.errors)

    def test_DoesNotReachARecordWhenStandardOutputIsClosed(self):
        self.assertEqual(self.tool(">&-", "record", self.record, "init", "info"), 3)
        self.assertGreater(len([json.loads(line) for line in self.record.read_text().splitlines()]), 2)

    def test_IsToldFromAClosedStandardInput(self):
        self.assertEqual(self.tool("<&-", "run"), 3)
        self.assertIn("cannot read standard input: Bad file descriptor", self.errors)


if __name__ == "__main__":
    unittest.main()
