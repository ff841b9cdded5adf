// The mutex for short critical sections.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/tools/leafMutex.h"

#include "tests/support/processCensus.h"
#include "tests/support/test.h"

namespace leafMutexTest {

using halvexTimekeeper::LeafMutex;
using namespace testsupport;

TEST(LeafMutexTest, CanBeTakenAgainAfterItWasGivenBack) {
    LeafMutex mutex;
    for (int turn = 0; turn < 3; ++turn) const std::lock_guard lock(mutex);
}

TEST(LeafMutexTest, LetsOneThreadInAtATime) {
    constexpr int kThreads = 4;
    constexpr int kTurns = 20'000;
    LeafMutex mutex;
    long turns = 0;  // not atomic: counts get lost if two threads enter
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&] {
            for (int turn = 0; turn < kTurns; ++turn) {
                const std::lock_guard lock(mutex);
                turns = turns + 1;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(turns, long{kThreads} * kTurns);
}

TEST(LeafMutexTest, WakesWhoeverWaits) {
    LeafMutex mutex;
    bool isDone = false;
    std::atomic<pid_t> waitingThread = 0;
    mutex.lock();
    std::thread waiting([&] {
        waitingThread = gettid();
        const std::lock_guard lock(mutex);
        isDone = true;
    });
    while (waitingThread == 0 || !isAsleep(waitingThread)) std::this_thread::yield();
    EXPECT_FALSE(isDone);  // the mutex is held here
    mutex.unlock();
    waiting.join();
    EXPECT_TRUE(isDone);
}

}  // namespace leafMutexTest
