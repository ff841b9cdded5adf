// A verb of the tool: everything about it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "host/cli/toolOptions.h"
#include "host/clocks/monitor.h"
#include "host/output/result.h"
#include "host/record/sessionRecorder.h"
#include "host/report/reportOptions.h"

namespace halvexctl {

class Session;
class WordReader;
struct Command;
struct ReadingRules;

/// A metadata document and its origin.
struct Document {
    std::string source;
    std::string text;
};

/// A clock that is read directly: an interface, a node under /dev/ptp, or CLOCK_REALTIME.
struct ClockName {
    std::string name;
};

using Argument = std::variant<std::monostate, std::int64_t, std::int32_t, std::string, ClockName, Document,
                              MonitorOptions, RecordOptions, ReportOptions>;

/// A new verb needs a row, a parser of its argument, an action, and a schema of its result.
struct Verb {
    std::string_view name;
    std::string_view argument;  ///< "FILE [DURATION]"; empty: none.
    std::string_view summary;
    std::string_view help;     ///< Sentences; a newline ends a paragraph.
    bool needsTimekeeper;      ///< Initialises the library first; see Command::needsTimekeeper.
    std::string_view returns;  ///< The definition of its values in docs/schema/halvexctl.schema.json.
    std::span<const OptionRow> options;
    Argument (*read)(WordReader& words, const ReadingRules& rules);  ///< Null: takes no argument.
    void (*carryOut)(Session& session, const Command& command, Result& result);
};

/// Null if there is no such verb.
inline const Verb* findVerb(std::span<const Verb> verbs, std::string_view name) {
    const auto found = std::ranges::find(verbs, name, &Verb::name);
    return found == verbs.end() ? nullptr : &*found;
}

}  // namespace halvexctl
