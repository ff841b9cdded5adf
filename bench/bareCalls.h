// What each operation must ask of the system and no more, in a straight line: what the library is measured against.
#pragma once

#include <pthread.h>

#include <cstdint>

namespace halvexbench {

/// Everything that the calls need, opened. Plain descriptors and a count; nothing here allocates.
struct BareController {
    static constexpr int kMostPhcs = 64;

    int ferrox = -1;
    int fpga = -1;
    int ppbOffset = -1;
    int phcs[kMostPhcs] = {};
    int phcCount = 0;
    bool hasFpga = true;
    std::int64_t lastFpgaEpoch = 0;
    pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;

    void open(int phcCount, bool hasFpga);
    void close();
};

/// The name of interface `phc`: "enp1s0" for 0.
void interfaceName(int phc, char (&name)[16]);

std::uint64_t bareGetTime(int ferrox);
long bareGetCorrection(int ppbOffset);
[[gnu::noinline]] long bareSetCorrection(int ppbOffset);
/// The same below kExtraFrames more frames, and with as many locked instructions: what each of them costs.
inline constexpr int kExtraFrames = 4;
long bareSetCorrectionInFrames(int ppbOffset);
long bareSetCorrectionWithLocked(int ppbOffset);
/// The lock, the step of both clocks, and a thread that does nothing.
void bareSnapTime(BareController& controller);
void bareAlignment(BareController& controller);
void bareServicePass(BareController& controller);
/// A whole life: everything found, opened, aligned, one pass of a thread, and closed again.
void bareLife();

}  // namespace halvexbench
