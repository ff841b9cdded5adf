// halvexctl: drives a timekeeper library from the command line, as its host would.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <memory>

#include "host/cli/command.h"
#include "host/cli/options.h"
#include "host/cli/usageError.h"
#include "host/output/jsonPrinter.h"
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
    const ReadingRules rules{options.yes};
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
        fmt::print(stderr, "halvexctl: {}\n", read.text);
        return ExitCode::usage;
    }
    if (read.isOver) {
        fmt::print("{}", read.text);
        return ExitCode::ok;
    }
    return carryOut(read.options);
}

}  // namespace
}  // namespace halvexctl

int main(int argc, char** argv) {
    try {
        return static_cast<int>(halvexctl::start(argc, argv));
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "halvexctl: %s\n", exception.what());
        return static_cast<int>(halvexctl::ExitCode::failure);
    }
}
