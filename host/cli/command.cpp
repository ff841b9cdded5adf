// Parses the words of a command line into commands, all of them before the first is executed.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/cli/command.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "host/cli/suggestion.h"
#include "host/cli/usageError.h"
#include "host/output/units.h"

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

/// `before`: the verb before without an argument, or null.
[[noreturn]] void refuseUnknown(const std::string& word, std::span<const Verb> verbs, const Verb* before) {
    if (word.size() > 1 && word.front() == '-' && !startsNumber(word)) {
        const std::string name = word.substr(0, word.find('='));
        const std::string nearest = suggestion(name, namesOf(toolOptions()));
        const bool isKnown = std::ranges::find(toolOptions(), name, &OptionRow::name) != toolOptions().end();
        throw UsageError(isKnown ? fmt::format("\"{}\" belongs to the program's own command line", name)
                                 : fmt::format("unknown option \"{}\"{}", word, nearest));
    }
    const std::string nearest = suggestion(word, namesOf(verbs));
    if (nearest.empty() && before != nullptr && before->argument.starts_with('[')) {
        throw UsageError(fmt::format("\"{}\" is neither a verb nor the {} of {}; halvexctl help {} says more", word,
                                     before->argument, before->name, before->name));
    }
    throw UsageError(
        fmt::format("unknown verb \"{}\"{}", word, nearest.empty() ? "; halvexctl --help lists them" : nearest));
}

/// An argument's words as the user typed them.
std::string joined(std::span<const std::string> words) { return fmt::format("{}", fmt::join(words, " ")); }

}  // namespace

void WordReader::skipMark() {
    if (!optionsEnded_ && !atEnd() && words_[next_] == "--") {
        optionsEnded_ = true;
        ++next_;
    }
}

const std::string& WordReader::take() {
    const std::string& word = words_[next_++];
    skipMark();
    return word;
}

const std::string& WordReader::takeArgument(std::string_view verb, std::string_view argument) {
    if (atEnd() || peek()->empty() || nextIsOption()) {
        throw UsageError(fmt::format("{} needs its {}{}: halvexctl help {}", verb, argument,
                                     nextIsOption() ? fmt::format(" before \"{}\"", *peek()) : "", verb));
    }
    return take();
}

std::string WordReader::takeQuantity(std::string_view verb, std::string_view argument) {
    const std::string& number = takeArgument(verb, argument);
    return !atEnd() && isUnit(*peek()) ? number + " " + take() : number;
}

const std::string& WordReader::takeInput(std::string_view verb, std::string_view argument) {
    const std::string& path = takeArgument(verb, argument);
    if (path == "-") {
        claimInput(verb);
    }
    return path;
}

void WordReader::claimInput(std::string_view verb) {
    if (!inputReader_.empty()) {
        throw UsageError(fmt::format("{} cannot read standard input: {} reads it already", verb, inputReader_));
    }
    inputReader_ = verb;
}

bool WordReader::nextIsNumber() const { return !atEnd() && startsNumber(words_[next_]); }

bool WordReader::nextIsOption() const {
    return !optionsEnded_ && !atEnd() && peek()->size() > 1 && peek()->front() == '-' && !nextIsNumber();
}

std::optional<GivenOption> takeOption(WordReader& words, std::span<const OptionRow> options, std::string_view owner) {
    const std::string word = words.nextIsOption() ? *words.peek() : std::string();
    const std::size_t equals = word.find('=');
    const auto row = std::ranges::find(options, std::string_view(word).substr(0, equals), &OptionRow::name);
    if (row == options.end()) {
        return std::nullopt;
    }
    words.take();
    const std::string label = owner.empty() ? std::string(row->name) : fmt::format("{} of {}", row->name, owner);
    if (row->argument.empty()) {
        if (equals != std::string::npos) {
            throw UsageError(fmt::format("{} takes no value", label));
        }
        return GivenOption{row->name, ""};
    }
    const bool isNext = equals == std::string::npos;
    if (isNext && words.nextIsOption()) {
        throw UsageError(fmt::format("{} needs its {} before \"{}\"", label, row->argument, *words.peek()));
    }
    std::string value = !isNext ? word.substr(equals + 1) : words.atEnd() ? std::string() : words.take();
    if (value.empty()) {
        throw UsageError(fmt::format("{} needs its {}", label, row->argument));
    }
    return GivenOption{row->name, std::move(value)};
}

void readOwnOptions(WordReader& words, const ReadingRules& rules, std::string_view verb,
                    const std::function<void(std::string_view option, const std::string& value)>& keep) {
    const std::span<const OptionRow> options = findVerb(rules.verbs, verb)->options;
    std::vector<std::string_view> seen;
    while (words.nextIsOption()) {
        const std::optional<GivenOption> given = takeOption(words, options, verb);
        if (!given) {
            const std::string name = words.peek()->substr(0, words.peek()->find('='));
            throw UsageError(fmt::format("{} has no option \"{}\"{}", verb, name, suggestion(name, namesOf(options))));
        }
        if (std::ranges::find(seen, given->name) != seen.end()) {
            throw UsageError(fmt::format("{} of {} is given twice", given->name, verb));
        }
        seen.push_back(given->name);
        keep(given->name, given->value);
    }
}

std::vector<Command> readCommands(std::span<const std::string> words, const ReadingRules& rules) {
    std::vector<Command> commands;
    WordReader reader(words, rules.inputReader);
    while (!reader.atEnd()) {
        const std::string& word = reader.take();
        const Verb* verb = findVerb(rules.verbs, word);
        if (verb == nullptr) {
            const bool isBare = !commands.empty() && commands.back().argumentText.empty();
            refuseUnknown(word, rules.verbs, isBare ? commands.back().verb : nullptr);
        }
        if (verb->name == "run") {
            reader.claimInput(verb->name);
        }
        Command command;
        command.verb = verb;
        if (reader.nextIsOption() && (*reader.peek() == "--help" || *reader.peek() == "-h")) {
            reader.take();
            commands.push_back({findVerb(rules.verbs, "help"), word, word});
            continue;
        }
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
