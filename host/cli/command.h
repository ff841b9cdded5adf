// Parses the words of a command line into commands, all of them before the first is executed.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/cli/verb.h"

namespace halvexctl {

/// The words not yet parsed. Threads: thread-bound.
class WordReader {
public:
    explicit WordReader(std::span<const std::string> words) : words_(words) {}

    bool atEnd() const { return next_ == words_.size(); }
    const std::string& take() { return words_[next_++]; }
    const std::string& takeArgument(std::string_view verb,
                                    std::string_view argument);  ///< UsageError if there is none.
    bool nextIsNumber() const;                                   ///< Whether an optional number follows.
    const std::string* peek() const { return atEnd() ? nullptr : &words_[next_]; }
    std::size_t position() const { return next_; }

private:
    std::span<const std::string> words_;
    std::size_t next_ = 0;
};

/// Context for parsing an argument.
struct ReadingRules {
    std::span<const Verb> verbs;  ///< All verbs.
    bool yes = false;             ///< The user confirmed dangerous operations.
};

/// A verb with its parsed and validated argument.
struct Command {
    const Verb* verb = nullptr;
    std::string argumentText;
    Argument argument;

    /// Whether the library is initialised first. A clock given by name is read without it.
    bool needsTimekeeper() const { return verb->needsTimekeeper && !std::holds_alternative<ClockName>(argument); }
};

/// Parses a verb's own options, up to the first other word; passes each, with its value if any, to `keep`.
void readOwnOptions(WordReader& words, const ReadingRules& rules, std::string_view verb,
                    const std::function<void(std::string_view option, const std::string& value)>& keep);

/// Parses all words or throws UsageError: unknown verbs and options with a suggestion, missing and malformed arguments,
/// and operations that need confirmation. Executes nothing. Reentrant.
std::vector<Command> readCommands(std::span<const std::string> words, const ReadingRules& rules);

}  // namespace halvexctl
