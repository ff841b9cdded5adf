// Runs a command of the shell.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <sys/wait.h>
#include <cstdio>
#include <string>

namespace testsupport {

struct ShellResult {
    int code;  ///< Its exit status, or 128 and the signal that ended it.
    std::string text;
};

/// Captures both of its outputs.
inline ShellResult shell(const std::string& command) {
    FILE* const pipe = popen(("{ " + command + "\n} 2>&1").c_str(), "r");
    std::string text;
    char buffer[4096];
    while (const std::size_t size = fread(buffer, 1, sizeof buffer, pipe)) text.append(buffer, size);
    const int status = pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), text};
}

}  // namespace testsupport
