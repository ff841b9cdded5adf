// The command line of halvexboard; the only file that includes its parser.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/launcher/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <memory>

namespace halvexboard {

namespace {

constexpr const char* kIntroduction =
    "run starts COMMAND on a simulated controller, attach on one that is running; ps lists those and who is on them; "
    "summary prints what a trace says about the clocks and exits with 1\n"
    "unless every enabled clock ended within 100 ns of the master; list shows what scenarios can say.";
constexpr const char* kHelpIsThere = "; halvexboard --help says more";

struct ActionRow {
    const char* name;
    const char* usage;
};
constexpr ActionRow kRun = {"run", "halvexboard run [OPTION...] -- COMMAND [ARGUMENT...]"};
constexpr ActionRow kAttach = {"attach", "halvexboard attach [OPTION...] -- COMMAND [ARGUMENT...]"};
constexpr ActionRow kPs = {"ps", "halvexboard ps"};
constexpr ActionRow kSummary = {"summary", "halvexboard summary [OPTION...] TRACE"};
constexpr ActionRow kList = {"list", "halvexboard list [TOPIC]"};

/// CLI11's help with one usage line per action, or that of one.
class Usage : public CLI::Formatter {
public:
    explicit Usage(std::string action) : action_(std::move(action)) {}

    std::string make_usage(const CLI::App*, std::string) const override {
        std::string text;
        for (const ActionRow& row : {kRun, kAttach, kPs, kSummary, kList})
            if (action_.empty() || action_ == row.name)
                text += std::string(text.empty() ? "Usage: " : "       ") + row.usage + "\n";
        return text;
    }

private:
    std::string action_;
};

/// The parser itself takes an option that follows for the value.
std::string refuseNoValue(const std::string& text) {
    return text.empty() || text.starts_with("--") ? "needs a value, not '" + text + "'" : "";
}

/// Always decimal: a leading zero does not mean octal.
std::uint64_t seedOf(const std::string& text) {
    std::uint64_t seed = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seed);
    if (error != std::errc{} || end != text.data() + text.size())
        throw CLI::ValidationError("--seed", "must be a number from 0 to 18446744073709551615, not " + text);
    return seed;
}

void declareRun(CLI::App& app, Options& options) {
    app.prefix_command();  // everything from the first plain word on belongs to the command
    app.option_defaults()->group("Options of run");
    app.add_option("--scenario", options.scenario,
                   "The board and what happens to it: a file, or the name of a ready-made scenario (default: plain)")
        ->type_name("FILE")
        ->check(refuseNoValue);
    app.add_option_function<std::string>(
           "--seed", [&options](const std::string& text) { options.seed = seedOf(text); },
           "Another run of the same scenario (default: the scenario's own seed)")
        ->type_name("N");
    app.add_option("--trace", options.traceFile, "Write what happens, one JSON object a line")
        ->type_name("FILE")
        ->check(refuseNoValue);
    app.add_flag("--console", options.console, "Show syslog lines, faults and events on stderr as they happen")
        ->disable_flag_override();
    app.add_option_function<std::string>(
           "--time", [&options](const std::string& mode) { options.realTime = mode == "real"; },
           "virtual (default): time moves with the program's calls and waits; real: as on a wall clock")
        ->type_name("MODE")
        ->check(CLI::IsMember({"virtual", "real"}));
    app.add_option_function<std::string>(
           "--outside",
           [&options](const std::string& name) { options.outside += (options.outside.empty() ? "" : " ") + name; },
           "Let programs of this name run on the real machine; may be given several times")
        ->type_name("NAME")
        ->check(refuseNoValue)
        ->trigger_on_parse();
    app.add_flag("--quiet", options.isQuiet, "Do not report scenario and seed on stderr")->disable_flag_override();
}

void declareAttach(CLI::App& app, Options& options) {
    app.prefix_command();
    app.option_defaults()->group("Options of attach");
    app.add_option("--board", options.boardPid,
                   "The board of this halvexboard run, as ps lists it (default: the only one)")
        ->type_name("PID")
        ->check(CLI::PositiveNumber);
}

void declareSummary(CLI::App& app, Options& options) {
    app.option_defaults()->group("Options of summary");
    app.add_option("--from", options.from, "Begin at the log line TEXT")->type_name("TEXT")->check(refuseNoValue);
    app.add_option("--until", options.until, "End before the next log line TEXT")
        ->type_name("TEXT")
        ->check(refuseNoValue);
    app.add_flag("--list", options.isListed,
                 "List steps, steering, records, log lines, events and faults as they happened")
        ->disable_flag_override();
}

void declare(CLI::App& app, Options& options, const std::string& action) {
    if (action.empty() || action == kRun.name) declareRun(app, options);
    if (action.empty() || action == kAttach.name) declareAttach(app, options);
    if (action.empty() || action == kSummary.name) declareSummary(app, options);
}

std::string optionNames(const std::string& action) {
    std::string names;
    for (const OptionRow& row : optionRows())
        if (row.action == action) names += (names.empty() ? " has " : ", ") + row.name;
    return action + (names.empty() ? " has none" : names);
}

Options helpOn(const char* action) {
    Options options;
    options.topic = action;
    return options;
}

/// The parser's own words for a flag with a value, and for an option without one, say little.
std::string inPlainWords(const std::string& message) {
    if (const std::size_t none = message.find(": 1 required "); none != std::string::npos)
        return message.substr(0, none) + " needs its " + message.substr(none + 13, message.rfind(' ') - none - 13);
    const std::size_t end = message.find(" was given a disallowed flag override");
    return end == std::string::npos ? message : "--" + message.substr(0, end) + " takes no value";
}

/// Returns false if help is requested. Throws UsageError.
bool parse(CLI::App& app, std::vector<std::string> words, const char* action) {
    // The parser takes the word behind "--option=" for its value.
    const auto empty = std::find_if(words.begin(), words.end(), [&app](const std::string& word) {
        return word.ends_with('=') && app.get_option_no_throw(word.substr(0, word.size() - 1)) != nullptr;
    });
    if (empty != words.end()) throw UsageError(*empty + " needs a value" + kHelpIsThere);
    std::reverse(words.begin(), words.end());  // the parser consumes them from the end
    try {
        app.parse(std::move(words));
    } catch (const CLI::CallForHelp&) {
        return false;
    } catch (const CLI::ParseError& error) {
        throw UsageError(inPlainWords(error.what()) + kHelpIsThere);
    }
    const std::vector<std::string> rest = app.remaining();
    if (!rest.empty() && rest.front().starts_with("-") && rest.front() != "-")
        throw UsageError("there is no option " + rest.front() + "; " + optionNames(action) + kHelpIsThere);
    return true;
}

/// Of run and attach: their options, then a command.
Options parseRun(const ActionRow& action, std::vector<std::string> words) {
    Options options;
    CLI::App app;
    declare(app, options, action.name);
    const auto dashes = std::find(words.begin(), words.end(), "--");
    const std::vector<std::string> command(dashes, words.end());
    words.erase(dashes, words.end());
    if (!parse(app, std::move(words), action.name)) return helpOn(action.name);
    options.action = action.name == std::string_view(kRun.name) ? Options::Action::run : Options::Action::attach;
    options.command = app.remaining();
    const bool hasCommand = !options.command.empty();  // then "--" is one of its arguments
    options.command.insert(options.command.end(), command.begin() + (hasCommand || command.empty() ? 0 : 1),
                           command.end());
    if (options.command.empty() || options.command.front().empty())
        throw UsageError(std::string(action.name) + " needs a command: " + action.usage);
    return options;
}

Options parseSummary(std::vector<std::string> words) {
    Options options;
    CLI::App app;
    app.allow_extras();
    declareSummary(app, options);
    if (!parse(app, std::move(words), kSummary.name)) return helpOn(kSummary.name);
    if (app.remaining().size() != 1) throw UsageError(std::string("summary needs one trace: ") + kSummary.usage);
    options.action = Options::Action::summary;
    options.summaryOf = app.remaining().front();
    return options;
}

Options parseTopic(Options::Action action, const std::vector<std::string>& arguments) {
    if (arguments.size() > 2) throw UsageError(arguments.front() + " needs one topic, not " + arguments[2] + " too");
    Options options;
    options.action = action;
    if (arguments.size() == 2) options.topic = arguments[1];
    return options;
}

Options parseList(const std::vector<std::string>& arguments) {
    CLI::App app;
    app.allow_extras();
    if (!parse(app, {arguments.begin() + 1, arguments.end()}, kList.name)) return helpOn(kList.name);
    return parseTopic(Options::Action::list, arguments);
}

Options parsePs(const std::vector<std::string>& arguments) {
    CLI::App app;
    app.allow_extras();
    if (!parse(app, {arguments.begin() + 1, arguments.end()}, kPs.name)) return helpOn(kPs.name);
    if (!app.remaining().empty()) throw UsageError(std::string("ps takes no argument: ") + kPs.usage);
    Options options;
    options.action = Options::Action::ps;
    return options;
}

}  // namespace

std::vector<OptionRow> optionRows() {
    std::vector<OptionRow> rows;
    for (const char* const action : {kRun.name, kAttach.name, kSummary.name}) {
        Options ignored;
        CLI::App app;
        declare(app, ignored, action);
        for (const CLI::Option* const option : app.get_options())
            if (option != app.get_help_ptr())
                rows.push_back({action, option->get_name(),
                                option->get_items_expected_max() == 0 ? "" : option->get_type_name(),
                                option->get_description()});
    }
    return rows;
}

std::string helpText(const std::string& action) {
    Options ignored;
    CLI::App app(kIntroduction, "halvexboard");
    app.formatter(std::make_shared<Usage>(action));
    declare(app, ignored, action);
    return app.help();
}

Options parseOptions(const std::vector<std::string>& arguments) {
    const std::string action = arguments.empty() ? "" : arguments.front();
    if (action == "--help" || action == "-h" || action == "help") return parseTopic(Options::Action::help, arguments);
    if (action == "--version") return parseTopic(Options::Action::version, {action});
    if (action == "--describe") return parseTopic(Options::Action::describe, arguments);
    if (action == "list") return parseList(arguments);
    if (action == "ps") return parsePs(arguments);
    for (const ActionRow& row : {kRun, kAttach})
        if (action == row.name) return parseRun(row, {arguments.begin() + 1, arguments.end()});
    if (action == "summary") return parseSummary({arguments.begin() + 1, arguments.end()});
    throw UsageError("run, attach, ps, summary or list must come first" +
                     (action.empty() ? action : ", not " + action) + kHelpIsThere);
}

}  // namespace halvexboard
