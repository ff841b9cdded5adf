// halvexctl: drives a timekeeper library from the command line, like its host.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <span>
#include <system_error>

#include "host/cli/command.h"
#include "host/cli/options.h"
#include "host/cli/usageError.h"
#include "host/cli/verbTable.h"
#include "host/output/jsonPrinter.h"
#include "host/output/standardStreams.h"
#include "host/output/textPrinter.h"
#include "host/session/session.h"
#include "host/session/stopRequest.h"

namespace halvexctl {
namespace {

std::unique_ptr<Printer> makePrinter(bool json) {
    if (json) {
        return std::make_unique<JsonPrinter>(stdout, stderr);
    }
    return std::make_unique<TextPrinter>(stdout, stderr);
}

/// Nothing is done: the command line is wrong.
ExitCode refuse(bool json, const std::string& sentence) {
    put(stderr, fmt::format("halvexctl: {}\n", sentence));
    if (json) {
        put(stdout, jsonText({{"usageError", sentence}}, 2) + "\n");
    }
    return ExitCode::usage;
}

ExitCode carryOut(const Options& options) {
    const ReadingRules rules{verbs(), options.yes};
    const std::unique_ptr<Printer> printer = makePrinter(options.json);
    std::vector<Command> commands;
    try {
        commands = readCommands(options.words, rules);
    } catch (const UsageError& error) {
        return refuse(options.json, error.what());
    }
    if (commands.empty()) {
        return refuse(options.json, "no verb was given; halvexctl --help lists them");
    }
    const StopRequest stop;
    SessionSettings settings;
    settings.libraryPath = options.library.empty() ? defaultPluginPath() : options.library;
    settings.echo = options.echo;
    settings.rules = rules;
    settings.stopFd = stop.descriptor();
    Session session(settings, *printer);
    session.carryOut(commands);
    session.finish();
    printer->finish();
    return session.exitCode();
}

ExitCode start(int argc, const char* const* argv) {
    const auto count = static_cast<std::size_t>(std::max(argc, 1));
    const ReadOptions read = readOptions(std::span(argv, count).subspan(1));
    if (read.isUsageError) {
        return refuse(read.options.json, read.text);
    }
    if (read.isOver) {
        put(stdout, read.text);
        return ExitCode::ok;
    }
    return carryOut(read.options);
}

/// Fails if output was lost.
ExitCode checkOutput(ExitCode exitCode) {
    if (outputError() == 0) {
        return exitCode;
    }
    put(stderr, fmt::format("halvexctl: standard output cannot be written: {}\n",
                            std::generic_category().message(outputError())));
    return ExitCode::failure;
}

}  // namespace
}  // namespace halvexctl

int main(int argc, char** argv) {
    using namespace halvexctl;
    holdStandardStreams();
    try {
        return static_cast<int>(checkOutput(start(argc, argv)));
    } catch (const std::exception& exception) {
        put(stderr, fmt::format("halvexctl: {}\n", exception.what()));
        return static_cast<int>(ExitCode::failure);
    }
}
