# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
"""Makes recordings for the tests of the report's page: the demo on the simulated controller, and synthetic ones."""
import json
import math
import os
import random
import subprocess

SECOND = 1_000_000_000
RAW_BEGIN = 5 * SECOND
SYSTEM_BEGIN = 1_709_280_000 * SECOND
EVIL = "</script><script>document.title='taken over'</script><!-- <img src=x onerror=alert(1)> & &lt; %n%s \\u2028 \"'"


def tool(build, name):
    return os.path.join(build, "bin", name)


def record_session(build, directory):
    """A session on the board, with an interface that goes down and an error; returns record and trace."""
    record, trace = os.path.join(directory, "session.jsonl"), os.path.join(directory, "trace.jsonl")
    verbs = ["record", record, "remark", EVIL, "init", "wait", "20s", "step", "+1.5ms", "wait", "10s", "freq", "-12000",
             "wait", "55s", "wait", "12s", "expect-error", "get", "clear", "get"]
    subprocess.run([tool(build, "halvexboard"), "run", "--scenario", "demo", "--seed", "1", "--trace", trace, "--",
                    tool(build, "halvexctl"), "--yes", *verbs], check=True, capture_output=True)
    return record, trace


def record_day(build, record):
    """24 hours at a sample a second."""
    subprocess.run([tool(build, "halvexboard"), "run", "--scenario", "demo", "--", tool(build, "halvexctl"), "record", record, "init",
                    "wait", "24h"], check=True, capture_output=True)


def make_page(build, page, *sources):
    subprocess.run([tool(build, "halvexctl"), "report", page, *sources], check=False, capture_output=True)
    return page


def names_of(clocks):
    return ["master", *[f"enp{port}s0" for port in range(1, clocks - 1)], "CLOCK_REALTIME"]


def sample(index, names):
    clocks = [{"name": name, "differenceNs": 0 if place == 0 else round(30 * math.sin(index / 200 + place) + random.gauss(0, 12)),
               "boundNs": 0 if place == 0 else 80, "up": True, "away": False, "jumpNs": None, "error": ""}
              for place, name in enumerate(names)]
    return {"kind": "sample", "timeIso": "", "systemNs": SYSTEM_BEGIN + index * SECOND, "rawNs": RAW_BEGIN + index * SECOND,
            "reference": "master", "clocks": clocks, "steeringPpb": -1200.0, "phc2sysAlive": True, "kernelSynchronised": True,
            "kernelMaxErrorNs": 500_000, "kernelFrequencyPpb": -8300.5, "errorCount": 0, "lastError": "", "alarm": False}


def write_record(path, seconds, clocks):
    random.seed(1)
    names = names_of(clocks)
    with open(path, "w", encoding="utf-8") as file:
        print(json.dumps({"kind": "start", "rawNs": RAW_BEGIN, "systemNs": SYSTEM_BEGIN, "format": 1, "library": "",
                          "intervalNs": SECOND}), file=file)
        for index in range(seconds):
            print(json.dumps(sample(index, names)), file=file)
    return path
