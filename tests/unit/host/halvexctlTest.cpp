// Tests of the program itself, run as a child with a stand-in for the library: exit codes, streams, signals.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/unit/host/fakePlugin.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

std::string contents(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

class Halvexctl : public testing::Test {
protected:
    Halvexctl() : directory_(testing::TempDir() + "halvexctl-XXXXXX") {
        EXPECT_NE(::mkdtemp(directory_.data()), nullptr);
        ::setenv(fakeplugin::kJournalVariable, journalPath().c_str(), 1);
        ::unsetenv(fakeplugin::kFailuresVariable);
    }
    ~Halvexctl() override {
        for (const std::string& path : {journalPath(), outputPath(), errorsPath(), inputPath()}) {
            ::unlink(path.c_str());
        }
        ::rmdir(directory_.c_str());
        ::unsetenv(fakeplugin::kJournalVariable);
        ::unsetenv(fakeplugin::kFailuresVariable);
    }

    std::string journalPath() const { return directory_ + "/journal"; }
    std::string outputPath() const { return directory_ + "/output"; }
    std::string errorsPath() const { return directory_ + "/errors"; }
    std::string inputPath() const { return directory_ + "/input"; }

    pid_t start(std::vector<std::string> arguments, int inputFd = -1) {
        arguments.insert(arguments.begin(), {HALVEXCTL, "--library", FAKE_PLUGIN});
        std::vector<char*> argv;
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        if (inputFd >= 0) {
            ::posix_spawn_file_actions_adddup2(&actions, inputFd, 0);
        } else {
            ::posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
        }
        ::posix_spawn_file_actions_addopen(&actions, 1, outputPath().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ::posix_spawn_file_actions_addopen(&actions, 2, errorsPath().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        pid_t pid = -1;
        EXPECT_EQ(::posix_spawn(&pid, HALVEXCTL, &actions, nullptr, argv.data(), environ), 0);
        ::posix_spawn_file_actions_destroy(&actions);
        return pid;
    }

    int finish(pid_t pid) {
        int status = 0;
        EXPECT_EQ(::waitpid(pid, &status, 0), pid);
        output_ = contents(outputPath());
        errors_ = contents(errorsPath());
        journal_ = contents(journalPath());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    int run(std::vector<std::string> arguments) { return finish(start(std::move(arguments))); }

    /// Waits until the child has called `function` of the library; its journal is the only sign of it.
    void awaitCall(const std::string& function) {
        for (int attempt = 0; attempt < 5'000 && contents(journalPath()).find(function) == std::string::npos; ++attempt) {
            ::usleep(1'000);
        }
    }

    std::string directory_;
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
    EXPECT_EQ(journal_, "");
}

TEST_F(Halvexctl, EndsWithThreeOnAFailure) {
    ::setenv(fakeplugin::kFailuresVariable, "getTime:2:-52024", 1);
    EXPECT_EQ(run({"get", "get", "limits"}), 3);
    EXPECT_EQ(errors_, "halvexctl: get: zuqxmtk_getTime failed: -52024 fake\nhalvexctl: not carried out: limits\n");
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
    const pid_t child = start({"get", "wait", "1000s", "get"});
    awaitCall("getTime");
    ::kill(child, SIGINT);
    EXPECT_EQ(finish(child), 3);
    EXPECT_EQ(journal_, "initialize\ngetTime\nfinalize\n");
    EXPECT_THAT(errors_, HasSubstr("not carried out: get"));
}

TEST_F(Halvexctl, StaysUpInRunUntilTerminated) {
    std::array<int, 2> input{};
    ASSERT_EQ(::pipe2(input.data(), O_CLOEXEC), 0);
    const pid_t child = start({"run"}, input[0]);
    ASSERT_EQ(::write(input[1], "get\n", 4), 4);
    awaitCall("getTime");
    ::kill(child, SIGTERM);
    EXPECT_EQ(finish(child), 0);
    EXPECT_EQ(journal_, "initialize\ngetTime\nfinalize\n");
    ::close(input[0]);
    ::close(input[1]);
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

}  // namespace
