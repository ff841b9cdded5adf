// The command line of halvexboard: words into options.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/launcher/options.h"

#include <charconv>
#include <utility>

namespace halvexboard {

const char* const kUsage =
    "Usage: halvexboard run [OPTION...] -- COMMAND [ARGUMENT...]\n"
    "       halvexboard summary [OPTION...] TRACE\n"
    "\n"
    "run starts COMMAND on a simulated controller; summary prints what a trace says about the clocks and exits with 1\n"
    "unless every enabled clock ended within 100 ns of the master.\n"
    "\n"
    "Options of run:\n"
    "  --scenario FILE    the board and what happens to it: a file, or the name of a ready-made scenario (default: "
    "plain)\n"
    "  --seed N           another run of the same scenario (default: the scenario's own seed)\n"
    "  --trace FILE       write what happens, one JSON object a line\n"
    "  --console          show syslog lines, faults and events on stderr as they happen\n"
    "  --time MODE        virtual (default): time moves with the program's calls and waits; real: as on a wall clock\n"
    "  --children         programs that COMMAND starts get boards of their own instead of the real machine\n"
    "  --help             this text\n"
    "\n"
    "Options of summary:\n"
    "  --from TEXT        begin at the log line TEXT\n"
    "  --until TEXT       end before the next log line TEXT\n"
    "  --list             list steps, steering, records, log lines, events and faults as they happened\n";

namespace {

std::uint64_t parseSeed(const std::string& text) {
    std::uint64_t seed = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seed);
    if (error != std::errc{} || end != text.data() + text.size() || text.empty())
        throw UsageError(std::string("--seed wants a number from 0 to 18446744073709551615, not ").append(text));
    return seed;
}

bool parseTime(const std::string& text) {
    if (text != "virtual" && text != "real")
        throw UsageError(std::string("--time is virtual or real, not ").append(text));
    return text == "real";
}

/// Walks through the words, handing out an option's value as the next word or after an equals sign.
class Words {
public:
    explicit Words(const std::vector<std::string>& words) : words_(words) {}

    bool atEnd() const { return at_ == words_.size(); }
    std::string next() {
        std::string word = words_[at_++];
        const std::size_t equals = word.find('=');
        if (word.starts_with("--") && equals != std::string::npos) {
            attached_ = word.substr(equals + 1);
            word.resize(equals);
        }
        return word;
    }
    std::string value(const std::string& option) {
        if (attached_) return std::exchange(attached_, std::nullopt).value();
        if (atEnd()) throw UsageError(option + " wants a value");
        return words_[at_++];
    }
    void refuseValue(const std::string& option) const {
        if (attached_) throw UsageError(option + " takes no value");
    }
    std::vector<std::string> rest() {
        const auto first = words_.begin() + static_cast<std::ptrdiff_t>(at_);
        at_ = words_.size();
        return {first, words_.end()};
    }

private:
    const std::vector<std::string>& words_;
    std::size_t at_ = 0;
    std::optional<std::string> attached_;
};

void parseRunOption(const std::string& word, Words& words, Options& options) {
    if (word == "--scenario")
        options.scenario = words.value(word);
    else if (word == "--seed")
        options.seed = parseSeed(words.value(word));
    else if (word == "--trace")
        options.traceFile = words.value(word);
    else if (word == "--time")
        options.realTime = parseTime(words.value(word));
    else if (word == "--console")
        options.console = true;
    else if (word == "--children")
        options.children = true;
    else
        throw UsageError("unknown option " + word);
    words.refuseValue(word);
}

Options parseRun(Words& words) {
    Options options;
    options.action = Options::Action::run;
    while (!words.atEnd()) {
        const std::string word = words.next();
        if (word == "--help") {
            options.action = Options::Action::help;
            return options;
        }
        if (word == "--") {
            options.command = words.rest();
            break;
        }
        if (!word.starts_with("-")) {
            options.command = words.rest();
            options.command.insert(options.command.begin(), word);
            break;
        }
        parseRunOption(word, words, options);
    }
    if (options.command.empty()) throw UsageError("run wants a command to run");
    return options;
}

void parseSummaryWord(const std::string& word, Words& words, Options& options) {
    if (word == "--from")
        options.from = words.value(word);
    else if (word == "--until")
        options.until = words.value(word);
    else if (word == "--list")
        options.isListed = true;
    else if (word.starts_with("-"))
        throw UsageError("unknown option " + word);
    else if (!options.summaryOf.empty())
        throw UsageError("summary takes one trace");
    else
        options.summaryOf = word;
    words.refuseValue(word);
}

Options parseSummary(Words& words) {
    Options options;
    options.action = Options::Action::summary;
    while (!words.atEnd()) parseSummaryWord(words.next(), words, options);
    if (options.summaryOf.empty()) throw UsageError("summary wants a trace");
    return options;
}

}  // namespace

Options parseOptions(const std::vector<std::string>& arguments) {
    Words words(arguments);
    if (words.atEnd()) throw UsageError("say what to do: run or summary");
    const std::string action = words.next();
    if (action == "run") return parseRun(words);
    if (action == "summary") return parseSummary(words);
    if (action == "--help" || action == "-h" || action == "help") return {};
    throw UsageError(std::string("unknown action ").append(action));
}

}  // namespace halvexboard
