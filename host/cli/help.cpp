// Help texts, generated from the table of verbs and options.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/cli/help.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/cli/verb.h"

namespace halvexctl {
namespace {

constexpr std::size_t kWidth = 116;

constexpr const char* kIntroduction =
    "Usage: halvexctl [OPTIONS] VERB [ARGUMENT] [VERB [ARGUMENT]]...\n"
    "Drives a timekeeper library as its host would: verbs are carried out one after the other in one session.\n"
    "The library is initialised before the first verb that needs it and finalised at the end.\n"
    "The whole line is checked before anything is done; the first verb that fails ends the session.\n";

constexpr const char* kEpilogue =
    "Offsets and durations carry a unit (+1.5ms, -399ns, 10s, 5min), corrections ppb or ppm (-1250, -1250ppb, 12ppm).\n"
    "halvexctl VERB --help says more about a verb.\n"
    "Exit status: 0 all well, 1 warnings, 2 the command line is wrong (nothing was done), 3 something failed,\n"
    "4 refused: another process owns the clocks (nothing was done).\n\n"
    "Example: halvexctl info get step +1.5ms wait 2s freq -1250 limits drift 10s get\n";

constexpr const char* kInitialises =
    "Initialises the library first if that is still to be done: it steps and aligns every clock and starts phc2sys. "
    "Refused without --yes while another process owns the clocks.";

std::string optionLines(std::span<const OptionRow> options, std::string_view indent, int width) {
    std::string lines;
    for (const OptionRow& option : options) {
        const std::string letter = option.letter == 0 ? "" : fmt::format("-{},", option.letter);
        const std::string usage = fmt::format("{}{} {}", letter, option.name, option.argument);
        lines += fmt::format("{}{:<{}} {}\n", indent, usage, width, option.help);
    }
    return lines;
}

}  // namespace

std::string usageOf(const Verb& verb) {
    return verb.argument.empty() ? std::string(verb.name) : fmt::format("{} {}", verb.name, verb.argument);
}

std::string wrapped(std::string_view text, std::string_view indent, std::size_t width) {
    std::string lines;
    std::size_t column = 0;
    while (!text.empty()) {
        const std::string_view word = text.substr(0, text.find(' '));
        text.remove_prefix(std::min(word.size() + 1, text.size()));
        if (column != 0 && column + 1 + word.size() <= width) {
            lines += ' ';
        } else {
            lines += (column == 0 ? "" : "\n") + std::string(indent);
            column = indent.size() - 1;
        }
        lines += word;
        column += 1 + word.size();
    }
    return lines.empty() ? lines : lines + "\n";
}

std::string helpText(std::span<const Verb> verbs) {
    std::string text = fmt::format("{}\nOptions:\n{}\nVerbs:\n", kIntroduction, optionLines(toolOptions(), "  ", 20));
    for (const Verb& verb : verbs) {
        text += fmt::format("  {:<27} {}\n", usageOf(verb), verb.summary);
    }
    return text + "\n" + kEpilogue;
}

std::string verbHelpText(const Verb& verb) {
    return fmt::format("halvexctl {}\n  {}.\n{}{}{}", usageOf(verb), verb.summary, wrapped(verb.help, "  ", kWidth),
                       verb.needsTimekeeper ? wrapped(kInitialises, "  ", kWidth) : "",
                       optionLines(verb.options, "    ", 20));
}

std::string helpAskedFor(std::span<const std::string> words, std::span<const Verb> verbs) {
    const Verb* asked = nullptr;
    for (const std::string& word : words) {
        const Verb* verb = findVerb(verbs, word);
        asked = verb == nullptr ? asked : verb;
    }
    return asked == nullptr ? helpText(verbs) : verbHelpText(*asked);
}

}  // namespace halvexctl
