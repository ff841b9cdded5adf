// The options of the command line, before and between the verbs.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/cli/options.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <array>
#include <memory>

#include "host/cli/command.h"

namespace halvexctl {
namespace {

constexpr std::array<std::string_view, 6> kOptionNames{"--library", "--json", "--echo", "--yes", "--help", "--version"};
constexpr const char* kVersionText = "halvexctl " HALVEX_VERSION;

constexpr const char* kIntroduction =
    "Drives a timekeeper library as its host would: verbs are carried out one after the other in one session.\n"
    "The library is initialised before the first verb that needs it and finalised at the end.\n"
    "The whole line is checked before anything is done; the first verb that fails ends the session.";

constexpr const char* kEpilogue =
    "Offsets and durations carry a unit (+1.5ms, -399ns, 10s), corrections ppb or ppm (-1250, -1250ppb, 12ppm).\n"
    "halvexctl VERB --help says more about a verb.\n"
    "Exit status: 0 all well, 1 warnings, 2 the command line is wrong (nothing was done), 3 something failed.\n\n"
    "Example: halvexctl info get step +1.5ms wait 2s freq -1250 limits drift 10s get";

std::string usageOf(const Verb& verb) {
    return verb.argument.empty() ? std::string(verb.name) : fmt::format("{} {}", verb.name, verb.argument);
}

std::string verbTable() {
    std::string table = "Verbs:\n";
    for (const Verb& verb : verbs()) {
        table += fmt::format("  {:<27} {}\n", usageOf(verb), verb.summary);
    }
    return table;
}

/// The verb before the first wish for help; null: it is about everything.
const Verb* verbAskedAbout(std::span<const char* const> words) {
    const Verb* asked = nullptr;
    for (const std::string_view word : words) {
        if (word == "--help" || word == "-h") {
            break;
        }
        const Verb* verb = findVerb(word);
        asked = verb == nullptr ? asked : verb;
    }
    return asked;
}

/// The usual help with a usage line that shows the chain.
class ChainFormatter : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App*, std::string) const override {
        return "Usage: halvexctl [OPTIONS] VERB [ARGUMENT] [VERB [ARGUMENT]]...\n";
    }
};

void declare(CLI::App& app, Options& options) {
    app.formatter(std::make_shared<ChainFormatter>());
    app.footer(verbTable() + "\n" + kEpilogue);
    app.allow_extras();  // verbs keep their order, and arguments like -399ns stay what they are
    app.add_option(
           "-l,--library", options.library,
           "The library to load (default: ../lib/libzuHalvexTimekeeper.so beside this program, then the loader's path)")
        ->type_name("PATH");
    app.add_flag("-j,--json", options.json, "Print one JSON document instead of text: an array of results");
    app.add_flag("-e,--echo", options.echo,
                 "Show each call of the library as it happens (with --json on standard error)");
    app.add_flag("-y,--yes", options.yes,
                 "Carry out what is refused otherwise: backward steps, steps over 1 s, corrections beyond the limits");
    app.set_version_flag("-V,--version", kVersionText);
}

}  // namespace

std::span<const std::string_view> optionNames() { return kOptionNames; }

std::string helpText() {
    Options ignored;
    CLI::App app(kIntroduction);
    declare(app, ignored);
    return app.help("halvexctl");
}

std::string verbHelpText(std::string_view name) {
    const Verb* verb = findVerb(name);
    return verb == nullptr ? std::string()
                           : fmt::format("halvexctl {}\n  {}.\n{}{}", usageOf(*verb), verb->summary, verb->help,
                                         verb->help.empty() ? "" : "\n");
}

ReadOptions readOptions(int argc, const char* const* argv) {
    ReadOptions read;
    CLI::App app(kIntroduction, "halvexctl");
    declare(app, read.options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        read.isOver = true;
        const Verb* asked = verbAskedAbout({argv, static_cast<std::size_t>(argc)});
        read.text = asked == nullptr ? app.help() : verbHelpText(asked->name);
        return read;
    } catch (const CLI::CallForVersion&) {
        read.isOver = true;
        read.text = std::string(kVersionText) + "\n";
        return read;
    } catch (const CLI::ParseError& error) {
        read.isOver = true;
        read.isUsageError = true;
        read.text = error.what();
        return read;
    }
    read.options.words = app.remaining();
    if (read.options.words.empty()) {
        read.isOver = true;
        read.isUsageError = true;
        read.text = "no verb was given; halvexctl --help lists them";
    }
    return read;
}

}  // namespace halvexctl
