// kernelCommands SCENARIO: prints its commands for the kernel's board: nanoseconds after "on", then the command.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <cstdio>
#include <exception>

#include "board/scenario/kernelCommands.h"
#include "board/scenario/scenario.h"

int main(int count, char** words) {
    if (count != 2) {
        std::fputs("Usage: kernelCommands SCENARIO\n", stderr);
        return 2;
    }
    try {
        for (const halvexboard::KernelCommand& command :
             halvexboard::kernelCommands(halvexboard::loadScenario(words[1]).config))
            std::printf("%llu %s\n", static_cast<unsigned long long>(command.atNs), command.text.c_str());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kernelCommands: %s\n", error.what());
        return 1;
    }
}
