// Many concurrent threads of a host, with the library's own: for the thread sanitizer, and with a watchdog.
// HALVEX_STORM_CALLS sets the number of calls; the default suits every test run.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "include/zuqxmtk.h"
#include "tests/faults/interposition.h"
#include "tests/faults/simulatedController.h"
#include "tests/faults/subject.h"
#include "tests/support/statusHolder.h"
#include "tests/support/test.h"

namespace faults {
namespace {

using testsupport::StatusHolder;

constexpr int kThreads = 8;

long callsAsked() {
    const char* const asked = std::getenv("HALVEX_STORM_CALLS");
    return asked != nullptr ? std::atol(asked) : 100'000;
}

/// The library initialised on a quiet controller with its threads running freely; ends the process if it takes too
/// long.
class Storm : public testing::Test {
protected:
    Storm() {
        alarm(static_cast<unsigned>(110 + callsAsked() / 5000));
        controller_.isQuiet = true;
        answerFrom(&controller_);
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

    SimulatedController controller_;
};

constexpr std::int32_t kRefusedMetadata = -52024;  ///< The monitoring thread's error as the host sees it.

/// Makes one call that is neither a step nor a document; returns its code.
std::int32_t callOnce(unsigned long turn) {
    StatusHolder status;
    std::uint64_t time = 0;
    std::int32_t ppb = 0;
    char name[64];
    switch (turn % 10) {
        case 0:
            zuqxmtk_setCorrectionPerSecond(static_cast<std::int32_t>(turn % 1000), status.get());
            break;
        case 1:
            zuqxmtk_getCorrectionPerSecond(&ppb, status.get());
            break;
        case 2:
            zuqxmtk_getMinCorrectionPerSecond(status.get());
            break;
        case 3:
            zuqxmtk_getMaxCorrectionPerSecond(status.get());
            break;
        case 4:
            zuqxmtk_getName(name);
            return zuqxmtk_isSeeded() && zuqxmtk_getAPIVersion() != 0 ? 0 : -1;
        default:
            zuqxmtk_getTime(&time, status.get());
            break;
    }
    return status->code;
}

std::int32_t stepOnce(long step) {
    StatusHolder status;
    zuqxmtk_snapTime(step % 3 * 200 - 200, status.get());
    return status->code;
}

std::int32_t applyOnce(long document) {
    StatusHolder status;
    zuqxmtk_applyMetaData(document % 2 == 0 ? kPtpDocument : "{}", status.get());
    return status->code;
}

/// The calls of eight threads and their results.
class Tally {
public:
    explicit Tally(long calls)
        : calls_(calls),
          steps(std::clamp(calls / 10'000, 1L, 1000L)),
          documents(std::clamp(calls / 1000, 1L, 10'000L)) {}

    /// The calls of one thread, including its share of steps and documents.
    void makeCalls(long thread) {
        for (long call = thread; call < calls_; call += kThreads) {
            note(callOnce(static_cast<unsigned long>(call / kThreads)));
            if (call % (calls_ / steps) == 0) repeatUntilItIsMade(stepOnce, call);
            if (call % (calls_ / documents) == 1) repeatUntilItIsMade(applyOnce, call / kThreads);
            made_.fetch_add(1, std::memory_order_relaxed);  // relaxed, so that it hides no race from a sanitizer
        }
    }

    void note(std::int32_t code) {
        if (code == kRefusedMetadata) delivered_.fetch_add(1, std::memory_order_relaxed);
        if (code != 0 && code != kRefusedMetadata) failures_.fetch_add(1, std::memory_order_relaxed);
    }

    /// Waits until the threads have made `share` of their calls.
    void awaitCalls(long share, long shares) const {
        while (made_.load(std::memory_order_relaxed) < calls_ / shares * share) std::this_thread::yield();
    }

    /// Waits until this many errors have been reported to the threads, or to this one after they have ended.
    void awaitErrors(long count) {
        while (delivered() < count) {
            if (made_.load(std::memory_order_relaxed) == calls_) note(callOnce(5));
            std::this_thread::yield();
        }
    }

    long delivered() const { return delivered_.load(std::memory_order_relaxed); }
    long failures() const { return failures_.load(std::memory_order_relaxed); }

private:
    /// Repeats a call that reported the monitoring thread's error and did nothing else.
    void repeatUntilItIsMade(std::int32_t (*function)(long), long number) {
        std::int32_t code = 0;
        do note(code = function(number));
        while (code == kRefusedMetadata);
    }

    const long calls_;
    std::atomic<long> made_{0}, delivered_{0}, failures_{0};

public:
    const long steps, documents;
};

TEST_F(Storm, OfEightThreadsStepsDocumentsAndErrorsDeliversEachErrorOnceAndFailsNoOtherCall) {
    Tally tally(callsAsked());
    std::vector<std::thread> threads;
    for (long thread = 0; thread < kThreads; ++thread) threads.emplace_back([&, thread] { tally.makeCalls(thread); });
    const long errors = tally.steps;
    for (long error = 1; error <= errors; ++error) {
        tally.awaitCalls(error, errors + 1);
        controller_.refusesMetadata = true;
        tally.awaitErrors(error);
        EXPECT_EQ(tally.delivered(), error);
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(tally.failures(), 0);
    EXPECT_EQ(tally.delivered(), errors);
    EXPECT_EQ(controller_.refusedMetadata, errors);
    std::cout << "storm: " << callsAsked() << " calls of " << kThreads << " threads, " << tally.steps << " steps, "
              << tally.documents << " documents, " << errors << " errors of the monitoring thread delivered "
              << tally.delivered() << " times, " << tally.failures() << " other errors\n";
}

std::atomic<bool> isHolding{false};
std::atomic<long> heldSelects{0};

void holdTheAlignment() {
    if (!isHolding) return;
    ++heldSelects;
    isHolding.wait(true);
}

TEST_F(Storm, LetsNeitherGetTimeNorSteeringWaitForAnAlignment) {
    beforeEachSelect(holdTheAlignment);
    isHolding = true;
    StatusHolder status;
    zuqxmtk_snapTime(200, status.get());
    while (heldSelects == 0) std::this_thread::yield();
    std::atomic<long> failures{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&failures] {
            for (unsigned long call = 0; call < 1000; ++call) failures += callOnce(call) != 0 ? 1 : 0;
        });
    }
    for (std::thread& thread : threads) thread.join();  // the alignment cannot go on before this
    EXPECT_EQ(failures, 0);
    isHolding = false;
    isHolding.notify_all();
    beforeEachSelect(nullptr);
    std::cout << "storm: " << kThreads * 1000 << " calls answered while an alignment was held\n";
}

TEST(StormOfLives, AThousandLivesLeaveNothing) {
    alarm(300);
    SimulatedController controller;
    controller.isQuiet = true;
    answerFrom(&controller);
    letThreadsRun(true);
    for (int life = 0; life < 1000; ++life) {
        StatusHolder status;
        zuqxmtk_initialize(status.get());
        ASSERT_EQ(status->code, 0) << status.getText();
        zuqxmtk_finalize();
    }
    letThreadsRun(false);
    answerFrom(nullptr);
    controller.noteWhatIsLeft();
    EXPECT_EQ(controller.journal().back().find('='), std::string::npos);      // no descriptor
    EXPECT_EQ(controller.journal().back().find("alive"), std::string::npos);  // no child
    std::cout << "storm: 1000 lives, nothing left\n";
    alarm(0);
}

}  // namespace
}  // namespace faults
