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
    "run starts COMMAND on a simulated controller; summary prints what a trace says about the clocks and exits with 1\n"
    "unless every enabled clock ended within 100 ns of the master.";
constexpr const char* kHelpIsThere = "; halvexboard --help lists the options";

/// CLI11's help with one usage line per action.
class TwoActions : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App*, std::string) const override {
        return "Usage: halvexboard run [OPTION...] -- COMMAND [ARGUMENT...]\n"
               "       halvexboard summary [OPTION...] TRACE\n";
    }
};

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
        ->type_name("FILE");
    app.add_option_function<std::string>(
           "--seed", [&options](const std::string& text) { options.seed = seedOf(text); },
           "Another run of the same scenario (default: the scenario's own seed)")
        ->type_name("N");
    app.add_option("--trace", options.traceFile, "Write what happens, one JSON object a line")->type_name("FILE");
    app.add_flag("--console", options.console, "Show syslog lines, faults and events on stderr as they happen")
        ->disable_flag_override();
    app.add_option_function<std::string>(
           "--time", [&options](const std::string& mode) { options.realTime = mode == "real"; },
           "virtual (default): time moves with the program's calls and waits; real: as on a wall clock")
        ->type_name("MODE")
        ->check(CLI::IsMember({"virtual", "real"}));
    app.add_flag("--children", options.children,
                 "Programs that COMMAND starts get boards of their own instead of the real machine")
        ->disable_flag_override();
}

void declareSummary(CLI::App& app, Options& options) {
    app.option_defaults()->group("Options of summary");
    app.add_option("--from", options.from, "Begin at the log line TEXT")->type_name("TEXT");
    app.add_option("--until", options.until, "End before the next log line TEXT")->type_name("TEXT");
    app.add_flag("--list", options.isListed,
                 "List steps, steering, records, log lines, events and faults as they happened")
        ->disable_flag_override();
}

/// Returns false if help is requested. Throws UsageError.
bool parse(CLI::App& app, std::vector<std::string> words) {
    std::reverse(words.begin(), words.end());  // the parser consumes them from the end
    try {
        app.parse(std::move(words));
    } catch (const CLI::CallForHelp&) {
        return false;
    } catch (const CLI::ParseError& error) {
        throw UsageError(error.what() + std::string(kHelpIsThere));
    }
    const std::vector<std::string> rest = app.remaining();
    if (!rest.empty() && rest.front().starts_with("-"))
        throw UsageError("there is no option " + rest.front() + kHelpIsThere);
    return true;
}

Options parseRun(std::vector<std::string> words) {
    Options options;
    CLI::App app;
    declareRun(app, options);
    const auto dashes = std::find(words.begin(), words.end(), "--");
    const std::vector<std::string> command(dashes, words.end());
    words.erase(dashes, words.end());
    if (!parse(app, std::move(words))) return {};
    options.action = Options::Action::run;
    options.command = app.remaining();
    const bool hasCommand = !options.command.empty();  // then "--" is one of its arguments
    options.command.insert(options.command.end(), command.begin() + (hasCommand || command.empty() ? 0 : 1),
                           command.end());
    if (options.command.empty()) throw UsageError("run needs a command: halvexboard run -- COMMAND [ARGUMENT...]");
    return options;
}

Options parseSummary(std::vector<std::string> words) {
    Options options;
    CLI::App app;
    app.allow_extras();
    declareSummary(app, options);
    if (!parse(app, std::move(words))) return {};
    if (app.remaining().size() != 1) throw UsageError("summary needs one trace: halvexboard summary [OPTION...] TRACE");
    options.action = Options::Action::summary;
    options.summaryOf = app.remaining().front();
    return options;
}

}  // namespace

std::string helpText() {
    Options ignored;
    CLI::App app(kIntroduction, "halvexboard");
    app.formatter(std::make_shared<TwoActions>());
    declareRun(app, ignored);
    declareSummary(app, ignored);
    return app.help();
}

Options parseOptions(const std::vector<std::string>& arguments) {
    const std::string action = arguments.empty() ? "" : arguments.front();
    if (action == "--help" || action == "-h" || action == "help") return {};
    if (action == "run") return parseRun({arguments.begin() + 1, arguments.end()});
    if (action == "summary") return parseSummary({arguments.begin() + 1, arguments.end()});
    throw UsageError("run or summary must come first" + (action.empty() ? action : ", not " + action) + kHelpIsThere);
}

}  // namespace halvexboard
