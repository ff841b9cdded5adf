// The words of a command line read into commands, all of them before the first is carried out.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/cli/verb.h"

namespace halvexctl {

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
    std::span<const Verb> verbs;  ///< All there are.
    bool yes = false;             ///< The user confirmed what is otherwise refused.
};

/// A verb with its argument, read and checked.
struct Command {
    const Verb* verb = nullptr;
    std::string argumentText;
    Argument argument;
};

/// Reads the options of a verb's own, up to the first word that is none; `keep` gets each with its value, if it has
/// one.
void readOwnOptions(WordReader& words, const ReadingRules& rules, std::string_view verb,
                    const std::function<void(std::string_view option, const std::string& value)>& keep);

/// Reads all words or throws UsageError: unknown verbs and options with a suggestion, missing and malformed arguments,
/// and what is refused without confirmation. Nothing has been carried out then. Reentrant.
std::vector<Command> readCommands(std::span<const std::string> words, const ReadingRules& rules);

}  // namespace halvexctl
