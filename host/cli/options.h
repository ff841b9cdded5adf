// The options of the command line, before and between the verbs.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>
#include <vector>

namespace halvexctl {

struct Options {
    std::string library;  ///< Empty: the default.
    bool json = false;
    bool echo = false;
    bool yes = false;
    std::vector<std::string> words;  ///< The verbs and their arguments, in order.
};

/// What is to be done about the command line.
struct ReadOptions {
    Options options;
    bool isOver = false;  ///< A text was asked for, or the line is wrong: `text` says it.
    bool isUsageError = false;
    std::string text;
};

/// Reads the command line; throws nothing of its own. Reentrant.
ReadOptions readOptions(int argc, const char* const* argv);

}  // namespace halvexctl
