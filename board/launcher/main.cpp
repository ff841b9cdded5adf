// halvexboard: runs a program on the simulated controller and summarises its trace.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include "board/launcher/describe.h"
#include "board/launcher/options.h"
#include "board/launcher/run.h"
#include "board/launcher/runningBoards.h"
#include "board/trace/traceSummary.h"

namespace {

constexpr int kNotAligned = 1;
constexpr int kUsageExit = 2;
constexpr int kCannotWrite = 3;
constexpr int kCannotStart = 125;

[[noreturn]] void refuseToRead(const std::string& name) {
    throw halvexboard::TraceError("cannot read " + name + ": " + std::strerror(errno));
}

int summarise(const halvexboard::Options& options) {
    const bool isInput = options.summaryOf == "-";
    const std::string name = isInput ? "standard input" : options.summaryOf;
    if (isInput && fcntl(STDIN_FILENO, F_GETFD) < 0) refuseToRead(name);
    std::ifstream file;
    if (!isInput) file.open(name);
    if (!file) refuseToRead(name);
    std::istream& trace = isInput ? std::cin : file;
    trace.peek();
    if (trace.bad()) refuseToRead(name);  // a directory opens but cannot be read
    if (trace.eof()) throw halvexboard::TraceError(name + " is empty; halvexboard run --trace FILE writes a trace");
    const halvexboard::TraceSummary summary = halvexboard::summariseTrace(trace, {options.from, options.until});
    if (trace.bad()) refuseToRead(name);
    std::cout << halvexboard::formatSummary(summary, options.isListed);
    return summary.isAligned() ? 0 : kNotAligned;
}

int act(const halvexboard::Options& options) {
    switch (options.action) {
        case halvexboard::Options::Action::run:
            halvexboard::runOnBoard(options);
        case halvexboard::Options::Action::attach:
            halvexboard::attachToBoard(options);
        case halvexboard::Options::Action::ps:
            std::cout << halvexboard::boardTable();
            break;
        case halvexboard::Options::Action::summary:
            return summarise(options);
        case halvexboard::Options::Action::list:
            std::cout << halvexboard::listText(options.topic);
            break;
        case halvexboard::Options::Action::version:
            std::cout << "halvexboard " HALVEX_VERSION "\n";
            break;
        case halvexboard::Options::Action::describe:
            std::cout << halvexboard::completionFor(options.topic);
            break;
        case halvexboard::Options::Action::help:
            std::cout << halvexboard::helpText(options.topic);
            break;
    }
    return 0;
}

/// The exit status of an action, checking that its output was written.
int checkOutput(int status) {
    if (std::cout.flush()) return status;
    std::cerr << "halvexboard: standard output cannot be written: " << std::strerror(errno) << '\n';
    return kCannotWrite;
}

}  // namespace

int main(int count, char** words) {
    try {
        return checkOutput(act(halvexboard::parseOptions({words + 1, words + count})));
    } catch (const halvexboard::UsageError& error) {
        std::cerr << "halvexboard: " << error.what() << '\n';
        return kUsageExit;
    } catch (const halvexboard::TraceError& error) {
        std::cerr << "halvexboard: " << error.what() << '\n';
        return kUsageExit;
    } catch (const std::exception& error) {
        std::cerr << "halvexboard: " << error.what() << '\n';
        return kCannotStart;
    }
}
