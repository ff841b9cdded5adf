// Runs the sweeps and prints their figures last.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/faults/figures.h"
#include "tests/support/test.h"

faults::Figures& faults::figures() {
    static Figures figures;
    return figures;
}

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    const auto begin = std::chrono::steady_clock::now();
    const int result = RUN_ALL_TESTS();
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - begin).count();
    const faults::Figures& figures = faults::figures();
    std::cout << "faults: " << figures.runs << " runs at " << figures.positions << " calls (" << figures.processEnds
              << " end the process as they must), " << figures.allocationRuns << " runs without memory, "
              << figures.cancellations << " cancellations, " << figures.wrong << " wrong, " << seconds << " s\n";
    return result;
}
