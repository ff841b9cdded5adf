// The words of a command line read into commands, all of them before the first is carried out.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/cli/command.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/cli/options.h"
#include "host/cli/suggestion.h"
#include "host/cli/usageError.h"

namespace halvexctl {
namespace {

bool startsNumber(std::string_view word) {
    if (!word.empty() && (word.front() == '+' || word.front() == '-')) {
        word.remove_prefix(1);
    }
    if (!word.empty() && word.front() == '.') {
        word.remove_prefix(1);
    }
    return !word.empty() && word.front() >= '0' && word.front() <= '9';
}

[[noreturn]] void refuseUnknown(const std::string& word) {
    if (word.size() > 1 && word.front() == '-' && !startsNumber(word)) {
        throw UsageError(fmt::format("unknown option \"{}\"{}", word, suggestion(word, optionNames())));
    }
    std::vector<std::string_view> names;
    for (const Verb& verb : verbs()) {
        names.push_back(verb.name);
    }
    const std::string nearest = suggestion(word, names);
    throw UsageError(
        fmt::format("unknown verb \"{}\"{}", word, nearest.empty() ? "; halvexctl --help lists them" : nearest));
}

/// The words taken by an argument as the user typed them.
std::string joined(std::span<const std::string> words) { return fmt::format("{}", fmt::join(words, " ")); }

}  // namespace

const std::string& WordReader::takeArgument(std::string_view verb, std::string_view argument) {
    if (atEnd()) {
        throw UsageError(fmt::format("{} needs its {}: halvexctl help {}", verb, argument, verb));
    }
    return take();
}

bool WordReader::nextIsNumber() const { return !atEnd() && startsNumber(words_[next_]); }

const Verb* findVerb(std::string_view name) {
    for (const Verb& verb : verbs()) {
        if (verb.name == name) {
            return &verb;
        }
    }
    return nullptr;
}

std::vector<Command> readCommands(std::span<const std::string> words, const ReadingRules& rules) {
    std::vector<Command> commands;
    WordReader reader(words);
    while (!reader.atEnd()) {
        const std::string& word = reader.take();
        const Verb* verb = findVerb(word);
        if (verb == nullptr) {
            refuseUnknown(word);
        }
        Command command;
        command.verb = verb;
        if (verb->read != nullptr) {
            const std::size_t start = reader.position();
            command.argument = verb->read(reader, rules);
            command.argumentText = joined(words.subspan(start, reader.position() - start));
        }
        commands.push_back(std::move(command));
    }
    return commands;
}

}  // namespace halvexctl
