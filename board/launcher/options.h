// The command line of halvexboard.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace halvexboard {

/// The command line is invalid; what() says why.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Options {
    enum class Action { run, attach, ps, summary, list, help, version, describe };

    Action action = Action::help;
    std::string topic;  ///< Of help, list or describe (a shell); empty: everything.
    bool isQuiet = false;
    std::string scenario;  ///< File, or name of a built-in scenario; empty: "plain".
    std::optional<std::uint64_t> seed;
    std::string traceFile;
    bool console = false;
    bool realTime = false;
    std::string outside;  ///< Names of programs, with spaces between them.
    int boardPid = 0;     ///< Of the board to attach to; 0: the only one.
    std::vector<std::string> command;
    std::string summaryOf;
    std::string from, until;  ///< Log lines that limit the summary; empty: start and end of the trace.
    bool isListed = false;    ///< The summary also lists the happenings.
};

/// Throws UsageError.
Options parseOptions(const std::vector<std::string>& arguments);

/// The text of --help, for all actions or for one.
std::string helpText(const std::string& action = "");

/// An option as the help names it.
struct OptionRow {
    std::string action, name, argument, help;
};
std::vector<OptionRow> optionRows();

}  // namespace halvexboard
