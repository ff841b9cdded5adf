// Parses the words of a command line into commands, all of them before the first is executed.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/cli/command.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

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

template <typename Row>
std::vector<std::string_view> namesOf(std::span<const Row> rows) {
    std::vector<std::string_view> names;
    for (const Row& row : rows) {
        names.push_back(row.name);
    }
    return names;
}

[[noreturn]] void refuseUnknown(const std::string& word, std::span<const Verb> verbs) {
    if (word.size() > 1 && word.front() == '-' && !startsNumber(word)) {
        const std::string name = word.substr(0, word.find('='));
        throw UsageError(fmt::format("unknown option \"{}\"{}", word, suggestion(name, namesOf(toolOptions()))));
    }
    const std::string nearest = suggestion(word, namesOf(verbs));
    throw UsageError(
        fmt::format("unknown verb \"{}\"{}", word, nearest.empty() ? "; halvexctl --help lists them" : nearest));
}

/// An argument's words as the user typed them.
std::string joined(std::span<const std::string> words) { return fmt::format("{}", fmt::join(words, " ")); }

}  // namespace

const std::string& WordReader::takeArgument(std::string_view verb, std::string_view argument) {
    const bool isOption = !atEnd() && peek()->size() > 1 && peek()->front() == '-' && !nextIsNumber();
    if (atEnd() || peek()->empty() || isOption) {
        throw UsageError(fmt::format("{} needs its {}{}: halvexctl help {}", verb, argument,
                                     isOption ? fmt::format(" before \"{}\"", *peek()) : "", verb));
    }
    return take();
}

bool WordReader::nextIsNumber() const { return !atEnd() && startsNumber(words_[next_]); }

void readOwnOptions(WordReader& words, const ReadingRules& rules, std::string_view verb,
                    const std::function<void(std::string_view option, const std::string& value)>& keep) {
    const std::span<const OptionRow> options = findVerb(rules.verbs, verb)->options;
    while (!words.atEnd() && words.peek()->starts_with("--")) {
        const std::string& word = words.take();
        const std::size_t equals = word.find('=');
        const std::string name = word.substr(0, equals);
        const auto row =
            std::find_if(options.begin(), options.end(), [&name](const OptionRow& o) { return o.name == name; });
        if (row == options.end()) {
            throw UsageError(fmt::format("{} has no option \"{}\"{}", verb, name, suggestion(name, namesOf(options))));
        }
        const std::string value = equals != std::string::npos ? word.substr(equals + 1)
                                  : row->argument.empty()
                                      ? std::string()
                                      : words.takeArgument(verb, fmt::format("{} after {}", row->argument, name));
        if (row->argument.empty() != value.empty() || (row->argument.empty() && equals != std::string::npos)) {
            throw UsageError(row->argument.empty() ? fmt::format("{} of {} takes no value", name, verb)
                                                   : fmt::format("{} of {} needs its {}", name, verb, row->argument));
        }
        keep(row->name, value);
    }
}

std::vector<Command> readCommands(std::span<const std::string> words, const ReadingRules& rules) {
    std::vector<Command> commands;
    WordReader reader(words);
    while (!reader.atEnd()) {
        const std::string& word = reader.take();
        const Verb* verb = findVerb(rules.verbs, word);
        if (verb == nullptr) {
            refuseUnknown(word, rules.verbs);
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
