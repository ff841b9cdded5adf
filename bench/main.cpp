// The measurements, one kind per run; driven by `bench/run`.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <cstdio>
#include <exception>
#include <string_view>

#include "bench/countedWork.h"
#include "bench/figures.h"
#include "bench/pairs.h"
#include "bench/standIn.h"

int main(int count, char** arguments) try {
    using namespace halvexbench;
    if (count < 3) {
        std::fputs(
            "usage: halvexbench callPairs|slavePairs|counted|iterations|latencies|memory|growth|wakeUps LIBRARY "
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
    else if (kind == "iterations")
        printIterations();
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
