// Lists of options and verbs for the manual page, generated from their table.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/cli/manual.h"

#include <fmt/format.h>

#include <sstream>

#include "host/cli/help.h"
#include "host/cli/verbTable.h"

namespace halvexctl {
namespace {

constexpr std::size_t kLongestLine = 78;

/// Puts each sentence on its own line and escapes leading control characters.
std::string asText(std::string_view sentences) {
    std::string text;
    while (!sentences.empty()) {
        std::size_t end = sentences.find(". ");
        end = end == std::string_view::npos ? sentences.size() : end + 1;
        std::istringstream lines(wrapped(sentences.substr(0, end), "", kLongestLine));
        for (std::string line; std::getline(lines, line);) {
            text += (line.starts_with('.') || line.starts_with('\'') ? "\\&" : "") + line + "\n";
        }
        sentences.remove_prefix(std::min(end + 1, sentences.size()));
    }
    return text;
}

/// "FILE [DURATION]" as "Ar FILE Op Ar DURATION".
std::string asMacros(std::string_view argument) {
    std::istringstream words{std::string(argument)};
    std::string macros;
    for (std::string word; words >> word;) {
        const bool isOptional = word.front() == '[';
        macros += isOptional ? " Op Ar " + word.substr(1, word.size() - 2) : " Ar " + word;
    }
    return macros;
}

std::string optionList(std::span<const OptionRow> options) {
    if (options.empty()) {
        return "";
    }
    std::string list = ".Bl -tag -width Ds\n";
    for (const OptionRow& option : options) {
        const std::string letter = option.letter == 0 ? "" : fmt::format(" Fl {} ,", option.letter);
        list += fmt::format(".It{} Fl Fl {}{}\n{}", letter, option.name.substr(2), asMacros(option.argument),
                            asText(fmt::format("{}.", option.help)));
    }
    return list + ".El\n";
}

}  // namespace

std::string manualLists() {
    std::string lists =
        fmt::format("The options are:\n{}.Pp\nThe verbs are:\n.Bl -tag -width Ds\n", optionList(toolOptions()));
    for (const Verb& verb : verbs()) {
        lists += fmt::format(".It Cm {}{}\n{}{}{}", verb.name, asMacros(verb.argument),
                             asText(fmt::format("{}.", verb.summary)), asText(verb.help), optionList(verb.options));
    }
    return lists + ".El\n";
}

}  // namespace halvexctl
