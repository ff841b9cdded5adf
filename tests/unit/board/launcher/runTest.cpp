// Tests of halvexboard as a user runs it: programs on the board, traces, messages, exit codes.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/files.h"
#include "tests/support/shellCommand.h"
#include "tests/support/test.h"

namespace runTest {

using testing::HasSubstr;
using testing::Not;
using testsupport::fileContents;
using testsupport::shell;

class Launcher : public testing::Test {
protected:
    using Result = testsupport::ShellResult;

    static Result run(const std::string& options, const std::string& command) {
        return shell(HALVEXBOARD " run " + options + " -- " + command);
    }

    std::filesystem::path file(const std::string& name) const { return folder_ / name; }

private:
    testsupport::ScratchDirectory folder_;
};

TEST_F(Launcher, SaysWhichScenarioAndSeedItPlays) {
    EXPECT_THAT(run("--seed 12", "true").text, HasSubstr("halvexboard: scenario plain, seed 12"));
}

TEST_F(Launcher, HandsOnTheExitCodeOfTheCommand) {
    EXPECT_EQ(run("", PROBE " 7").code, 7);
    EXPECT_EQ(run("", "true").code, 0);
    EXPECT_EQ(run("", "/no/such/program").code, 125);
}

TEST_F(Launcher, ShowsOrdinaryProgramsTheBoardsFiles) {
    EXPECT_THAT(run("", "cat /sys/class/net/enp1s0/device/vendor").text, HasSubstr("0x8086\n"));
    EXPECT_THAT(run("", "ls /sys/class/net /dev/ptp1 /proc/driver/zu").text, HasSubstr("horlixFerrox"));
    EXPECT_THAT(run("", PROBE " clock").text, HasSubstr("1700000000\n"));
}

TEST_F(Launcher, LeavesProgramsAloneThatDoNotTouchTheController) {
    for (const std::string command :
         {"ls -l --time-style=full-iso /usr/include",  // its short style depends on the date
          "cat /etc/passwd", "perl -e 'print join(\",\", map { $_ * 2 } 1..5), \"\\n\"; exit 3'",
          "sh -c 'for i in 1 2 3; do echo $i; done | sort -r; exit 4'", "find /etc -maxdepth 1 -name 'p*'",
          "sort /etc/passwd", "head -c 100000 /dev/zero", "env -i /usr/bin/env"}) {
        const Result plain = shell(command);
        const Result onBoard = shell(std::string(HALVEXBOARD) + " run -- " + command + " 2>" + file("stderr").string());
        EXPECT_EQ(plain.code, onBoard.code) << command;
        EXPECT_TRUE(plain.text == onBoard.text) << command << "\n" << onBoard.text.substr(0, 300);
    }
    EXPECT_EQ(shell("printf 'a\\nb\\n' | " HALVEXBOARD " run -- " PROBE " echo 2>/dev/null").text, "a\nb\n");
}

TEST_F(Launcher, PlaysOneSeedTwiceAlikeAndTwoSeedsDifferently) {
    const auto started = std::chrono::steady_clock::now();
    for (const std::string name : {"a", "b"})
        ASSERT_EQ(run("--scenario stepLoss --seed 5 --trace " + file(name).string(), PROBE " live").code, 0);
    ASSERT_EQ(run("--scenario stepLoss --seed 6 --trace " + file("c").string(), PROBE " live").code, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(20)) << "three times 20 virtual minutes";
    const std::string first = fileContents(file("a"));
    EXPECT_GT(first.size(), 100'000U);
    EXPECT_TRUE(first == fileContents(file("b")));
    EXPECT_FALSE(first == fileContents(file("c")));
}

TEST_F(Launcher, WritesTheWholeTraceHoweverTheProgramEnds) {
    for (const std::string end : {"0", "_exit", "abort", "kill"}) {
        run("--trace " + file("trace").string(), std::string(PROBE) + " clock live syslog " + end);
        const std::string trace = fileContents(file("trace"));
        EXPECT_THAT(trace, HasSubstr("a line with 5 and text")) << end;
        EXPECT_EQ(shell(HALVEXBOARD " summary " + file("trace").string()).code, 1) << "it can be read: " << end;
    }
}

TEST_F(Launcher, EndsTheTraceAndNotTheProgramWhereTheDiskIsFull) {
    const Result result =
        run("--trace " + file("trace").string(), "sh -c \"trap '' XFSZ; ulimit -f 200; exec " PROBE " live 7\"");
    EXPECT_EQ(result.code, 7);
    EXPECT_THAT(result.text, HasSubstr("halvexboard: the trace cannot be written; it ends here\n"));
    EXPECT_EQ(fileContents(file("trace")).size(), 200U * 512) << "up to the limit, and no empty lines";
}

TEST_F(Launcher, RefusesATraceThatAnotherBoardWrites) {
    const std::string trace = HALVEXBOARD " run --time real --trace " + file("trace").string() + " -- ";
    const Result second = shell(trace + "sleep 2 & sleep 0.5; " + trace + "true");
    EXPECT_EQ(second.code, 125);
    EXPECT_THAT(second.text, HasSubstr("trace: another board writes it\n"));
}

TEST_F(Launcher, WritesOneTraceForAllProcesses) {
    ASSERT_EQ(run("--trace " + file("trace").string(), PROBE " clock fork").code, 0);
    const std::string trace = fileContents(file("trace"));
    const std::string start = "\"kind\":\"start\"";
    EXPECT_EQ(trace.find(start), trace.rfind(start)) << "the forked child wrote it again";
}

TEST_F(Launcher, ShowsSyslogLinesOnTheConsole) {
    EXPECT_THAT(run("--console", PROBE " syslog").text, HasSubstr("syslog warning a line with 5 and text\n"));
    EXPECT_THAT(run("", PROBE " syslog").text, Not(HasSubstr("a line")));
}

TEST_F(Launcher, CanLetTimeRunAsOnTheWall) {
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(run("--time real", PROBE " sleep").code, 0);
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(100));
}

TEST_F(Launcher, NamesTheLineOfAnUnknownKey) {
    std::ofstream(file("bad.toml")) << "seed = 1\n[ferrox]\noffzet = \"1 s\"\n";
    const Result result = run("--scenario " + file("bad.toml").string(), "true");
    EXPECT_EQ(result.code, 125);
    EXPECT_THAT(result.text, HasSubstr("bad.toml:3:"));
    EXPECT_THAT(result.text, HasSubstr("unknown key 'offzet'; known are present, interface_path, offset,"));
    EXPECT_EQ(run("--scenario no-such", "true").code, 125);
    EXPECT_THAT(run("--scenario no-such", "true").text, HasSubstr("demo, failingDrivers, "));
}

TEST_F(Launcher, SumsUpATrace) {
    ASSERT_EQ(run("--trace " + file("trace").string(), PROBE " clock").code, 0);
    const Result summary = shell(HALVEXBOARD " summary " + file("trace").string());
    EXPECT_EQ(summary.code, 1) << "nothing was aligned in it";
    EXPECT_THAT(summary.text, HasSubstr("enp1s0"));
    EXPECT_EQ(shell(HALVEXBOARD " summary " + file("none").string()).code, 2);
    EXPECT_EQ(shell(HALVEXBOARD " summary --from nothing " + file("trace").string()).code, 2);
}

TEST_F(Launcher, ReplacesNothingByATraceButAnEarlierTrace) {
    const auto refused = [&](const std::string& options, const std::string& command, const std::string& why) {
        const Result result =
            shell("cd " + file("").string() + " && timeout 20 " HALVEXBOARD " run " + options + " -- " + command);
        EXPECT_EQ(result.code, 2) << options << result.text;
        EXPECT_THAT(result.text, HasSubstr(why)) << options;
    };
    const std::string scenario = "seed = 3\n";
    std::ofstream(file("s.toml")) << scenario;
    std::filesystem::create_symlink("s.toml", file("link"));
    std::filesystem::create_hard_link(file("s.toml"), file("twin"));
    for (const std::string& name : std::vector<std::string>{
             "s.toml", "./s.toml", "../" + file("").parent_path().filename().string() + "/s.toml", "link", "twin"})
        refused("--scenario s.toml --trace " + name, "true", "is the scenario");
    EXPECT_EQ(fileContents(file("s.toml")), scenario);
    ASSERT_EQ(run("--trace " + file("trace").string(), "true").code, 0);
    const std::string trace = fileContents(file("trace"));
    refused("--trace trace", "cat trace", "named by the command");
    refused("--trace trace", "true --from=./trace", "named by the command");
    EXPECT_EQ(fileContents(file("trace")), trace);
    std::ofstream(file("record")) << "{\"kind\":\"session\"}\n";
    refused("--trace record", "true", "does not hold a trace");
    ASSERT_EQ(shell("mkfifo " + file("pipe").string()).code, 0);
    for (const std::string other : {"pipe", "/dev/null", "."}) refused("--trace " + other, "true", "ordinary file");
    refused("--trace -", "true", "needs a file");
    EXPECT_FALSE(std::filesystem::exists(file("-")));
    EXPECT_EQ(run("--seed 2 --trace " + file("trace").string(), "true").code, 0);
    EXPECT_NE(fileContents(file("trace")), trace) << "an earlier trace is replaced";
}

TEST_F(Launcher, SaysThatATraceIsEmptyOrCannotBeRead) {
    std::ofstream(file("empty")) << "";
    const Result empty = shell(HALVEXBOARD " summary " + file("empty").string());
    EXPECT_EQ(empty.code, 2);
    EXPECT_THAT(empty.text, HasSubstr("empty is empty"));
    EXPECT_EQ(shell(HALVEXBOARD " summary - </dev/null").code, 2);
    const Result closed = shell(HALVEXBOARD " summary - <&-");
    EXPECT_EQ(closed.code, 2);
    EXPECT_THAT(closed.text, HasSubstr("cannot read standard input: Bad file descriptor"));
    ASSERT_EQ(run("--trace " + file("trace").string(), "true").code, 0);
    EXPECT_EQ(shell(HALVEXBOARD " summary - <" + file("trace").string()).text,
              shell(HALVEXBOARD " summary " + file("trace").string()).text);
}

TEST_F(Launcher, LeavesAClosedStandardInputClosed) {
    const Result result = shell(HALVEXBOARD " run --trace " + file("trace").string() + " -- " PROBE " echo 3 <&-");
    EXPECT_EQ(result.code, 3) << "the end of the input, then its exit code: " << result.text;
    EXPECT_THAT(shell(HALVEXBOARD " run -- cat <&-").text, HasSubstr("Bad file descriptor"));
}

TEST_F(Launcher, NamesScenarioAndSeedUnlessItIsQuiet) {
    EXPECT_EQ(run("--quiet", PROBE " clock").text, "1700000000\n");
    EXPECT_EQ(run("--quiet", "/no/such/program").code, 125);
}

TEST_F(Launcher, ListsWhatAScenarioCanSay) {
    const std::string all = shell(HALVEXBOARD " list").text;
    for (const std::string topic : {"scenarios", "keys", "events", "targets", "files", "requests", "costs"}) {
        const Result one = shell(HALVEXBOARD " list " + topic);
        EXPECT_EQ(one.code, 0);
        EXPECT_THAT(all, HasSubstr("\n" + one.text)) << topic;
    }
    EXPECT_THAT(all, HasSubstr("| `stepLoss` | "));
    const Result unknown = shell(HALVEXBOARD " list birds");
    EXPECT_EQ(unknown.code, 2);
    EXPECT_THAT(unknown.text, HasSubstr("no topic birds; it has scenarios keys"));
}

TEST_F(Launcher, CompletesItsCommandLineInBash) {
    const auto offered = [](const std::string& line) {
        return shell("bash --norc -c 'eval \"$(" HALVEXBOARD " --describe bash)\"; COMP_WORDS=(" + line +
                     "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _halvexboard; echo \"${COMPREPLY[*]}\"'")
            .text;
    };
    EXPECT_EQ(offered("halvexboard su"), "summary\n");
    EXPECT_EQ(offered("halvexboard run --sc"), "--scenario\n");
    EXPECT_EQ(offered("halvexboard run --scenario stepL"), "stepLoss\n");
    EXPECT_EQ(offered("halvexboard run --time v"), "virtual\n");
    EXPECT_EQ(offered("halvexboard run --seed \"\""), "\n");
    EXPECT_EQ(offered("halvexboard list ev"), "events\n");
    EXPECT_EQ(offered("halvexboard summary --u"), "--until\n");
    EXPECT_THAT(offered("halvexboard run -- mkf"), HasSubstr("mkfifo"));
}

TEST_F(Launcher, CompletesItsCommandLineInZshAndFish) {
    const std::string inZsh =
        "zsh -f -c 'compdef() { : }; compadd() { shift; print -r -- $@ }; _files() { print files }; "
        "eval \"$(" HALVEXBOARD " --describe zsh)\"; ";
    EXPECT_EQ(shell(inZsh + "words=(halvexboard \"\"); CURRENT=2; _halvexboard'").text,
              "run attach ps summary list help --help --version\n");
    EXPECT_THAT(shell(inZsh + "words=(halvexboard run --scenario \"\"); CURRENT=4; _halvexboard'").text,
                testing::AllOf(HasSubstr(" stepLoss"), HasSubstr("files")));
    EXPECT_THAT(shell(inZsh + "words=(halvexboard run --c); PREFIX=--c; CURRENT=3; _halvexboard'").text,
                HasSubstr("--console"));
    const std::string inFish = "HOME=" + file("").string() +
                               " fish --no-config -c '" HALVEXBOARD
                               " --describe fish | source; complete -C \"halvexboard ";
    EXPECT_THAT(shell(inFish + "run --scenario stepL\"'").text, HasSubstr("stepLoss"));
    EXPECT_THAT(shell(inFish + "summary --unt\"'").text, HasSubstr("--until"));
    EXPECT_THAT(shell(inFish + "list ev\"'").text, HasSubstr("events"));
    const Result refused = shell(HALVEXBOARD " --describe tcsh");
    EXPECT_EQ(refused.code, 2);
    EXPECT_THAT(refused.text, HasSubstr("--describe must be bash, zsh or fish"));
}

TEST_F(Launcher, DoesWhatItsPageSays) {
    std::ifstream page(BOARD_PAGE);
    int commands = 0;
    for (std::string line; std::getline(page, line);) {
        constexpr std::string_view kCommand = "    halvexboard ";
        if (!line.starts_with(kCommand)) continue;
        ++commands;
        const std::string command = HALVEXBOARD " " + line.substr(kCommand.size());
        const Result result = shell("cd " + file("").string() + " && " + command);
        EXPECT_EQ(result.code, 0) << line << "\n" << result.text;
    }
    EXPECT_GE(commands, 4);
}

TEST_F(Launcher, ExplainsItself) {
    EXPECT_THAT(shell(HALVEXBOARD " --help").text, HasSubstr("Usage: halvexboard run"));
    EXPECT_THAT(shell(HALVEXBOARD " --version").text, testing::MatchesRegex("halvexboard [0-9.]+\n"));
    const Result walk = shell(HALVEXBOARD " walk");
    EXPECT_EQ(walk.code, 2);
    EXPECT_EQ(
        walk.text,
        "halvexboard: run, attach, ps, summary or list must come first, not walk; halvexboard --help says more\n");
}

}  // namespace runTest
