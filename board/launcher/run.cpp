// Runs a program on the simulated controller: checks the scenario, finds the library, sets the environment, executes.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/launcher/run.h"

#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

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

fs::path readyDirectory() { return ownDirectory() / "../share/halvexboard/scenarios"; }

std::string readyNames() {
    std::string names;
    for (const ReadyScenario& scenario : readyScenarios()) names += (names.empty() ? "" : ", ") + scenario.name;
    return names;
}

/// A file, or the name of a built-in scenario.
fs::path findScenario(const std::string& wanted) {
    const std::string name = wanted.empty() ? kDefaultScenario : wanted;
    const std::string file = name + ".toml";
    std::vector<fs::path> candidates;
    if (!wanted.empty()) candidates.emplace_back(wanted);
    if (name.find('/') == std::string::npos) candidates.push_back(readyDirectory() / file);
    fs::path found = firstExisting(candidates);
    if (found.empty())
        throw std::runtime_error("there is no scenario " + name + "; a file, or one of " + readyNames() +
                                 ", is needed");
    return found;
}

bool isSameFile(const fs::path& one, const fs::path& other) {
    std::error_code ignored;  // if one of them does not exist they differ
    return fs::equivalent(one, other, ignored);
}

bool beginsAsTrace(const fs::path& file) {
    static constexpr std::string_view kBegin = R"({"seq":0,)";
    std::string begin(kBegin.size(), '\0');
    std::ifstream stream(file, std::ios::binary);
    stream.read(begin.data(), static_cast<std::streamsize>(begin.size()));
    begin.resize(static_cast<std::size_t>(stream.gcount()));
    return begin == kBegin || begin.find_first_not_of('\n') == std::string::npos;
}

/// "FILE" and "--option=FILE" alike.
bool isNamedBy(const std::string& word, const fs::path& file) {
    const std::size_t value = word.find('=');
    return isSameFile(word, file) || (value != std::string::npos && isSameFile(word.substr(value + 1), file));
}

/// Throws UsageError where a trace would replace anything but an earlier trace.
void checkTrace(const Options& options, const fs::path& scenario) {
    const fs::path trace = options.traceFile;
    const std::string refusal = "--trace " + options.traceFile + ": ";
    if (trace == "-") throw UsageError(refusal + "needs a file");
    std::error_code error;
    const fs::file_status status = fs::status(trace, error);
    if (!fs::exists(status)) return;
    if (!fs::is_regular_file(status)) throw UsageError(refusal + "is there and is not an ordinary file");
    if (isSameFile(trace, scenario)) throw UsageError(refusal + "is the scenario");
    if (!beginsAsTrace(trace)) throw UsageError(refusal + "is there and does not hold a trace");
    const auto names = [&](const std::string& word) { return isNamedBy(word, trace); };
    if (std::any_of(options.command.begin(), options.command.end(), names))
        throw UsageError(refusal + "is named by the command too, which would find it replaced");
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

std::vector<ReadyScenario> readyScenarios() {
    std::vector<ReadyScenario> scenarios;
    for (const auto& entry : fs::directory_iterator(readyDirectory())) {
        if (entry.path().extension() != ".toml") continue;
        const std::string title = loadScenario(entry.path().string()).title;
        const std::size_t colon = title.find(": ");
        scenarios.push_back(
            {entry.path().stem().string(), colon == std::string::npos ? title : title.substr(colon + 2)});
    }
    std::sort(scenarios.begin(), scenarios.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    return scenarios;
}

void runOnBoard(const Options& options) {
    const fs::path scenarioFile = findScenario(options.scenario);
    const Scenario scenario = loadScenario(scenarioFile.string());  // reports errors once, before the program starts
    const std::uint64_t seed = options.seed.value_or(scenario.config.seed);
    set(kScenarioVariable, scenarioFile.string());
    set(kSeedVariable, std::to_string(seed));
    set(kTimeVariable, options.realTime ? "real" : "virtual");
    if (!options.traceFile.empty()) checkTrace(options, scenarioFile);
    if (!options.traceFile.empty()) set(kTraceVariable, fs::absolute(options.traceFile).string());
    if (options.console) set(kConsoleVariable, "1");
    if (options.children) set(kChildrenVariable, "1");
    setPreload(findLibrary());
    if (!options.isQuiet)
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
