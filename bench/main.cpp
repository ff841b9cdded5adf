// The measurements, one kind per run; driven by `bench/run`.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <dlfcn.h>

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string_view>

#include "bench/measurements.h"
#include "zuerr/status.h"

// Not the loader of halvexctl, whose header this uses: its pages would count as the library's.
halvexbench::Plugin halvexbench::loadPlugin(const char* path) {
    void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) throw std::runtime_error(std::string("halvexbench: ") + dlerror());
    const auto find = [library]<typename Function>(Function& function, const std::string& name) {
        function = reinterpret_cast<Function>(dlsym(library, ("zuqxmtk_" + name).c_str()));
        if (function == nullptr) throw std::runtime_error("halvexbench: the library lacks " + name);
    };
    Plugin plugin;
    find(plugin.getAPIVersion, "getAPIVersion");
    find(plugin.getName, "getName");
    find(plugin.isSeeded, "isSeeded");
    find(plugin.getMinCorrectionPerSecond, "getMinCorrectionPerSecond");
    find(plugin.getMaxCorrectionPerSecond, "getMaxCorrectionPerSecond");
    find(plugin.setCorrectionPerSecond, "setCorrectionPerSecond");
    find(plugin.getCorrectionPerSecond, "getCorrectionPerSecond");
    find(plugin.snapTime, "snapTime");
    find(plugin.getTime, "getTime");
    find(plugin.applyMetaData, "applyMetaData");
    find(plugin.initialize, "initialize");
    find(plugin.finalize, "finalize");
    return plugin;
}

void halvexbench::initializeOrThrow(const Plugin& plugin) {
    zuerr_Status status = zuerr::makeStatus();
    plugin.initialize(&status);
    if (status.code < 0) throw std::runtime_error(std::string("halvexbench: ") + zuerr::jsonOrNull(status));
}

int main(int count, char** arguments) try {
    using namespace halvexbench;
    if (count < 3) {
        std::fputs(
            "usage: halvexbench callPairs|slavePairs|counted|latencies|memory|growth|wakeUps LIBRARY "
            "[OUTPUT]\n",
            stderr);
        return 2;
    }
    const std::string_view kind = arguments[1];
    const char* const library = arguments[2];
    const StandIn standIn;
    if (kind == "callPairs" && count == 4)
        runCallPairs(loadPlugin(library), arguments[3]);
    else if (kind == "slavePairs" && count == 4)
        runSlavePairs(loadPlugin(library), arguments[3]);
    else if (kind == "counted")
        runCountedWork(loadPlugin(library));
    else if (kind == "latencies")
        printLatencies(library);
    else if (kind == "memory")
        printMemory(library);
    else if (kind == "growth")
        printGrowth(library);
    else if (kind == "wakeUps")
        printWakeUps(library);
    else
        return 2;
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
