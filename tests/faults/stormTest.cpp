// Many threads of a host at once, with the library's own: for the thread sanitizer, and against a watchdog. HALVEX_STORM_CALLS
// says how many calls; without it they are few enough for every test run.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <thread>
#include <vector>

#include "include/zuqxmtk.h"
#include "tests/faults/interposition.h"
#include "tests/faults/subject.h"
#include "tests/faults/world.h"
#include "tests/support/statusHolder.h"

namespace faults {
namespace {

using testsupport::StatusHolder;

constexpr int kThreads = 8;

long callsAsked() {
    const char* const asked = std::getenv("HALVEX_STORM_CALLS");
    return asked != nullptr ? std::atol(asked) : 100'000;
}

/// The library initialised in a quiet world, its threads running freely; ends the process when it takes too long.
class Storm : public testing::Test {
protected:
    Storm() {
        alarm(callsAsked() > 1'000'000 ? 1800 : 110);
        world_.isQuiet = true;
        answerFrom(&world_);
        letThreadsRun(true);
        StatusHolder status;
        zuqxmtk_initialize(status.get());
        EXPECT_EQ(status->code, 0) << status.getText();
    }
    ~Storm() override {
        zuqxmtk_finalize();
        letThreadsRun(false);
        answerFrom(nullptr);
        alarm(0);
    }

    World world_;
};

/// One call of a kind; its code.
std::int32_t callOnce(unsigned long turn) {
    StatusHolder status;
    std::uint64_t time = 0;
    std::int32_t ppb = 0;
    switch (turn % 8) {
        case 0: zuqxmtk_setCorrectionPerSecond(static_cast<std::int32_t>(turn % 1000), status.get()); break;
        case 1: zuqxmtk_getCorrectionPerSecond(&ppb, status.get()); break;
        case 2: zuqxmtk_getMinCorrectionPerSecond(status.get()); break;
        case 3: zuqxmtk_getMaxCorrectionPerSecond(status.get()); break;
        case 4: return zuqxmtk_isSeeded() ? 0 : -1;
        default: zuqxmtk_getTime(&time, status.get()); break;
    }
    return status->code;
}

TEST_F(Storm, OfEightThreadsStepsAndDocumentsIsAnsweredWithoutAnError) {
    const long calls = callsAsked();
    const long steps = calls / 10'000 < 1000 ? calls / 10'000 : 1000;
    const long documents = calls / 1000 < 10'000 ? calls / 1000 : 10'000;
    std::atomic<long> failures{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            for (long call = thread; call < calls; call += kThreads) {
                if (callOnce(static_cast<unsigned long>(call / kThreads)) != 0) ++failures;
            }
        });
    }
    for (long round = 0; round < documents; ++round) {
        StatusHolder status;
        zuqxmtk_applyMetaData(round % 2 == 0 ? kPtpDocument : "{}", status.get());
        if (status->code == 0 && round % 10 == 0 && round / 10 < steps) zuqxmtk_snapTime(round % 3 * 200 - 200, status.get());
        if (status->code != 0) ++failures;
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(failures, 0);
    std::cout << "storm: " << calls << " calls of " << kThreads << " threads, " << steps << " steps, " << documents
              << " documents\n";
}

TEST_F(Storm, DeliversEachErrorOfTheMonitoringThreadToOneCallOnly) {
    constexpr int kErrors = 100;
    std::atomic<long> delivered{0};
    std::atomic<bool> isOver{false};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&] {
            for (unsigned long turn = 0; !isOver; ++turn) {
                if (turn % 8 != 4 && callOnce(turn) == -52024) ++delivered;
            }
        });
    }
    for (long error = 1; error <= kErrors; ++error) {
        world_.refusesMetadata = true;
        while (delivered < error) std::this_thread::yield();
        EXPECT_EQ(delivered, error);
    }
    isOver = true;
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(delivered, world_.refusedMetadata);
    EXPECT_EQ(delivered, kErrors);
}

std::atomic<bool> isHolding{false};
std::atomic<long> heldSelects{0};

void holdTheAlignment() {
    if (!isHolding) return;
    ++heldSelects;
    isHolding.wait(true);
}

TEST_F(Storm, NeverLetsGetTimeWaitForAnAlignment) {
    beforeEachSelect(holdTheAlignment);
    isHolding = true;
    StatusHolder status;
    zuqxmtk_snapTime(200, status.get());
    while (heldSelects == 0) std::this_thread::yield();
    for (int call = 0; call < 1000; ++call) EXPECT_EQ(callOnce(5), 0);  // the alignment cannot go on before this has ended
    isHolding = false;
    isHolding.notify_all();
    beforeEachSelect(nullptr);
}

TEST(StormOfLives, AThousandLivesLeaveNothing) {
    alarm(300);
    World world;
    world.isQuiet = true;
    answerFrom(&world);
    letThreadsRun(true);
    for (int life = 0; life < 1000; ++life) {
        StatusHolder status;
        zuqxmtk_initialize(status.get());
        ASSERT_EQ(status->code, 0) << status.getText();
        zuqxmtk_finalize();
    }
    letThreadsRun(false);
    answerFrom(nullptr);
    world.noteWhatIsLeft();
    EXPECT_EQ(world.journal().back().find('='), std::string::npos);      // no descriptor
    EXPECT_EQ(world.journal().back().find("alive"), std::string::npos);  // no child
    alarm(0);
}

}  // namespace
}  // namespace faults
