// Runs a program on the simulated controller: checks the scenario, finds the library, sets the environment, executes.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/launcher/run.h"

#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "board/preload/environment.h"
#include "board/scenario/scenario.h"

namespace halvexboard {

namespace {

namespace fs = std::filesystem;

constexpr const char* kLibrary = "libhalvexboard.so";
constexpr const char* kDefaultScenario = "plain";

fs::path ownDirectory() { return fs::read_symlink("/proc/self/exe").parent_path(); }

fs::path firstExisting(const std::vector<fs::path>& candidates) {
    for (const fs::path& candidate : candidates) {
        std::error_code ignored;  // a candidate that cannot be examined is skipped
        if (fs::is_regular_file(candidate, ignored)) return fs::canonical(candidate);
    }
    return {};
}

fs::path findLibrary() {
    const fs::path here = ownDirectory();
    fs::path found =
        firstExisting({here / kLibrary, here / "../lib" / kLibrary, here / "../lib/halvexboard" / kLibrary});
    if (found.empty())
        throw std::runtime_error(std::string(kLibrary) +
                                 " is neither beside halvexboard, nor in ../lib, nor in ../lib/halvexboard");
    return found;
}

/// A file, or the name of a built-in scenario.
fs::path findScenario(const std::string& wanted) {
    const std::string name = wanted.empty() ? kDefaultScenario : wanted;
    const std::string file = name + ".toml";
    std::vector<fs::path> candidates;
    if (!wanted.empty()) candidates.emplace_back(wanted);
    if (name.find('/') == std::string::npos)
        candidates.push_back(ownDirectory() / "../share/halvexboard/scenarios" / file);
    fs::path found = firstExisting(candidates);
    if (found.empty()) throw std::runtime_error("there is no scenario " + name);
    return found;
}

void set(const char* variable, const std::string& value) {
    if (setenv(variable, value.c_str(), 1) != 0) throw std::runtime_error(std::string("cannot set ") + variable);
}

/// Appends: libraries preloaded before (a sanitizer's runtime, say) stay first.
void setPreload(const fs::path& library) {
    const char* const earlier = std::getenv("LD_PRELOAD");
    const std::string before = earlier != nullptr ? earlier : "";
    set(kEarlierPreloadVariable, before);
    set("LD_PRELOAD", before.empty() ? library.string() : before + ":" + library.string());
}

}  // namespace

void runOnBoard(const Options& options) {
    const fs::path scenarioFile = findScenario(options.scenario);
    const Scenario scenario = loadScenario(scenarioFile.string());  // reports errors once, before the program starts
    const std::uint64_t seed = options.seed.value_or(scenario.config.seed);
    set(kScenarioVariable, scenarioFile.string());
    set(kSeedVariable, std::to_string(seed));
    set(kTimeVariable, options.realTime ? "real" : "virtual");
    if (!options.traceFile.empty()) set(kTraceVariable, fs::absolute(options.traceFile).string());
    if (options.console) set(kConsoleVariable, "1");
    if (options.children) set(kChildrenVariable, "1");
    setPreload(findLibrary());
    std::fprintf(stderr, "halvexboard: scenario %s, seed %llu\n", scenarioFile.stem().c_str(),
                 static_cast<unsigned long long>(seed));
    std::vector<char*> arguments;
    for (const std::string& word : options.command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    const int error = errno;
    throw std::runtime_error("cannot run " + options.command[0] + ": " + std::strerror(error));
}

}  // namespace halvexboard
