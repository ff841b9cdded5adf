// The minimal system calls of each operation, in a straight line: the baseline of the measurements.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <pthread.h>
#include <sys/types.h>

#include <cstdint>
#include <future>

namespace halvexbench {

/// Everything that the calls need, already open. Plain descriptors and a count; nothing here allocates.
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
    std::future<void> alignment;

    void open(int phcCount, bool hasFpga);
    void close();
};

/// The name of interface `phc`: "enp1s0" for 0.
void interfaceName(int phc, char (&name)[16]);

/// The lock that every call takes once before its own work.
void bareLock();
std::uint64_t bareGetTime(int ferrox);
long bareGetCorrection(int ppbOffset);
[[gnu::noinline]] long bareSetCorrection(int ppbOffset);
/// The same below kExtraFrames more frames, and with as many locked instructions, to measure the cost of each.
inline constexpr int kExtraFrames = 4;
long bareSetCorrectionInFrames(int ppbOffset);
long bareSetCorrectionWithLocked(int ppbOffset);
/// The lock, the step of both clocks, and the start of an alignment in the background.
void bareSnapTime(BareController& controller);
void bareAlignment(BareController& controller);
void bareServicePass(BareController& controller);
/// Throws and catches an exception with this text, and builds the JSON object of an error.
void bareError(const char* message);

/// A complete life: finds, opens and aligns everything, runs a thread that makes a pass every 2 s and when woken, and
/// closes everything again.
struct BareLife {
    BareController controller;
    pid_t child = 0;
    pthread_t thread{};
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    bool isWoken = false;
    bool isRunning = true;
};
void bareInitialize(BareLife& life);
void bareApplyMetaData(BareLife& life);
void bareFinalize(BareLife& life);

}  // namespace halvexbench
