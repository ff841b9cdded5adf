// Constructor and destructor of the preloaded library: configures it from the environment before the program runs.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "board/preload/boardLife.h"
#include "board/preload/environment.h"
#include "board/preload/traceFile.h"
#include "board/scenario/scenario.h"

namespace halvexboard {

namespace {

constexpr int kCannotStart = 125;  ///< Exit code if the board cannot be switched on, as with other launchers.

[[noreturn]] void giveUp(const std::string& why) {
    std::fprintf(stderr, "halvexboard: %s\n", why.c_str());
    _exit(kCannotStart);
}

bool isSetTo(const char* variable, const char* wanted) noexcept {
    const char* const value = std::getenv(variable);
    return value != nullptr && std::strcmp(value, wanted) == 0;
}

board_config readConfiguration() {
    const char* const path = std::getenv(kScenarioVariable);
    Scenario scenario = path != nullptr ? loadScenario(path) : parseScenario("", "no scenario");
    if (const char* const seed = std::getenv(kSeedVariable)) scenario.config.seed = std::strtoull(seed, nullptr, 10);
    return scenario.config;
}

void openTrace() {
    const char* const path = std::getenv(kTraceVariable);
    if (path == nullptr) return;
    std::string name = path;
    if (std::getenv(kNestedVariable) != nullptr) name += "." + std::to_string(getpid());
    const int error = openTraceFile(name.c_str());
    const char* const why = error == EWOULDBLOCK ? "another board writes it" : std::strerror(error);
    if (error != 0) giveUp("cannot write the trace " + name + ": " + why);
}

/// Child programs run on the real machine unless boards were requested for them.
void tidyEnvironment() {
    if (isSetTo(kChildrenVariable, "1")) {
        setenv(kNestedVariable, "1", 1);
        return;
    }
    const char* const earlier = std::getenv(kEarlierPreloadVariable);
    if (earlier != nullptr && earlier[0] != '\0')
        setenv("LD_PRELOAD", earlier, 1);
    else
        unsetenv("LD_PRELOAD");
    for (const char* variable : {kScenarioVariable, kSeedVariable, kTraceVariable, kConsoleVariable, kTimeVariable,
                                 kChildrenVariable, kNestedVariable, kEarlierPreloadVariable})
        unsetenv(variable);
}

__attribute__((constructor)) void startPreloaded() {
    CoreOptions options;
    options.virtualTime = !isSetTo(kTimeVariable, "real");
    options.withScheduler = options.virtualTime;
    options.consoleFd = isSetTo(kConsoleVariable, "1") ? STDERR_FILENO : -1;
    try {
        const board_config config = readConfiguration();
        openTrace();
        options.sink = traceFileSink();
        tidyEnvironment();
        if (!switchOn(config, options)) giveUp("the scenario asks for more than the board can be");
    } catch (const std::exception& error) {
        giveUp(error.what());
    }
}

__attribute__((destructor)) void endPreloaded() { finishTraceFile(); }

}  // namespace

}  // namespace halvexboard
