# Runs halvexctl and halvexboard as children, on the simulated controller, and keeps what they print.
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
import json
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ.get("HALVEX_BINARY_DIR", ROOT / "build"))
HALVEXBOARD = f"{BUILD}/bin/halvexboard"
HALVEXCTL = [f"{BUILD}/bin/halvexctl", "--library", f"{BUILD}/lib/libzuHalvexTimekeeper.so"]
DRIVERS = "[ferrox]\n[fpga]\n[si514]\n"
ENP1S0 = '[[interface]]\nname = "enp1s0"\nphc_index = 0\n'
ENP2S0 = '[[interface]]\nname = "enp2s0"\nphc_index = 1\n'


class OnBoard(unittest.TestCase):
    longMessage = True

    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = Path(scratch.name)
        self.trace, self.record = self.folder / "trace", self.folder / "record"

    def call(self, *words, stdin=subprocess.DEVNULL):
        """Runs a program to its end; returns its exit code, or minus the signal that ended it."""
        done = subprocess.run([str(word) for word in words], stdin=stdin, capture_output=True, text=True)
        self.exit_code, self.output, self.errors = done.returncode, done.stdout, done.stderr
        return self.exit_code

    def on_board(self, *words, scenario="demo", seed=1, stdin=subprocess.DEVNULL):
        return self.call(HALVEXBOARD, "run", "--scenario", scenario, "--seed", seed, "--trace", self.trace, "--", *HALVEXCTL,
                         *words, stdin=stdin)

    def results(self, *verbs, scenario="demo"):
        self.on_board("--json", *verbs, scenario=scenario)
        return json.loads(self.output)

    def scenario(self, text):
        (self.folder / "scenario.toml").write_text(text)
        return self.folder / "scenario.toml"

    def expect_exit(self, code):
        self.assertEqual(self.exit_code, code, self.output + self.errors)


def named(interfaces, name):
    return next(interface for interface in interfaces if interface["name"] == name)
