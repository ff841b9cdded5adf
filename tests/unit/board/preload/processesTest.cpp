// Tests of several processes on one board: scripts, pipes, signals, timers, deaths, and who may not come along.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <regex>

#include "tests/support/files.h"
#include "tests/support/shellCommand.h"
#include "tests/support/test.h"

namespace processesTest {

using testing::HasSubstr;
using testsupport::fileContents;
using testsupport::shell;

constexpr const char* kVendor = "/sys/class/net/enp1s0/device/vendor";

/// A program and what it prints on the board, with its exit status; `seconds` is at most what it takes in reality.
struct Example {
    const char* name;
    std::string command;
    std::string output;
    int status = 0;
    int seconds = 8;
};

std::ostream& operator<<(std::ostream& out, const Example& example) { return out << example.command; }

class OnOneBoard : public testing::TestWithParam<Example> {};

TEST_P(OnOneBoard, BehavesAsOnAController) {
    const auto started = std::chrono::steady_clock::now();
    const auto result = shell(HALVEXBOARD " run --quiet -- " + GetParam().command);
    EXPECT_EQ(result.text, GetParam().output);
    EXPECT_EQ(result.code, GetParam().status);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(GetParam().seconds));
}

const Example kExamples[] = {
    {"AScriptAndWhatItStarts", "sh -c 'cat V; env cat V; env -i cat V; exec cat V'",
     "0x8086\n0x8086\n0x8086\n0x8086\n"},
    {"StepsOfAnotherProcess", "sh -c 'P step; P clock'", "1700000100\n"},
    {"SystemAndPopen", "perl -e 'system(q(cat V)); print `P clock`; open(F, q(|cat)); print F q(x); close F'",
     "0x8086\n1700000000\nx"},
    {"APythonWrapper",
     "python3 -c 'import subprocess; subprocess.run([\"sleep\", \"100\"]); subprocess.run([\"P\", \"clock\"])'",
     "1700000100\n"},
    {"ADescriptorThroughForkAndExec", "bash -c 'exec 5</dev/ptp0; sleep 3; P ptp5; exec P ptp5'",
     "0 1700000003\n0 1700000003\n"},
    {"AnOffsetThatProcessesShare", "bash -c 'exec 5<V; cat <&5; cat <&5; head -c 3 V'", "0x8086\n0x8"},
    {"ProcessesThatSleepSideBySide", "dash -c 'sleep 50 & sleep 30; P clock; wait; P clock'",
     "1700000030\n1700000050\n"},
    {"BashThatWaits", "bash -c 'sleep 50 & sleep 30; wait; P clock'", "1700000050\n"},
    {"ADoubleFork", "sh -c '(sleep 7; P clock) & exit 3'", "1700000007\n", 3},
    {"APipeline", "bash -c 'seq 1 100000 | sort -rn | head -1; yes | head -1'", "100000\ny\n"},
    {"APipeThatIsFull", "bash -c 'seq 1 300000 | (sleep 1; tail -1); P clock'", "300000\n1700000001\n", 0, 30},
    {"ATimeLimit", "timeout 10 sleep 100", "", 124},
    {"AnAlarmThroughExec", "perl -e 'alarm 5; exec q(sleep 100)'", "Alarm clock\n", 142},
    {"ARegularTimer",
     "python3 -c 'import signal, time; signal.signal(signal.SIGALRM, lambda *a: print(time.time_ns() // 10**8)); "
     "signal.setitimer(signal.ITIMER_REAL, 1.5, 1); time.sleep(3); signal.pause()'",
     "17000000015\n17000000025\n17000000035\n"},
    {"ATimersDescriptorInASetOfEvents",
     "python3 -c 'import asyncio, time\nasync def main():\n await asyncio.sleep(10)\n"
     " p = await asyncio.create_subprocess_exec(\"sleep\", \"50\")\n await p.wait()\n print(int(time.time()))\n"
     "asyncio.run(main())'",
     "1700000060\n"},
    {"ASignalThatIsCaught", "bash -c 'trap \"echo caught; P clock\" USR1; (sleep 3; kill -USR1 $$) & wait; wait'",
     "caught\n1700000003\n"},
    {"ASignalThatKills", "bash -c 'sleep 1000 & sleep 1; kill $!; wait $!; echo $?; P clock'", "143\n1700000001\n"},
    {"AKillOfTheFirst", "bash -c '(sleep 50; kill -9 $$) & sleep 10; sleep 100'", "Killed\n", 137},
    {"ALockOnAFile", "bash -c '(exec 7>L; flock 7; sleep 5) & sleep 1; exec 8>L; flock 8; P clock'", "1700000005\n"},
    {"AMutexBetweenProcesses",
     "python3 -c 'import multiprocessing as m, time\nlock = m.Lock()\ndef child():\n  with lock: time.sleep(20)\n"
     "p = m.Process(target=child); p.start(); time.sleep(1)\nwith lock: print(int(time.time()))\np.join()'",
     "1700000020\n"},
    {"ASocketPair",
     "python3 -c 'import os, socket, time\na, b = socket.socketpair()\nif os.fork() == 0:\n time.sleep(9); "
     "b.send(b\"x\"); "
     "os._exit(0)\na.recv(1); print(int(time.time())); os.wait()'",
     "1700000009\n"},
};

INSTANTIATE_TEST_SUITE_P(Processes, OnOneBoard, testing::ValuesIn([] {
                             std::vector<Example> examples(std::begin(kExamples), std::end(kExamples));
                             static const testsupport::ScratchDirectory folder;
                             for (Example& example : examples) {
                                 const auto put = [&](const std::string& word, const std::string& value) {
                                     const std::regex whole("\\b" + word + "\\b");
                                     example.command = std::regex_replace(example.command, whole, value);
                                 };
                                 put("V", kVendor);
                                 put("P", PROBE);
                                 put("L", folder.path() / "lock");
                             }
                             return examples;
                         }()),
                         [](const auto& example) { return std::string(example.param.name); });

class Board : public testing::Test {
protected:
    std::string file(const std::string& name) const { return folder_ / name; }

private:
    testsupport::ScratchDirectory folder_;
};

TEST_F(Board, WritesTheSameTraceWhateverElseTheMachineRuns) {
    const std::string script = " -- bash -c 'for i in 1 2 3; do " PROBE " calls & done; (sleep 1; " PROBE
                               " step) & "
                               "seq 1 20000 | sort | tail -1; timeout 3 sleep 9; wait' >/dev/null";
    std::string first;
    for (int i = 0; i < 10; ++i) {
        const std::string load =
            i < 5 ? "" : "for k in 1 2 3; do timeout 2 sh -c 'while :; do :; done' >/dev/null 2>&1 & done; ";
        const auto result =
            shell(load + HALVEXBOARD " run --quiet --scenario stepLoss --trace " + file("trace") + script + "");
        EXPECT_EQ(result.code, 0) << result.text;
        const std::string trace = fileContents(file("trace"));
        EXPECT_GT(trace.size(), 2'000U);
        if (i == 0) first = trace;
        EXPECT_TRUE(trace == first) << "run " << i;
    }
}

TEST_F(Board, LivesOnWhenAProcessIsKilledAtAnyOfItsCalls) {
    int killed = 0;
    for (int nth = 1; nth <= 3; ++nth) {
        std::ofstream(file("s.toml"))
            << "[[interface]]\nname = \"enp1s0\"\n[[fault]]\ncall = \"any\"\ntarget = \"enp1s0\"\nkills = true\nnth = "
            << nth << "\n";
        const auto result =
            shell(HALVEXBOARD " run --quiet --scenario " + file("s.toml") + " --trace " + file("trace") +
                  " -- bash -c 'sleep 5 & " PROBE " calls; echo $?; wait; " PROBE " clock'");
        const bool isKilled = result.text.find("137\n") != std::string::npos;
        killed += isKilled ? 1 : 0;
        EXPECT_THAT(result.text, HasSubstr("1700000005\n")) << nth << result.text;
        EXPECT_EQ(fileContents(file("trace")).find("\"kills\":true") != std::string::npos, true) << nth;
    }
    EXPECT_EQ(killed, 3);
}

TEST_F(Board, RefusesProgramsThatItCannotCarryUnlessTheyMayRunOutside) {
    const auto refused = shell(HALVEXBOARD " run --quiet -- /sbin/ldconfig --version");
    EXPECT_EQ(refused.code, 125);
    EXPECT_THAT(refused.text,
                HasSubstr("/sbin/ldconfig is statically linked and cannot be on the board; --outside ldconfig"));
    const auto inScript = shell(HALVEXBOARD " run --quiet -- sh -c '/sbin/ldconfig --version; echo $?'");
    EXPECT_THAT(inScript.text, HasSubstr("126\n"));
    EXPECT_EQ(inScript.text.find("ldconfig ("), std::string::npos);
    const auto outside =
        shell(HALVEXBOARD " run --quiet --outside ldconfig -- sh -c '/sbin/ldconfig --version; " PROBE " clock'");
    EXPECT_THAT(outside.text, HasSubstr("ldconfig ("));
    EXPECT_THAT(outside.text, HasSubstr("1700000000"));
}

TEST_F(Board, TakesProgramsFromAnotherTerminalAndListsWhoIsOnIt) {
    const std::string script = HALVEXBOARD " run --quiet --time real --trace " + file("trace") +
                               " -- sleep 30 & board=$!; "
                               "until " HALVEXBOARD " ps | grep -q sleep; do :; done; " HALVEXBOARD
                               " attach --board $board -- " PROBE " step; " HALVEXBOARD
                               " attach --board $board -- " PROBE " clock; " HALVEXBOARD
                               " ps | grep -A1 \"board $board:\"; "
                               "kill $board; wait $board; echo $?; " HALVEXBOARD " ps | grep -c \"board $board:\"";
    const auto result = shell(script);
    EXPECT_THAT(result.text, testing::MatchesRegex("170000010.\nboard [0-9]+: scenario plain, seed 1, in real time\n"
                                                   "  [0-9]+ sleep 30\n(Terminated\n)?143\n0\n"));
}

TEST_F(Board, EndsAllItsProcessesWhenTheLauncherIsTerminated) {
    const auto result =
        shell(HALVEXBOARD " run --quiet --time real -- bash -c 'sleep 100 & sleep 200 & echo $! $$; wait' >" +
              file("pids") + " & board=$!; until [ -s " + file("pids") +
              " ]; do :; done; kill $board; wait $board; echo $?; kill -0 $(cat " + file("pids") + ") && echo alive");
    EXPECT_THAT(result.text, testing::ContainsRegex("^(Terminated\n)?143\n"));
    EXPECT_EQ(result.text.find("alive"), std::string::npos);
}

TEST_F(Board, CarriesAHostItsMonitorTheRealPhc2sysAndOtherPrograms) {
    std::ofstream(file("s.toml")) << "[[interface]]\nname = \"enp1s0\"\n[[interface]]\nname = \"enp2s0\"\n"
                                     "offset = \"-2 ms\"\nstep_loss = \"1500 ns\"\n[phc2sys]\nprogram = \"real\"\n";
    const std::string tool = HALVEXCTL " --library " LIBRARY " ";
    std::ofstream(file("service.sh"))
        << tool << "--yes init wait 100s finalize & host=$!\nsleep 5\n"
        << tool << "monitor --count 90 --metrics " << file("metrics") << " >" << file("monitor")
        << " & monitor=$!\nsleep 20\n"
        << tool << "doctor >/dev/null; echo doctor $?\n"
        << "PATH=$PATH:/usr/sbin\nethtool -T enp1s0 | grep -i clock\nethtool -i enp1s0 | head -1\n"
        << "phc_ctl /dev/ptp0 cmp\nif command -v chronyd >/dev/null; then printf 'refclock PHC "
           "/dev/ptp0 poll 0\\nport 0\\ncmdport 0\\nbindcmdaddress /\\npidfile "
        << file("pid") << "\\n' >" << file("chrony.conf") << "\n"
        << "timeout 40 chronyd -d -x -u \"$(id -un)\" -f " << file("chrony.conf")
        << " 2>&1 | grep Selected; fi\nwait $host; echo host $?; wait $monitor; echo monitor $?\n";
    std::string first;
    for (int i = 0; i < 3; ++i) {
        const auto result = shell(HALVEXBOARD " run --quiet --scenario " + file("s.toml") + " --trace " +
                                  file("trace") + " -- sh " + file("service.sh"));
        for (const std::string line :
             {"doctor 1\n", "Clock: 0\n", "driver: igb\n", "CLOCK_REALTIME is 0ns", "host 0\n", "monitor 0\n"})
            EXPECT_THAT(result.text, HasSubstr(line));
        const std::string trace = fileContents(file("trace"));
        if (i == 0) first = trace;
        EXPECT_TRUE(trace == first) << "run " << i;
    }
    EXPECT_THAT(fileContents(file("monitor")), HasSubstr("CLOCK_REALTIME"));
    EXPECT_EQ(shell(HALVEXBOARD " summary " + file("trace")).code, 0);
}

TEST_F(Board, CannotRunOnAnother) {
    EXPECT_THAT(shell(HALVEXBOARD " run --quiet -- " HALVEXBOARD " run -- true").text,
                HasSubstr("one cannot run on another"));
}

}  // namespace processesTest
