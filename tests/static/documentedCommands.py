# Every command in a document is run by a test: here, by another one, or in continuous integration.
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
import os
import re
import subprocess
import tempfile
import unittest
from collections import namedtuple

from tree import BUILD, ROOT, Rules, documents, text_of

LIST = "tests/static/documentedCommands.txt"
PROGRAMS = """halvexctl halvexboard cc c++ gcc g++ cmake ctest ninja make apt apt-get dpkg dpkg-deb pkg-config systemctl
    systemd-analyze udevadm journalctl source sudo strace gdb perf valgrind git phc_ctl curl ls cat echo abidiff mandoc
    lintian python3""".split()

# `is_in_block`: in a shell block, or in a manual page's example, where every line is a command.
Command = namedtuple("Command", "document text is_in_block", defaults=(False,))


def is_command(text):
    """Whether a text is a command: a program of the project, or one of the machine with arguments."""
    first = text.split(" ")[0]
    file = ROOT / first
    return (first == "./dev" or first.startswith("build/bin/") or (first in PROGRAMS and first != text) or
            ("/" in first and file.is_file() and os.access(file, os.X_OK)))


def commands_of_markdown(document):
    """Shell blocks line by line, and commands in other blocks and in code within sentences."""
    block = None  # the kind of the current block
    for line in re.sub(r"\\\n\s*", " ", text_of(document)).split("\n"):
        text = line.split("  # ")[0].strip() if block is not None else line.strip().split("  # ")[0].strip()
        if line.startswith("```"):
            block = line[3:] if block is None else None
        elif block is not None:
            if block == "sh" and text:
                yield Command(document, text, True)
        elif line.startswith("    "):
            if is_command(text):
                yield Command(document, text)
        else:
            yield from (Command(document, span) for span in re.findall(r"`([^`\n]+)`", line) if is_command(span))


def documented_commands():
    found = [command for document in documents() for command in commands_of_markdown(document)]
    for page in sorted((ROOT / "docs/man").iterdir()):
        lines = [line[6:] for line in text_of(page).split("\n") if line.startswith(".Dl $ ")]
        found += [Command(page.relative_to(ROOT), line.replace("\\-", "-"), True) for line in lines]
    return found


def read_list():
    """Command -> how it is run ("as" another command, "by" a file), and which."""
    lines = [line for line in text_of(LIST).split("\n") if line and not line.startswith("#")]
    return {command: (how, what) for command, how, what in (line.split(" | ", 2) for line in lines)}


def is_run_with_the_packages(command):
    """Whether the package tests run the shell blocks of the document with their own commands."""
    loop = re.search(r"for document in ([^;]+);", text_of("tests/packages/run"))
    is_page = str(command.document).startswith("docs/man/") and loop and "/docs/man/*" in loop[1]
    return bool(command.is_in_block and loop and (f"/{command.document}" in loop[1] or is_page))


class Documents(Rules):
    def exit_status_of(self, text, folder):
        """Runs a command with this build's programs first in the path; returns exit status and output."""
        is_of_tool = text.startswith("halvexctl ")
        is_in_root = not is_of_tool and not text.startswith("halvexboard ")
        command = ("halvexboard run -- " if is_of_tool else "") + re.sub(r"\bbuild/", f"{BUILD}/", text)
        done = subprocess.run(["timeout", "30", "bash", "-c", command], cwd=ROOT if is_in_root else folder, text=True,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              errors="replace", env={**os.environ, "PATH": f"{BUILD}/bin:{os.environ['PATH']}"})
        return done.returncode, done.stdout

    def test_ShowOnlyCommandsThatAreRun(self):
        listed, ran, with_packages = read_list(), 0, 0
        with tempfile.TemporaryDirectory() as folder:
            for command in documented_commands():
                how, what = listed.get(command.text, ("", command.text))
                runs_here = what.startswith(("build/bin/", "halvexctl ", "halvexboard ")) or what == "./dev help"
                if how == "by":
                    continue
                if is_run_with_the_packages(command):
                    with_packages += 1
                    continue
                self.assertTrue(how == "as" or runs_here, f'{command.document} says "{command.text}", which no test '
                                f"runs; {LIST} can name the file that does, or a form of it that this test can run")
                status, output = self.exit_status_of(what, folder)
                # 1 is a warning: doctor reports that this machine's privileges or daemons are not a controller's.
                well = (0, 1) if command.text.startswith("halvexctl ") else (0,)
                self.assertIn(status, well, f"{command.document} says {command.text}:\n{output[:600]}")
                ran += 1
        self.assertGreater(ran, 10)
        self.assertGreater(with_packages, 10)

    def test_LeaveToOthersOnlyCommandsThatTheyRun(self):
        documented = {command.text for command in documented_commands()}
        for command, (how, what) in read_list().items():
            self.assertIn(command, documented, f"{LIST} lists what no document shows")
            if how != "as":
                self.assertEqual(how, "by", command)
                file, reason = what.split(": ", 1)
                self.assertTrue((ROOT / file).is_file() and reason, f"{command}: there is no {file}, or no reason")
                # Others than the scripts of continuous integration are run by a test.
                self.assertTrue(not file.startswith(".ci/") or command in text_of(file), f"{command} is not in {file}")


if __name__ == "__main__":
    unittest.main()
