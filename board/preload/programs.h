// Programs that a process on the board is about to execute: whether they can be on it, and the environment that brings
// them there. SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>

namespace halvexboard {

/// Keeps the variables that brought this process to the board, for the programs that it starts. `outside` names the
/// programs that may leave it, with a space before and behind each. Before that no program is judged or changed.
void rememberEnvironment(const char* outside) noexcept;

enum class Verdict {
    carried,  ///< The preloaded library will be in it.
    outside,  ///< It may run on the real machine.
    refused,  ///< It would run there and must not; reported on stderr.
};
/// `file` as for execvp if `isSearched`, else a path. What cannot be read is carried: executing it fails.
Verdict judgeProgram(const char* file, bool isSearched) noexcept;

/// An environment for a program: with the variables that bring it to the board, or without them for one outside.
class ProgramEnvironment {
public:
    ProgramEnvironment(char* const* given, Verdict verdict) noexcept;
    ~ProgramEnvironment();
    ProgramEnvironment(const ProgramEnvironment&) = delete;
    ProgramEnvironment& operator=(const ProgramEnvironment&) = delete;
    /// `given` itself if memory is short.
    char* const* variables() const noexcept { return variables_; }

private:
    char* const* variables_;
    std::size_t size_ = 0;
};

}  // namespace halvexboard
