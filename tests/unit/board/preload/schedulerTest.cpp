// Tests of the deterministic scheduler: equal seeds give equal runs, whatever the threads do.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <sys/timex.h>

#include "tests/unit/board/preload/boardOn.h"

using namespace boardtest;
using namespace std::chrono_literals;

namespace schedulerTest {

class SchedulerRuns : public BoardOn {
protected:
    /// Several threads read, step and wait, interleaved.
    std::string play(std::uint64_t seed) {
        switchOn("", seed);
        {
            const Fd ptp(open("/dev/ptp1", O_RDWR));
            std::mutex mutex;
            std::condition_variable condition;
            std::vector<std::thread> threads;
            for (int i = 0; i < 5; ++i) threads.emplace_back([&, i] { work(ptp, i, mutex, condition); });
            for (std::thread& thread : threads) thread.join();
        }
        std::string trace = board_->traceText();
        board_.reset();
        return trace;
    }

private:
    static void work(int ptp, int number, std::mutex& mutex, std::condition_variable& condition) {
        for (int round = 0; round < 40; ++round) {
            std::unique_lock lock(mutex);
            timex step{};
            step.modes = ADJ_SETOFFSET | ADJ_NANO;
            step.time.tv_usec = number + round;
            EXPECT_GE(clock_adjtime(BOARD_WIRE_FD_TO_CLOCK(ptp), &step), 0);
            if (round % 3 == number % 3) condition.notify_all();
            condition.wait_for(lock, std::chrono::microseconds(300 * (number + 1)));
            lock.unlock();
            for (int i = 0; i < 20 * number; ++i) now(CLOCK_REALTIME);
        }
    }
};

TEST_F(SchedulerRuns, OfOneSeedAreEqualToTheLastByte) {
    const std::string first = play(3);
    EXPECT_GT(first.size(), 100'000U);
    for (int again = 0; again < 5; ++again) ASSERT_TRUE(play(3) == first);
}

TEST_F(SchedulerRuns, OfTwoSeedsDiffer) { EXPECT_FALSE(play(3) == play(4)); }

TEST_F(SchedulerRuns, GoOnWhenThereAreMoreThreadsThanPlaces) {
    switchOn();
    std::atomic<int> done{0};
    std::mutex mutex;
    std::vector<std::thread> threads;
    for (int i = 0; i < 300; ++i) {
        threads.emplace_back([&] {
            const std::lock_guard lock(mutex);
            ++done;
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(done.load(), 300);
}

TEST_F(SchedulerRuns, MayDetachThreads) {
    switchOn();
    std::atomic<int> done{0};
    for (int i = 0; i < 20; ++i) std::thread([&] { ++done; }).detach();
    std::this_thread::sleep_for(1s);
    EXPECT_EQ(done.load(), 20);
}

}  // namespace schedulerTest
