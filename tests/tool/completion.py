# The completion scripts of halvexctl, run by the shells themselves.
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
import json
import os
import re
import unittest

from onBoard import HALVEXCTL, OnBoard

# The functions of zsh print their arguments.
ZSH = """compdef() { : }
_files() { print files }
_message() { print text }
_describe() { print -l -- ${${(P)2}%%:*} }
compadd() { shift; print -l -- $@ }
"""


class Completion(OnBoard):
    def printed(self, *words):
        self.assertEqual((self.call(*words), self.errors), (0, ""), words)
        return self.output

    def offered_by(self, shell, before, after):
        """The words that a shell prints that has read its completion and then runs a command."""
        script = before + self.printed(HALVEXCTL[0], "--describe", os.path.basename(shell[0])) + after
        return [line for line in self.printed(*shell, script).splitlines() if line]

    def bash(self, line):
        """The completions for the last word of `line`, which may be empty."""
        return self.offered_by(["/bin/bash", "--norc", "-c"], "", f"COMP_WORDS=({line})\n"
                               "COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_halvexctl\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n")

    def zsh(self, line, prefix=""):
        return self.offered_by(["/bin/zsh", "-f", "-c"], ZSH,
                               f"words=({line})\nCURRENT=${{#words}}\nPREFIX='{prefix}'\n_halvexctl\n")

    def fish(self, line):
        words = self.offered_by(["/usr/bin/fish", "--no-config", "-c"], "", f"complete -C '{line}'\n")
        return [word.split("\t")[0] for word in words]

    def help_lists(self, pattern):
        return re.findall(pattern, self.printed(HALVEXCTL[0], "--help"), re.MULTILINE)

    def verbs(self):
        return self.help_lists(r"^  ([a-z][a-z-]*) ")

    def options(self):
        return self.help_lists(r"^  (?:-\w,)?(--[a-z]+)")

    def codes(self):
        codes = json.loads(self.printed(HALVEXCTL[0], "--json", "explain", "all"))[0]["values"]["codes"]
        return ["all", *(str(code["code"]) for code in codes)]

    def test_OffersExactlyTheVerbs(self):
        self.assertGreater(len(self.verbs()), 20)
        self.assertCountEqual(self.bash("halvexctl ''"), self.verbs())
        self.assertCountEqual(self.bash("halvexctl get help ''"), self.verbs())
        self.assertEqual(self.bash("halvexctl step ''"), [])

    def test_OffersExactlyTheOptions(self):
        self.assertIn("--json", self.options())
        self.assertCountEqual(self.bash("halvexctl --"), self.options())
        self.assertEqual(self.bash("halvexctl get --j"), ["--json"])

    def test_OffersEveryCodeToExplain(self):
        self.assertIn("-52024", self.codes())
        self.assertCountEqual(self.bash("halvexctl explain ''"), self.codes())

    @unittest.skipUnless(os.access("/bin/zsh", os.X_OK), "zsh is not installed")
    def test_OffersTheSameInZsh(self):
        self.assertCountEqual(self.zsh("halvexctl ''"), self.verbs())
        self.assertCountEqual(self.zsh("halvexctl --", "--"), self.options())
        self.assertIn("--once", self.zsh("halvexctl monitor --metrics get --", "--"))
        self.assertNotIn("--once", self.zsh("halvexctl monitor get --", "--"))
        self.assertCountEqual(self.zsh("halvexctl explain ''"), self.codes())
        self.assertEqual(self.zsh("halvexctl step ''"), ["text"])
        self.assertEqual(self.zsh("halvexctl report ''"), ["files"])

    @unittest.skipUnless(os.access("/usr/bin/fish", os.X_OK), "fish is not installed")
    def test_OffersTheSameInFish(self):
        self.assertCountEqual(self.fish("halvexctl "), self.verbs())
        self.assertCountEqual(self.fish("halvexctl get --"), self.options())
        self.assertIn("--once", self.fish("halvexctl monitor --"))
        self.assertCountEqual(self.fish("halvexctl explain "), self.codes())
        self.assertEqual(self.fish("halvexctl step "), [])

    def test_IsForNoOtherShell(self):
        self.assertEqual(self.call(HALVEXCTL[0], "--describe", "csh"), 2)

    def test_OffersTheOptionsOfMonitorOnlyBehindIt(self):
        self.assertEqual(self.bash("halvexctl init monitor --interval 1s --o"), ["--once"])
        self.assertIn("--count", self.bash("halvexctl monitor --metrics file --"))
        self.assertEqual(self.bash("halvexctl monitor --once get --o"), [])
        self.assertNotIn("--once", self.bash("halvexctl --"))

    def test_OffersTheOptionsOfRecordAndReportBehindThem(self):
        self.assertEqual(self.bash("halvexctl record file 5s --i"), ["--interval"])
        self.assertEqual(self.bash("halvexctl record file get --i"), [])
        self.assertCountEqual(self.bash("halvexctl report page.html --from session.jsonl --t"), ["--trace", "--title"])
        self.assertEqual(self.bash("halvexctl report --f"), ["--from"])

    def test_OffersFilesWhereAFileIsDue(self):
        file = self.folder / "metadata.json"
        file.touch()
        self.assertEqual(self.bash(f"halvexctl apply-metadata '{str(file)[:-4]}'"), [str(file)])


if __name__ == "__main__":
    unittest.main()
