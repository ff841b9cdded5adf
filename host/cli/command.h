// The words of a command line read into commands, all of them before the first is carried out.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/clocks/monitor.h"
#include "host/output/result.h"
#include "host/record/sessionRecorder.h"
#include "host/report/reportOptions.h"

namespace halvexctl {

class Session;
struct Command;

/// A metadata document and where it came from.
struct Document {
    std::string source;
    std::string text;
};

using Argument = std::variant<std::monostate, std::int64_t, std::int32_t, std::string, Document, MonitorOptions,
                              RecordOptions, ReportOptions>;

/// The words that are still to be read. Threads: thread-bound.
class WordReader {
public:
    explicit WordReader(std::span<const std::string> words) : words_(words) {}

    bool atEnd() const { return next_ == words_.size(); }
    const std::string& take() { return words_[next_++]; }
    const std::string& takeArgument(std::string_view verb,
                                    std::string_view argument);  ///< UsageError when there is none.
    bool nextIsNumber() const;                                   ///< Whether an optional number follows.
    const std::string* peek() const { return atEnd() ? nullptr : &words_[next_]; }
    std::size_t position() const { return next_; }

private:
    std::span<const std::string> words_;
    std::size_t next_ = 0;
};

/// What the reader of an argument may have to know.
struct ReadingRules {
    bool yes = false;  ///< The user confirmed what is otherwise refused.
};

/// One verb of the tool: everything there is to know about it is a row of the table.
struct Verb {
    std::string_view name;
    std::string_view argument;  ///< As the help shows it; empty: none.
    std::string_view summary;
    std::string_view help;
    bool needsTimekeeper;                                            ///< The library is initialised first.
    Argument (*read)(WordReader& words, const ReadingRules& rules);  ///< Null: takes no argument.
    void (*carryOut)(Session& session, const Command& command, Result& result);
};

/// A verb with its argument, read and checked.
struct Command {
    const Verb* verb = nullptr;
    std::string argumentText;
    Argument argument;
};

std::span<const Verb> verbs();
const Verb* findVerb(std::string_view name);

/// Reads all words or throws UsageError: unknown verbs and options with a suggestion, missing and malformed arguments,
/// and what is refused without confirmation. Nothing has been carried out then. Reentrant.
std::vector<Command> readCommands(std::span<const std::string> words, const ReadingRules& rules);

}  // namespace halvexctl
