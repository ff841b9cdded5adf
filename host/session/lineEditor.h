// Edits lines on a terminal: a prompt, cursor keys, a history.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <exception>
#include <functional>
#include <optional>
#include <string>

struct editline;
struct history;

namespace halvexctl {

/// Reads the terminal by `nextByte`, which returns nothing at the end, and shows the line on standard error. The
/// terminal is as it was between the calls. Threads: thread-bound. Failure: what `nextByte` throws.
class LineEditor {
public:
    using NextByte = std::function<std::optional<char>()>;

    LineEditor(int fd, NextByte nextByte);
    ~LineEditor();
    LineEditor(const LineEditor&) = delete;
    LineEditor& operator=(const LineEditor&) = delete;

    std::optional<std::string> line();  ///< Without its newline; empty at the end.

private:
    static int readCharacter(editline* editor, wchar_t* character) noexcept;

    NextByte nextByte_;
    std::exception_ptr failure_;
    history* history_;
    editline* editor_;
};

}  // namespace halvexctl
