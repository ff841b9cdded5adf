// Tests of the program as a child process with a fake library: exit codes, streams, signals.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <pty.h>

#include <nlohmann/json.hpp>

#include "tests/support/test.h"
#include "tests/tool/programRun.h"
#include "tests/unit/host/fakePlugin.h"

namespace halvexctl::mainTest {

using testing::HasSubstr;
using testing::StartsWith;

class Halvexctl : public testing::Test {
protected:
    Halvexctl() {
        ::setenv(fakeplugin::kJournalVariable, (directory_ / "journal").c_str(), 1);
        ::unsetenv(fakeplugin::kFailuresVariable);
    }
    ~Halvexctl() override {
        ::unsetenv(fakeplugin::kJournalVariable);
        ::unsetenv(fakeplugin::kFailuresVariable);
    }

    static std::vector<std::string> command(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {HALVEXCTL, "--library", FAKE_PLUGIN});
        return arguments;
    }

    int finish(ProgramRun& program) {
        const int exitCode = program.finish();
        output_ = program.output();
        errors_ = program.errors();
        journal_ = fileContents(directory_ / "journal");
        return exitCode;
    }

    int run(std::vector<std::string> arguments) {
        ProgramRun program(command(std::move(arguments)));
        return finish(program);
    }

    /// Waits until the child has called `function` of the library; polls its journal.
    void awaitCall(const std::string& function) {
        for (int attempt = 0;
             attempt < 5'000 && fileContents(directory_ / "journal").find(function) == std::string::npos; ++attempt) {
            ::usleep(1'000);
        }
    }

    ScratchDirectory directory_;
    std::string output_, errors_, journal_;
};

TEST_F(Halvexctl, EndsWithZeroWhenAllIsWell) {
    EXPECT_EQ(run({"info", "get"}), 0);
    EXPECT_THAT(output_, StartsWith("info\n  library"));
    EXPECT_EQ(errors_, "");
}

TEST_F(Halvexctl, EndsWithOneOnAWarning) {
    ::setenv(fakeplugin::kFailuresVariable, "getTime:1:9", 1);
    EXPECT_EQ(run({"get"}), 1);
    EXPECT_THAT(output_, HasSubstr("warning: the library warned: 9"));
}

TEST_F(Halvexctl, EndsWithTwoAndDoesNothingWhenTheLineIsWrong) {
    EXPECT_EQ(run({"get", "step", "+1ms", "stpe"}), 2);
    EXPECT_EQ(errors_, "halvexctl: unknown verb \"stpe\"; did you mean \"step\"?\n");
    EXPECT_EQ(run({"get", "step", "-1ms"}), 2);
    EXPECT_EQ(run({"--jsno", "get"}), 2);
    EXPECT_EQ(run({}), 2);
    EXPECT_EQ(errors_, "halvexctl: no verb was given; halvexctl --help lists them\n");
    EXPECT_EQ(journal_, "");
}

TEST_F(Halvexctl, PrintsAWrongLineAsADocumentWhenJsonIsWanted) {
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"--json"}, {"stpe", "-j"}, {"--json", "get", "--describe"}}) {
        EXPECT_EQ(run(words), 2);
        const nlohmann::json document = nlohmann::json::parse(output_);
        EXPECT_EQ(errors_, "halvexctl: " + document.at("usageError").get<std::string>() + "\n");
    }
}

TEST_F(Halvexctl, EndsWithThreeOnAFailure) {
    ::setenv(fakeplugin::kFailuresVariable, "getTime:2:-52024", 1);
    EXPECT_EQ(run({"get", "get", "limits"}), 3);
    EXPECT_EQ(errors_,
              "halvexctl: get: zuqxmtk_getTime failed: -52024 zuplaterr_communicationsFault\nhalvexctl: not carried "
              "out: limits\n");
    EXPECT_EQ(journal_, "initialize\ngetTime\ngetTime\nfinalize\n");
}

TEST_F(Halvexctl, PrintsOneJsonDocument) {
    ::setenv(fakeplugin::kFailuresVariable, "getTime:2:-52024", 1);
    EXPECT_EQ(run({"--json", "--echo", "get", "get", "limits"}), 3);
    const nlohmann::json document = nlohmann::json::parse(output_);
    ASSERT_EQ(document.size(), 3u);
    EXPECT_EQ(document[0]["outcome"], "ok");
    EXPECT_TRUE(document[0]["values"]["timeNs"].is_number_unsigned());
    EXPECT_EQ(document[1]["error"]["code"], -52024);
    EXPECT_EQ(document[2]["outcome"], "skipped");
    EXPECT_THAT(errors_, HasSubstr("-> zuqxmtk_getTime()\n"));
}

TEST_F(Halvexctl, EchoesCallsAmongTheResults) {
    EXPECT_EQ(run({"get", "--echo"}), 0);
    EXPECT_THAT(output_, StartsWith("get\n  -> zuqxmtk_initialize()\n  <- done\n  -> zuqxmtk_getTime()\n  <- "));
}

TEST_F(Halvexctl, FinalisesWhenAWaitIsInterrupted) {
    ProgramRun program(command({"get", "wait", "1000s", "get"}));
    awaitCall("getTime");
    ::kill(program.pid(), SIGINT);
    EXPECT_EQ(finish(program), 3);
    EXPECT_EQ(journal_, "initialize\ngetTime\nfinalize\n");
    EXPECT_THAT(errors_, HasSubstr("not carried out: get"));
}

TEST_F(Halvexctl, StaysUpInRunUntilTerminated) {
    std::array<int, 2> input{};
    ASSERT_EQ(::pipe2(input.data(), O_CLOEXEC), 0);
    ProgramRun program(command({"run"}), input[0]);
    ASSERT_EQ(::write(input[1], "get\n", 4), 4);
    awaitCall("getTime");
    ::kill(program.pid(), SIGTERM);
    EXPECT_EQ(finish(program), 0);
    EXPECT_EQ(journal_, "initialize\ngetTime\nfinalize\n");
    ::close(input[0]);
    ::close(input[1]);
}

TEST_F(Halvexctl, EditsTheLinesOfRunOnATerminalAndCallsThemBack) {
    int master = -1, slave = -1;
    ASSERT_EQ(::openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    ProgramRun program({"/bin/sh", "-c", "exec \"$@\" 2>&0", "sh", HALVEXCTL, "--library", FAKE_PLUGIN, "run"}, slave);
    ::close(slave);
    for (const std::string keys : {"wait 0 \u00b5m\x7fs\n", "\x1b[A\x1b[D\x7f\n", "quit\n"}) {
        std::string shown;
        for (std::array<char, 1> byte; !shown.ends_with("halvexctl> "); shown += byte[0]) {
            ASSERT_EQ(::read(master, byte.data(), 1), 1) << shown;
        }
        ASSERT_EQ(::write(master, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }
    EXPECT_EQ(finish(program), 0);
    ::close(master);
    EXPECT_EQ(output_, "run\nwait 0 \u00b5s\nwait 0 s\n");
}

TEST_F(Halvexctl, LeavesAnIgnoredHangUpIgnored) {
    std::vector<std::string> words = command({"get", "wait", "300ms", "get"});
    words.insert(words.begin(), {"/bin/sh", "-c", "trap '' HUP; exec \"$@\"", "sh"});
    ProgramRun program(words);
    awaitCall("getTime");
    ::kill(program.pid(), SIGHUP);
    EXPECT_EQ(finish(program), 0);
    EXPECT_EQ(journal_, "initialize\ngetTime\ngetTime\nfinalize\n");
}

TEST_F(Halvexctl, ReadsMetadataFromStandardInputAndSaysWhenThatIsClosed) {
    std::array<int, 2> input{};
    ASSERT_EQ(::pipe2(input.data(), O_CLOEXEC), 0);
    ASSERT_EQ(::write(input[1], "{}", 2), 2);
    ::close(input[1]);
    ProgramRun program(command({"apply-metadata", "-"}), input[0]);
    ::close(input[0]);
    EXPECT_EQ(finish(program), 0);
    EXPECT_THAT(output_, HasSubstr("2 bytes from standard input"));
    std::vector<std::string> words = command({"apply-metadata", "-"});
    words.insert(words.begin(), {"/bin/sh", "-c", "exec \"$@\" <&-", "sh"});
    ProgramRun closed(words);
    EXPECT_EQ(finish(closed), 2);
    EXPECT_EQ(errors_, "halvexctl: cannot read standard input: Bad file descriptor\n");
}

TEST_F(Halvexctl, EndsRunWithTheInput) {
    EXPECT_EQ(run({"run"}), 0);
    EXPECT_EQ(journal_, "initialize\nfinalize\n");
}

TEST_F(Halvexctl, ShowsHelpWithoutALibrary) {
    EXPECT_EQ(run({"help", "drift"}), 0);
    EXPECT_THAT(output_, HasSubstr("CLOCK_MONOTONIC_RAW"));
    EXPECT_EQ(journal_, "");
}

}  // namespace halvexctl::mainTest
