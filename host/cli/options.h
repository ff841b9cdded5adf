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

/// The result of parsing the command line.
struct ReadOptions {
    Options options;
    bool isOver = false;  ///< `text` is the requested output or the error.
    bool isUsageError = false;
    std::string text;
};

/// Parses the command line; throws nothing of its own. Reentrant.
ReadOptions readOptions(int argc, const char* const* argv);

}  // namespace halvexctl
