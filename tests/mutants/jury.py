# Runs the test programs, each in a sandbox: a changed product may kill, write or loop.
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
import json
import os
import re
import resource
import shutil
import subprocess
import time
from dataclasses import dataclass
from pathlib import Path

LIBRARY = "lib/libzuHalvexTimekeeper.so"
TOOLS = ("bin/halvexctl", "bin/halvexboard", "lib/libhalvexboard.so")
UNIT_TESTS = ("zuerrTest", "zuplatTest", "zujsonlhTest", "interfacesTest", "sourceTest", "testsTest")
UNIT_TESTS_OF_TOOLS = ("boardScenarioTest", "boardTraceTest", "boardLauncherTest", "hostTest")
FILE_LIMIT = 256 << 20
MEMORY_LIMIT = 8 << 30
PROCESS_LIMIT = 4000


@dataclass
class Juror:
    """One test command and the build products that it tests."""
    name: str
    products: tuple
    command: list
    seconds: float = 0.0


def cage():
    """Wraps a command in its own process, mount and user namespaces, so that no signal leaves it and the clock cannot
    be set; everything in it ends with it."""
    walls = ["unshare", "--user", "--map-root-user", "--pid", "--fork", "--mount", "--mount-proc", "--kill-child"]
    if subprocess.run([*walls, "true"], capture_output=True).returncode == 0:
        return [*walls, "sh", "-c", '"$@"; exit $?', "cage"]
    raise SystemExit("mutants: this machine allows no namespaces (unshare --user --pid), so changed programs, which may "
                     "signal any process, are not run on it")


class Jury:
    def __init__(self, root, build):
        self.root, self.build, self.walls = root, build, cage()
        self.folder = build / "cage"

    def jurors(self):
        board = [str(self.build / "bin/halvexboard"), "run", "--scenario", str(self.root / "board/scenarios/stepLoss.toml"), "--"]

        def program(name, *products, ahead=()):
            command = [*ahead, str(self.build / "bin" / name), "--gtest_fail_fast", "--gtest_brief=1"]
            return Juror(name, tuple(products), command)

        some = [program(name, f"bin/{name}") for name in (*UNIT_TESTS, "worldsTest")]
        some.append(program("storiesTest", "bin/storiesTest", LIBRARY))
        some.append(program("faultsTest", "bin/faultsTest", LIBRARY))
        some.append(program("cppHostTest", LIBRARY, ahead=board))
        some += [program(name, f"bin/{name}", *TOOLS) for name in UNIT_TESTS_OF_TOOLS]
        for name in ("halvexctl", "completion", "hostOnBoard", "inspectOnBoard", "recordOnBoard", "unwritableOutput", "jsonSchema"):
            script = ["env", f"HALVEX_BINARY_DIR={self.build}", "/usr/bin/python3", "-B", str(self.root / f"tests/tool/{name}.py"), "-f"]
            some.append(Juror(name, (*TOOLS, LIBRARY), script))
        return some + list(self.jurors_of_ctest())

    def jurors_of_ctest(self):
        """Tests that are plain commands: C hosts and replays of the fuzz corpora."""
        shown = subprocess.run(["ctest", "--test-dir", self.build, "--show-only=json-v1"], check=True, capture_output=True)
        for test in json.loads(shown.stdout)["tests"]:
            command = test.get("command", [])
            if test["name"].startswith("Boundary.AC") or test["name"].startswith("Boundary.Phc2sys"):
                products = (LIBRARY,)
            elif test["name"].startswith("Fuzz.") and command:  # empty: it is not built
                products = (str(Path(command[0]).relative_to(self.build)),)
            else:
                continue
            yield Juror(test["name"], products, command)

    def run(self, juror, seconds):
        """Returns (failure or None, duration); None means passed."""
        shutil.rmtree(self.folder, ignore_errors=True)
        (self.folder / "tmp").mkdir(parents=True)
        output = self.folder / "output"
        begin = time.monotonic()
        with output.open("wb") as out:
            process = subprocess.Popen([*self.walls, *juror.command], cwd=self.folder, stdin=subprocess.DEVNULL, stdout=out,
                                       stderr=out, start_new_session=True, preexec_fn=lambda: limit(seconds),
                                       env={**os.environ, "TMPDIR": str(self.folder / "tmp")})
            try:
                code = process.wait(timeout=seconds)
            except subprocess.TimeoutExpired:
                return "time", time.monotonic() - begin
            finally:
                process.kill()  # and everything in the sandbox
                process.wait()
        took = time.monotonic() - begin
        if code == 0:
            return None, took
        named = re.search(rb"\[  FAILED  \] ([^\s,]+)", output.read_bytes())
        return (named.group(1).decode() if named else f"exit code {code}"), took


def limit(seconds):
    """Applies to everything in the sandbox."""
    for what, most in ((resource.RLIMIT_CPU, int(seconds) + 1), (resource.RLIMIT_FSIZE, FILE_LIMIT),
                       (resource.RLIMIT_AS, MEMORY_LIMIT), (resource.RLIMIT_NPROC, PROCESS_LIMIT), (resource.RLIMIT_CORE, 0)):
        hard = resource.getrlimit(what)[1]
        most = most if hard == resource.RLIM_INFINITY else min(most, hard)
        resource.setrlimit(what, (most, most))
