// Runs a program as a child and captures its output.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <sys/types.h>

#include "tests/support/files.h"

namespace halvexctl {

using testsupport::fileContents;
using testsupport::ScratchDirectory;

/// Starts at once. Standard input is `inputFd`, or empty. Output and errors go to files, so that the child never
/// blocks.
class ProgramRun {
public:
    explicit ProgramRun(std::vector<std::string> command, int inputFd = -1);
    ~ProgramRun();
    ProgramRun(const ProgramRun&) = delete;
    ProgramRun& operator=(const ProgramRun&) = delete;

    pid_t pid() const { return pid_; }
    int finish();  ///< Waits; returns the exit code, or minus the terminating signal.
    std::string output() const { return fileContents(directory_ / "output"); }
    std::string errors() const { return fileContents(directory_ / "errors"); }

private:
    ScratchDirectory directory_;
    pid_t pid_ = -1;
};

}  // namespace halvexctl
