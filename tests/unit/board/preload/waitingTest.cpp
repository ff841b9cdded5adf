// Tests of waiting in virtual time: all ways in which threads wait for time or for each other.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <poll.h>
#include <semaphore.h>
#include <sys/select.h>
#include <sys/syscall.h>

#include "tests/unit/board/preload/boardOn.h"

using namespace boardtest;
using namespace std::chrono_literals;

namespace waitingTest {

class Waiting : public BoardOn {
protected:
    Waiting() { switchOn(); }

    /// Virtual time spent by `action`.
    template <typename Action>
    static std::uint64_t spanOf(Action&& action) {
        const std::uint64_t before = now(CLOCK_MONOTONIC);
        action();
        return now(CLOCK_MONOTONIC) - before;
    }
    static void expectAbout(std::uint64_t ns, std::uint64_t expected) {
        EXPECT_GE(ns, expected);
        EXPECT_LT(ns, expected + kMillisecond);
    }
};

TEST_F(Waiting, ByEverySleepTakesVirtualTimeOnly) {
    expectAbout(spanOf([] { sleep(3600); }), 3600 * kSecond);
    expectAbout(spanOf([] { usleep(900'000); }), 900 * kMillisecond);
    expectAbout(spanOf([] { std::this_thread::sleep_for(48h); }), 48 * 3600 * kSecond);
    expectAbout(spanOf([] {
                    select(0, nullptr, nullptr, nullptr, std::make_unique<timeval>(timeval{7200, 0}).get());
                }),
                7200 * kSecond);
    expectAbout(spanOf([] { poll(nullptr, 0, 7'200'250); }), 7'200'250 * kMillisecond);
    expectAbout(spanOf([] {
                    const timespec until = after(CLOCK_REALTIME, 5 * kSecond);
                    clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &until, nullptr);
                }),
                5 * kSecond);
}

TEST_F(Waiting, ForAMutexInVainEndsAtTheDeadline) {
    std::timed_mutex mutex;
    mutex.lock();
    std::thread other([&] { expectAbout(spanOf([&] { EXPECT_FALSE(mutex.try_lock_for(15ms)); }), 15 * kMillisecond); });
    std::this_thread::sleep_for(1s);
    mutex.unlock();
    other.join();
    EXPECT_TRUE(mutex.try_lock_for(15ms));
    mutex.unlock();
}

TEST_F(Waiting, OnTheSystemClockEndsEarlierWhenThatClockIsStepped) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_mutex_lock(&mutex);
    std::thread other([&] {
        const timespec until = after(CLOCK_REALTIME, 100 * kSecond);
        expectAbout(spanOf([&] { EXPECT_EQ(pthread_mutex_timedlock(&mutex, &until), ETIMEDOUT); }), 10 * kSecond);
    });
    std::this_thread::sleep_for(10s);
    const timespec later = after(CLOCK_REALTIME, 200 * kSecond);
    ASSERT_EQ(clock_settime(CLOCK_REALTIME, &later), 0);
    other.join();
    pthread_mutex_unlock(&mutex);
}

TEST_F(Waiting, WithARecursiveMutexAndAMonotonicConditionWorks) {
    pthread_mutexattr_t mutexAttributes;
    pthread_mutexattr_init(&mutexAttributes);
    pthread_mutexattr_settype(&mutexAttributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutexattr_setprotocol(&mutexAttributes, PTHREAD_PRIO_INHERIT);
    pthread_mutex_t mutex;
    ASSERT_EQ(pthread_mutex_init(&mutex, &mutexAttributes), 0);
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_t condition;
    ASSERT_EQ(pthread_cond_init(&condition, &attributes), 0);
    pthread_mutex_lock(&mutex);
    expectAbout(spanOf([&] {
                    const timespec until = after(CLOCK_MONOTONIC, 2 * kSecond);
                    EXPECT_EQ(pthread_cond_timedwait(&condition, &mutex, &until), ETIMEDOUT);
                }),
                2 * kSecond);
    std::thread waker([&] {
        std::this_thread::sleep_for(500ms);
        pthread_mutex_lock(&mutex);
        pthread_cond_signal(&condition);
        pthread_mutex_unlock(&mutex);
    });
    expectAbout(spanOf([&] {
                    const timespec until = after(CLOCK_MONOTONIC, 2 * kSecond);
                    EXPECT_EQ(pthread_cond_timedwait(&condition, &mutex, &until), 0);
                }),
                500 * kMillisecond);
    pthread_mutex_unlock(&mutex);
    waker.join();
    pthread_cond_destroy(&condition);
    pthread_mutex_destroy(&mutex);
}

TEST_F(Waiting, ForAFutureWorksWithAndWithoutALimit) {
    auto slow = std::async(std::launch::async, [] {
        std::this_thread::sleep_for(3s);
        return 42;
    });
    expectAbout(spanOf([&] { EXPECT_EQ(slow.wait_for(1s), std::future_status::timeout); }), kSecond);
    expectAbout(spanOf([&] { EXPECT_EQ(slow.get(), 42); }), 2 * kSecond - kMillisecond / 2);
    auto failing = std::async(std::launch::async, []() -> int { throw std::runtime_error("as asked"); });
    EXPECT_THROW(failing.get(), std::runtime_error);
}

TEST_F(Waiting, ForAnAtomicASemaphoreAndAnInitialisationWorks) {
    std::atomic<int> value{0};
    sem_t semaphore;
    sem_init(&semaphore, 0, 0);
    std::once_flag flag;
    int initialisations = 0;
    const auto initialise = [&] {
        std::call_once(flag, [&] {
            std::this_thread::sleep_for(1s);
            ++initialisations;
        });
    };
    std::thread other([&] {
        std::this_thread::sleep_for(2s);
        initialise();
        value = 1;
        value.notify_one();
        sem_post(&semaphore);
    });
    std::thread third([&] {
        std::this_thread::sleep_for(2500ms);
        initialise();
        EXPECT_EQ(initialisations, 1);
    });
    expectAbout(spanOf([&] { value.wait(0); }), 3 * kSecond - kMillisecond / 2);
    EXPECT_EQ(sem_wait(&semaphore), 0);
    other.join();
    third.join();
}

TEST_F(Waiting, OfALateDriverLetsTheOthersRun) {
    board_.reset();
    switchOn("[[fault]]\ncall = \"ioctl\"\ntarget = \"ferrox\"\ndelay = \"10 s\"\n");
    const Fd ferrox(open(BOARD_WIRE_FERROX_NODE, O_RDWR));
    std::atomic<int> passes{0};
    std::thread busy([&] {
        DriverCall call;
        EXPECT_EQ(call.get(ferrox, BOARD_WIRE_FERROX_GET_TIME), 0);
        EXPECT_EQ(passes.load(), 9);
    });
    for (int i = 0; i < 9; ++i) {
        std::this_thread::sleep_for(1s);
        ++passes;
    }
    busy.join();
}

TEST_F(Waiting, OutsideTheBoardLetsVirtualTimeGoOn) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::thread writer([&] {
        std::this_thread::sleep_for(20ms);
        EXPECT_EQ(write(ends[1], "x", 1), 1);
    });
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 1);
    EXPECT_EQ(byte, 'x');
    writer.join();
    close(ends[0]);
    close(ends[1]);
}

TEST_F(Waiting, ForTheClocksOfTheBoardLeavesTheOtherDeadlinesInOrder) {
    const pid_t child = startPhc2sys("enp1s0");
    const Fd ptp(open("/dev/ptp0", O_RDWR));
    std::atomic<int> timeouts{0};
    std::thread watcher([&] {
        pollfd entry{ptp, POLLIN, 0};
        for (int i = 0; i < 10; ++i) {
            expectAbout(spanOf([&] { EXPECT_EQ(poll(&entry, 1, 1100), 0); }), 1100 * kMillisecond);
            ++timeouts;
        }
    });
    expectAbout(spanOf([] { std::this_thread::sleep_for(6s); }), 6 * kSecond);
    EXPECT_EQ(timeouts.load(), 5);
    watcher.join();
    kill(child, SIGKILL);
}

TEST_F(Waiting, OutsideTheBoardHoldsVirtualTimeToTheRealPace) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        const timespec span{0, 100'000'000};
        syscall(SYS_nanosleep, &span, nullptr);
        _exit(syscall(SYS_write, ends[1], "x", 1) == 1 ? 0 : 1);
    }
    std::atomic<bool> stop{false};
    std::atomic<int> seconds{0};
    std::thread other([&] {
        while (!stop) {
            std::this_thread::sleep_for(1s);
            ++seconds;
        }
    });
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 1);
    EXPECT_LE(seconds.load(), 3) << "a tenth of a real second was no hour";
    stop = true;
    other.join();
    waitpid(child, nullptr, 0);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(Waiting, InARunningThreadDoesNotStarveTheOthers) {
    std::atomic<bool> stop{false};
    std::thread sleeper([&] {
        std::this_thread::sleep_for(5ms);
        stop = true;
    });
    while (!stop) now(CLOCK_MONOTONIC);
    sleeper.join();
    std::atomic<bool> yielded{false};
    std::thread setter([&] { yielded = true; });
    while (!yielded) std::this_thread::yield();
    setter.join();
}

TEST_F(Waiting, ByYieldingTakesTimeBesideOthersAndNoneWhenAlone) {
    const auto yieldOften = [] {
        for (int i = 0; i < 1000; ++i) std::this_thread::yield();
    };
    EXPECT_LT(spanOf(yieldOften), kMillisecond / 10)
        << "a leak checker waits like this for its helper, which does not exist here";
    std::thread sleeper([] { std::this_thread::sleep_for(5ms); });
    expectAbout(spanOf(yieldOften), kMillisecond);
    sleeper.join();
}

TEST_F(Waiting, OverTwentyMinutesOfTwoSecondWakesIsQuick) {
    timespec start{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &start);  // the machine's own clock
    std::thread monitor([] {
        std::mutex mutex;
        std::condition_variable condition;
        std::unique_lock lock(mutex);
        for (int i = 0; i < 600; ++i) condition.wait_for(lock, 2s);
    });
    expectAbout(spanOf([&] { monitor.join(); }), 1200 * kSecond - kMillisecond / 2);
    timespec end{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &end);
    EXPECT_LT(end.tv_sec - start.tv_sec, 5);
}

}  // namespace waitingTest
