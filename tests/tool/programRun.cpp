// Runs a program as a child and captures its output.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/tool/programRun.h"

#include <spawn.h>

#include "tests/support/test.h"

namespace halvexctl {

ProgramRun::ProgramRun(std::vector<std::string> command, int inputFd) {
    std::vector<char*> argv;
    for (std::string& word : command) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    const std::string output = directory_ / "output";
    const std::string errors = directory_ / "errors";
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    if (inputFd >= 0) {
        ::posix_spawn_file_actions_adddup2(&actions, inputFd, 0);
    } else {
        ::posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    }
    ::posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ::posix_spawn_file_actions_addopen(&actions, 2, errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    EXPECT_EQ(::posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ), 0) << argv[0];
    ::posix_spawn_file_actions_destroy(&actions);
}

ProgramRun::~ProgramRun() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        finish();
    }
}

int ProgramRun::finish() {
    int status = 0;
    EXPECT_EQ(::waitpid(pid_, &status, 0), pid_);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace halvexctl
