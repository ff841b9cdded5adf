// halvexboard: runs a program on the simulated controller and summarises its trace.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include "board/launcher/options.h"
#include "board/launcher/run.h"
#include "board/trace/traceSummary.h"

namespace {

constexpr int kNotAligned = 1;
constexpr int kUsageExit = 2;
constexpr int kCannotWrite = 3;
constexpr int kCannotStart = 125;

int summarise(const halvexboard::Options& options) {
    std::ifstream trace(options.summaryOf);
    const halvexboard::TraceSummary summary =
        trace ? halvexboard::summariseTrace(trace, {options.from, options.until}) : halvexboard::TraceSummary{};
    if (!trace.is_open() || trace.bad()) {  // a directory opens but cannot be read
        std::cerr << "halvexboard: cannot read " << options.summaryOf << ": " << std::strerror(errno) << '\n';
        return kUsageExit;
    }
    std::cout << halvexboard::formatSummary(summary, options.isListed);
    return summary.isAligned() ? 0 : kNotAligned;
}

int act(const halvexboard::Options& options) {
    switch (options.action) {
        case halvexboard::Options::Action::run:
            halvexboard::runOnBoard(options);
        case halvexboard::Options::Action::summary:
            return summarise(options);
        default:
            std::cout << halvexboard::helpText();
            return 0;
    }
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
