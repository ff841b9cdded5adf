// The command line of halvexboard.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace halvexboard {

/// The command line makes no sense; the message says what is wrong with it.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Options {
    enum class Action { run, summary, help };

    Action action = Action::help;
    std::string scenario;  ///< File, or name of a ready-made scenario; empty: "plain".
    std::optional<std::uint64_t> seed;
    std::string traceFile;
    bool console = false;
    bool realTime = false;
    bool children = false;
    std::vector<std::string> command;
    std::string summaryOf;
    std::string from, until;  ///< Log lines between which summary looks; empty: begin and end of the trace.
    bool isListed = false;    ///< The summary also lists what happened.
};

/// Throws UsageError.
Options parseOptions(const std::vector<std::string>& arguments);

/// What --help prints.
std::string helpText();

}  // namespace halvexboard
