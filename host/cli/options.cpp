// The options of the command line, before and between the verbs. The only unit that includes CLI11.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/cli/options.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <fmt/format.h>

#include "host/cli/completion.h"
#include "host/cli/help.h"
#include "host/cli/manual.h"
#include "host/cli/verbTable.h"

namespace halvexctl {
namespace {

/// Binds options to their variables; a test compares the names with the table's.
void declare(CLI::App& app, Options& options, std::string& form) {
    app.allow_extras();  // keeps the order of verbs, and arguments like -399ns
    app.set_help_flag("-h,--help");
    app.set_version_flag("-V,--version", std::string());
    app.add_option("-l,--library", options.library);
    app.add_option("--describe", form);
    app.add_flag("-j,--json", options.json)->disable_flag_override();
    app.add_flag("-e,--echo", options.echo)->disable_flag_override();
    app.add_flag("-y,--yes", options.yes)->disable_flag_override();
}

/// The parser's own words for a flag with a value say little.
std::string inPlainWords(const std::string& message) {
    const std::size_t end = message.find(" was given a disallowed flag override");
    return end == std::string::npos ? message : fmt::format("--{} takes no value", message.substr(0, end));
}

ReadOptions over(std::string text, bool isUsageError) { return {{}, true, isUsageError, std::move(text)}; }

ReadOptions described(const std::string& form) {
    const std::string text = form == "mdoc" ? manualLists() : completionFor(form);
    return text.empty() ? over("--describe must be bash, zsh, fish or mdoc", true) : over(text, false);
}

}  // namespace

ReadOptions readOptions(int argc, const char* const* argv) {
    ReadOptions read;
    std::string form;
    CLI::App app;
    declare(app, read.options, form);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        return over(helpAskedFor({argv, static_cast<std::size_t>(argc)}, verbs()), false);
    } catch (const CLI::CallForVersion&) {
        return over("halvexctl " HALVEX_VERSION "\n", false);
    } catch (const CLI::ParseError& error) {
        return over(inPlainWords(error.what()), true);
    }
    if (!form.empty()) {
        return described(form);
    }
    read.options.words = app.remaining();
    return read.options.words.empty() ? over("no verb was given; halvexctl --help lists them", true) : read;
}

}  // namespace halvexctl
