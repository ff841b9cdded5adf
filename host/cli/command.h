// Parses the words of a command line into commands, all of them before the first is executed.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/cli/verb.h"

namespace halvexctl {

/// The words not yet parsed; the first "--" is skipped, and what follows it is no option. Threads: thread-bound.
class WordReader {
public:
    explicit WordReader(std::span<const std::string> words, std::string_view inputReader = {})
        : words_(words), inputReader_(inputReader) {
        skipMark();
    }

    bool atEnd() const { return next_ == words_.size(); }
    const std::string& take();
    /// Each throws UsageError if there is none.
    const std::string& takeArgument(std::string_view verb, std::string_view argument);
    std::string takeQuantity(std::string_view verb, std::string_view argument);      ///< Its unit may be the next word.
    const std::string& takeInput(std::string_view verb, std::string_view argument);  ///< A file to read.
    void claimInput(std::string_view verb);  ///< UsageError if standard input has another reader.
    bool nextIsNumber() const;               ///< Whether an optional number follows.
    bool nextIsOption() const;
    const std::string* peek() const { return atEnd() ? nullptr : &words_[next_]; }
    std::size_t position() const { return next_; }

private:
    void skipMark();

    std::span<const std::string> words_;
    std::size_t next_ = 0;
    bool optionsEnded_ = false;
    std::string_view inputReader_;
};

/// Context for parsing an argument.
struct ReadingRules {
    std::span<const Verb> verbs;        ///< All verbs.
    bool yes = false;                   ///< The user confirmed dangerous operations.
    std::string_view inputReader = {};  ///< The verb that reads standard input already; empty: none.
};

/// A verb with its parsed and validated argument.
struct Command {
    const Verb* verb = nullptr;
    std::string argumentText;
    Argument argument;

    /// Whether the library is initialised first. A clock given by name is read without it.
    bool needsTimekeeper() const { return verb->needsTimekeeper && !std::holds_alternative<ClockName>(argument); }
};

/// An option as given.
struct GivenOption {
    std::string_view name;
    std::string value;  ///< Empty if it takes none.
};

/// Takes the next word if it is one of `options`, with its value. Throws UsageError for a missing, empty or superfluous
/// value. `owner`: the verb, or empty.
std::optional<GivenOption> takeOption(WordReader& words, std::span<const OptionRow> options, std::string_view owner);

/// Parses a verb's own options, up to the first other word; passes each, with its value if any, to `keep`.
void readOwnOptions(WordReader& words, const ReadingRules& rules, std::string_view verb,
                    const std::function<void(std::string_view option, const std::string& value)>& keep);

/// Parses all words or throws UsageError: unknown verbs and options with a suggestion, missing and malformed arguments,
/// and operations that need confirmation. Executes nothing. Reentrant.
std::vector<Command> readCommands(std::span<const std::string> words, const ReadingRules& rules);

}  // namespace halvexctl
