// One run of a program as a child, with what it printed.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/support/files.h"

namespace halvexctl {

using testsupport::fileContents;
using testsupport::ScratchDirectory;

/// Starts at once. Standard input is `inputFd`, or empty. Output and errors go to files, so that nothing can block.
class ProgramRun {
public:
    explicit ProgramRun(std::vector<std::string> command, int inputFd = -1);
    ~ProgramRun();
    ProgramRun(const ProgramRun&) = delete;
    ProgramRun& operator=(const ProgramRun&) = delete;

    pid_t pid() const { return pid_; }
    int finish();  ///< Waits; the exit code, or minus the signal that ended it.
    std::string output() const { return fileContents(directory_ / "output"); }
    std::string errors() const { return fileContents(directory_ / "errors"); }

private:
    ScratchDirectory directory_;
    pid_t pid_ = -1;
};

}  // namespace halvexctl
