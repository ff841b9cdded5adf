// halvexctl: drives a timekeeper library from the command line, like its host.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fmt/format.h>

#include <exception>
#include <memory>
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

ExitCode carryOut(const Options& options) {
    const ReadingRules rules{verbs(), options.yes};
    const std::unique_ptr<Printer> printer = makePrinter(options.json);
    std::vector<Command> commands;
    try {
        commands = readCommands(options.words, rules);
    } catch (const UsageError& error) {
        printer->complaint(error.what());
        return ExitCode::usage;
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
    const ReadOptions read = readOptions(argc, argv);
    if (read.isUsageError) {
        put(stderr, "halvexctl: " + read.text + "\n");
        return ExitCode::usage;
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
