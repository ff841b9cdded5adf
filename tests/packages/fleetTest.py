#!/usr/bin/env python3
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
"""50 simulated controllers below Debian's node exporter, Prometheus and Alertmanager, some with a planted trouble.

fleetTest.py BUILD_DIR [RULES]: every trouble raises its alerts within two intervals, and nothing else is raised. The rules are those
of the package; an interval is 1 s instead of 15 s, and each "for" is shortened by the same factor.

The monitors live on boards in virtual time, which are let on, in step with this machine's clock, by reading their output: so
a minute, in which clocks may settle, passes at once, and no load of the machine disturbs a clock.
"""
import dataclasses
import datetime
import fcntl
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time
import urllib.parse
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parents[2]
SIZE = 50
INTERVAL_S = 1
SHORTENED = 15
STALE_S = 10  # in the rule
SETTLED_S = 65  # after that, no clock has a reason to be away
TROUBLE_S = 20  # from the start of the program to the trouble
HELD_S = 4  # before its trouble, a controller waits until Prometheus has seen it without
PATIENCE_S = 90
SKIPPED = 77
OWN_MOUNTS = ["unshare", "--user", "--map-root-user", "--mount"]
ENDS_WITH_TEST = ["setpriv", "--pdeathsig", "KILL"]

TWO_CLOCKS = '[[interface]]\nname = "enp2s0"\n[[interface]]\nname = "enp1s0"\n'


def event(kind, target=None, more=""):
    return f'[[event]]\nat = "AT s"\nkind = "{kind}"\n{more}' + (f'target = "{target}"\n' if target else "")


def broken(target, request):
    return f'[[fault]]\nfrom = "AT s"\ntimes = "forever"\ntarget = "{target}"\ncall = "ioctl"\nrequest = "{request}"\nerror = "EIO"\n'


@dataclasses.dataclass
class Controller:
    """A board, and the alerts that it earns: from its trouble on, and all the time."""
    name: str
    board: str
    alerts: tuple = ()
    standing: tuple = ()
    verbs: tuple = ("init", "monitor")
    age_s: float = 5  # when it is first watched
    behind_s: float = 0
    hangs: bool = False
    samples: int = 0

    def start(self, build, folder, seed):
        """Starts the monitor. Its clock agrees with this machine's when it has been let on for age_s."""
        self.trouble_s = self.age_s + TROUBLE_S
        self.folder = folder / self.name
        (self.folder / "hidden").mkdir(parents=True)
        self.began_s = time.time() - self.age_s
        self.switched_on_s = self.began_s - self.behind_s
        date = datetime.datetime.fromtimestamp(self.switched_on_s, datetime.timezone.utc).isoformat(timespec="microseconds")
        scenario = self.folder / "board.toml"
        board = self.board.replace("AT s", f"{self.trouble_s} s").replace("SOON s", f"{self.trouble_s + 4} s")
        scenario.write_text(f"start_time = {date}\n{board}")
        self.output, writing = os.pipe2(os.O_CLOEXEC | os.O_DIRECT)  # one packet a sample
        fcntl.fcntl(writing, fcntl.F_SETPIPE_SZ, 4096)  # of which one fits
        self.process = subprocess.Popen(
            [*ENDS_WITH_TEST, build / "bin/halvexboard", "run", "--quiet", "--scenario", scenario, "--seed", str(seed), "--",
             build / "bin/halvexctl", "--library", build / "lib/libzuHalvexTimekeeper.so", *self.verbs,
             "--metrics", self.folder / "hidden/clocks.prom"],
            stdout=writing, stderr=open(self.folder / "errors", "w"), env=os.environ | {"TERM": "dumb"})
        os.close(writing)

    def let_on(self, may_trouble):
        """Lets the monitor write what it is due. Returns whether it is up to date."""
        due = time.time() - self.began_s
        if self.alerts and not may_trouble:
            due = min(due, self.trouble_s - HELD_S)
        elif self.hangs:
            due = min(due, self.trouble_s)
        if self.samples >= due:
            return True
        if not os.read(self.output, 4096):
            sys.exit(f"FAILED: the monitor of {self.name} ended: {(self.folder / 'errors').read_text()}")
        self.samples += 1
        return False


def fleet(scenarios):
    jump = event("jump", "enp2s0", 'by = "250 us"\n')
    back = event("jump", "enp2s0", 'by = "-250 us"\n').replace("AT", "SOON")
    troubled = [
        Controller("jumped", TWO_CLOCKS + jump, ("ClockAlarm away enp2s0", "ClockJumped jumped enp2s0", "ClocksDisrupted degraded"),
                   age_s=SETTLED_S),
        Controller("jumpedWhileAligning", TWO_CLOCKS + jump + back, ("ClockJumped jumped enp2s0",)),
        Controller("phc2sysKilled", TWO_CLOCKS + event("kill_phc2sys"), ("ClockAlarm dead", "ClocksDisrupted degraded")),
        Controller("unreadable", TWO_CLOCKS + broken("enp1s0", "PTP_SYS_OFFSET_EXTENDED"),
                   ("ClockAlarm unreadable enp1s0", "ClocksDisrupted degraded")),
        Controller("masterFails", TWO_CLOCKS + broken("ferrox", "getTime"),
                   ("ClockAlarm unreadable master", "ClocksDisrupted degraded", "LibraryErrors")),
        Controller("offTheBus", TWO_CLOCKS + "".join(event("driver_gone", part) for part in ("ferrox", "enp1s0", "enp2s0")),
                   ("ClocksLost lost", "ClocksDisrupted lost", "LibraryErrors", "ClockAlarm none", "ClockAlarm unreadable master",
                    "ClockAlarm gone enp1s0", "ClockAlarm gone enp2s0")),
        Controller("noHost", TWO_CLOCKS, standing=("ClocksUnseeded unseeded",), verbs=("monitor",)),
        Controller("noHostAndGone", TWO_CLOCKS + event("driver_gone", "enp2s0"), ("ClockAlarm gone enp2s0",),
                   standing=("ClocksUnseeded unseeded",), verbs=("monitor",)),
        Controller("idlePhc2sys", '[phc2sys]\ninterval = "1 h"\n' + TWO_CLOCKS, standing=("KernelUnsynchronised",)),
        Controller("fastCrystal", "[si514]\nppb_offset = -61000\n" + TWO_CLOCKS, standing=("SteeringNearLimit",)),
        Controller("slowCrystal", "[si514]\nppb_offset = 61000\n" + TWO_CLOCKS, standing=("SteeringNearLimit",)),
        Controller("hung", TWO_CLOCKS, ("MonitorStale",), hangs=True),
        Controller("behind", TWO_CLOCKS, standing=("MonitorStale",), behind_s=60),
    ]
    healthy = [(scenarios / f"{name}.toml").read_text() for name in
               ("plain", "stepLoss", "lossyEdges", "restlessFpga", "unusableInterfaces")]
    healthy += [TWO_CLOCKS + event("interface_down", "enp2s0"), TWO_CLOCKS + event("phc_reset", "enp2s0")]
    return troubled + [Controller(f"healthy{i}", healthy[i % len(healthy)]) for i in range(SIZE - len(troubled))]


# Alertmanager insists on a template where its package would install it: it gets a /usr/share of its own.
WITH_TEMPLATES = """
mount -t tmpfs none /usr/share && mkdir /usr/share/prometheus && cp -r "$0" /usr/share/prometheus/alertmanager && exec "$@"
"""


class Server:
    """One of Debian's programs, on a port of its own choice."""

    def __init__(self, programs, folder, name, *arguments):
        self.log = folder / f"{name}.log"
        command = [*ENDS_WITH_TEST, programs / re.match("[a-z-]+", name)[0], "--web.listen-address=127.0.0.1:0", *arguments]
        if name == "prometheus-alertmanager":
            command = [*OWN_MOUNTS, "sh", "-c", WITH_TEMPLATES, programs / "templates", *command]
        self.process = subprocess.Popen(command, cwd=folder, stdout=subprocess.DEVNULL, stderr=open(self.log, "w"))

    def address(self):
        limit = time.monotonic() + PATIENCE_S
        while not (found := re.search(r'msg="Listening on" address=(\S+)', self.log.read_text())):
            if self.process.poll() is not None or time.monotonic() > limit:
                sys.exit(f"FAILED: {self.log.stem} does not listen: {self.log.read_text()}")
            time.sleep(0.05)
        return found[1]

    def ask(self, path, **query):
        with urllib.request.urlopen(f"http://{self.address()}/{path}?" + urllib.parse.urlencode(query), timeout=30) as answer:
            return json.load(answer)

    def series(self, query):
        found = self.ask("api/v1/query", query=query)["data"]["result"]
        return [(one["metric"], one.get("values")) for one in found]


def alert_of(labels):
    """As the controllers above name their alerts, behind the controller."""
    words = [labels.get(name) for name in ("instance", "alertname", "state", "alarm", "clock")]
    return " ".join(word for word in words if word).replace("Halvex", "")


def shorten(rules):
    return re.sub(r"for: (\d+)m", lambda found: f"for: {int(found[1]) * 60 / SHORTENED:.0f}s", rules)


def start_servers(programs, folder, rules, controllers, servers):
    (folder / "alertmanager.json").write_text('{"route": {"receiver": "none"}, "receivers": [{"name": "none"}]}')
    servers.append(Server(programs, folder, "prometheus-alertmanager", "--cluster.listen-address=", "--config.file=alertmanager.json",
                          "--storage.path=alerts"))
    for controller in controllers:
        servers.append(Server(programs, folder, f"prometheus-node-exporter_{controller.name}", "--collector.disable-defaults",
                              "--collector.textfile", f"--collector.textfile.directory={folder / controller.name / 'shown'}"))
    (folder / "halvex.rules.yml").write_text(shorten(rules.read_text()))
    (folder / "prometheus.json").write_text(json.dumps({
        "global": dict.fromkeys(("scrape_interval", "scrape_timeout", "evaluation_interval"), f"{INTERVAL_S}s"),
        "rule_files": ["halvex.rules.yml"],
        "alerting": {"alertmanagers": [{"static_configs": [{"targets": [servers[0].address()]}]}]},
        "scrape_configs": [{"job_name": "controllers", "static_configs": [
            {"targets": [server.address()], "labels": {"instance": controller.name}}
            for server, controller in zip(servers[1:], controllers)]}]}))
    servers.append(Server(programs, folder, "prometheus", "--config.file=prometheus.json", "--storage.tsdb.path=samples"))


def live(controllers, prometheus, alertmanager, expected):
    """Until the Alertmanager has had the expected alerts, and no others, for a while. Returns what it has at the end."""
    is_seen, raised, limit, end = False, set(), time.monotonic() + PATIENCE_S, float("inf")
    while time.monotonic() < min(limit, end):
        up_to_date = [controller.let_on(is_seen) for controller in controllers]
        for controller in (one for one, is_up in zip(controllers, up_to_date) if is_up):
            if not (controller.folder / "shown").exists():
                (controller.folder / "shown").symlink_to("hidden")
        if not all(up_to_date):
            continue
        is_seen = is_seen or len(prometheus.series("count_over_time(halvex_sample_time_seconds[5m]) > 1")) == len(controllers)
        raised = {alert_of(alert["labels"]) for alert in alertmanager.ask("api/v2/alerts")}
        end = min(end, time.monotonic() + 5 * INTERVAL_S) if raised == expected else float("inf")
        time.sleep(0.1)
    return raised


def check_times(controllers, prometheus):
    """From the scrape that first shows a trouble to its alert, by Prometheus' own times."""
    durations = {rule["name"]: rule["duration"] for group in prometheus.ask("api/v1/rules")["data"]["groups"]
                 for rule in group["rules"] if rule["type"] == "alerting"}
    fired = {alert_of(labels): values[0][0] for labels, values in prometheus.series('ALERTS{alertstate="firing"}[5m]')}
    scrapes = {labels["instance"]: values for labels, values in prometheus.series("halvex_sample_time_seconds[5m]")}
    failures, slowest_s = [], 0
    for one in controllers:
        for alert in one.alerts + one.standing:
            if "MonitorStale" in alert:
                shown = [at for at, sampled in scrapes[one.name] if at - float(sampled) > STALE_S]
            else:
                begin_s = one.switched_on_s + (one.trouble_s if alert in one.alerts else 0)
                shown = [at for at, sampled in scrapes[one.name] if float(sampled) >= begin_s]
            delay_s = fired[f"{one.name} {alert}"] - shown[0] - durations["Halvex" + alert.split()[0]]
            slowest_s = max(slowest_s, delay_s)
            if not 0 <= delay_s <= 2 * INTERVAL_S:
                failures.append(f"{one.name}: {alert} was raised {delay_s:.3f} s after it was due")
    earned = {"Halvex" + alert.split()[0] for one in controllers for alert in one.alerts + one.standing}
    return failures + [f"no controller earns {name}" for name in durations.keys() - earned], slowest_s


def check_dashboard(prometheus):
    dashboard = json.loads((ROOT / "packaging/prometheus/halvex.dashboard.json").read_text())
    expressions = [target["expr"].replace("$instance", ".*") for panel in dashboard["panels"] for target in panel["targets"]]
    return [f"the dashboard's {expression} finds nothing" for expression in expressions if not prometheus.series(expression)]


def check_links(alertmanager):
    headings = re.findall("^## (.*)", (ROOT / "docs/runbook.md").read_text(), re.MULTILINE)
    links = {alert["annotations"]["runbook_url"] for alert in alertmanager.ask("api/v2/alerts")}
    return [f"{link} is no heading of the runbook" for link in links if link.split("runbook.md#")[1] not in headings]


def main(build, rules):
    if not (build / "prometheus").exists():
        print(f"SKIPPED: no {build}/prometheus; ./dev test fetches it")
        return SKIPPED
    if subprocess.run([*OWN_MOUNTS, "true"]).returncode != 0:
        print("SKIPPED: no user namespaces here")
        return SKIPPED
    controllers, servers = fleet(build / "share/halvexboard/scenarios"), []
    expected = {f"{one.name} {alert}" for one in controllers for alert in one.alerts + one.standing}
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None  # like the unit's /run
    with tempfile.TemporaryDirectory(prefix="halvexFleet.", dir=memory) as folder:
        folder = pathlib.Path(folder)
        try:
            start_servers(build / "prometheus", folder, rules, controllers, servers)
            for seed, controller in enumerate(controllers, 1):
                controller.start(build, folder, seed)
            raised = live(controllers, servers[-1], servers[0], expected)
            ever = {alert_of(labels) for labels, _ in servers[-1].series('ALERTS{alertstate="firing"}[5m]')}
            failures = [f"not raised: {alert}" for alert in sorted(expected - raised)]
            failures += [f"not earned: {alert}" for alert in sorted((raised | ever) - expected)]
            slowest_s = 0
            if not failures:
                failures, slowest_s = check_times(controllers, servers[-1])
                failures += check_dashboard(servers[-1]) + check_links(servers[0])
        finally:
            for process in [one.process for one in servers + controllers if hasattr(one, "process")]:
                process.kill()
                process.wait()
    for failure in failures:
        print(f"FAILED: {failure}")
    print(f"{len(controllers)} controllers, {len(expected)} alerts, the slowest {slowest_s:.1f} s after it was due")
    return 1 if failures else 0


if __name__ == "__main__":
    shipped = ROOT / "packaging/prometheus/halvex.rules.yml"
    sys.exit(main(pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]) if len(sys.argv) > 2 else shipped))
