// The options of the command line, before and between the verbs.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <span>
#include <string>
#include <vector>

namespace halvexctl {

struct Options {
    std::string library;  ///< Empty: the default.
    bool json = false;    ///< Known also when the line is wrong.
    bool echo = false;
    bool yes = false;
    std::vector<std::string> words;  ///< The verbs and their arguments, in order.
};

/// The result of parsing the command line.
struct ReadOptions {
    Options options;
    bool isOver = false;  ///< `text` is the requested output or the error.
    bool isUsageError = false;
    std::string text;
};

/// Parses the words behind the program's name, up to "--"; throws nothing of its own. Reentrant.
ReadOptions readOptions(std::span<const char* const> arguments);

}  // namespace halvexctl
