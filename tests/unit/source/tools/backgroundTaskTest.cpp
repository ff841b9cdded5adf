// Tasks on threads of their own.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/tools/backgroundTask.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "tests/support/allocationCount.h"

namespace {

using halvexTimekeeper::BackgroundTask;

TEST(BackgroundTaskTest, RunsOnAThreadOfItsOwnEachTime) {
    std::atomic<int> runs{0};
    const auto host = std::this_thread::get_id();
    BackgroundTask task([&] { runs += std::this_thread::get_id() != host; });
    for (int run = 0; run < 3; ++run) {
        task.start();
        task.finish();
    }
    EXPECT_EQ(runs, 3);
}

TEST(BackgroundTaskTest, FinishesAtOnceWhenNothingWasStarted) {
    BackgroundTask task([] {});
    EXPECT_NO_THROW(task.finish());
}

TEST(BackgroundTaskTest, HandsOverWhatTheTaskThrewOnce) {
    BackgroundTask task([] { throw std::runtime_error("thrown"); });
    task.start();
    EXPECT_THROW(task.finish(), std::runtime_error);
    EXPECT_NO_THROW(task.finish());
}

TEST(BackgroundTaskTest, IsWaitedForByItsDestructor) {
    std::atomic<bool> mayEnd{false}, hasEnded{false};
    std::thread releasing;
    {
        BackgroundTask task([&] {
            mayEnd.wait(false);
            hasEnded = true;
        });
        task.start();
        releasing = std::thread([&] {
            mayEnd = true;
            mayEnd.notify_one();
        });
    }
    EXPECT_TRUE(hasEnded);
    releasing.join();
}

TEST(BackgroundTaskTest, IsStillWaitedForWhenAThreadThatWaitsForItIsCancelled) {
    std::atomic<bool> mayEnd{false}, hasEnded{false};
    BackgroundTask task([&] {
        mayEnd.wait(false);
        hasEnded = true;
    });
    task.start();
    pthread_t host;
    ASSERT_EQ(pthread_create(
                  &host, nullptr,
                  [](void* waited) -> void* {
                      static_cast<BackgroundTask*>(waited)->finish();
                      return nullptr;
                  },
                  &task),
              0);
    pthread_cancel(host);
    void* result = nullptr;
    pthread_join(host, &result);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_FALSE(hasEnded);

    mayEnd = true;
    mayEnd.notify_one();
    task.finish();
    EXPECT_TRUE(hasEnded);
}

TEST(BackgroundTaskTest, IsWaitedForByItsDestructorOnAThreadThatIsBeingCancelled) {
    static std::atomic<bool> hasEnded;
    hasEnded = false;
    pthread_t host;
    ASSERT_EQ(pthread_create(
                  &host, nullptr,
                  [](void*) -> void* {
                      BackgroundTask task([] { hasEnded = true; });
                      task.start();
                      pthread_cancel(pthread_self());
                      return nullptr;
                  },
                  nullptr),
              0);
    pthread_join(host, nullptr);
    EXPECT_TRUE(hasEnded);
}

TEST(BackgroundTaskTest, GoesOnWhenSomebodyCancelsItsThread) {
    bool hasEnded = false;
    BackgroundTask task([&] {
        pthread_cancel(pthread_self());
        pthread_testcancel();
        hasEnded = true;
    });
    task.start();
    task.finish();
    EXPECT_TRUE(hasEnded);
}

TEST(BackgroundTaskTest, BlocksEverySignalOnItsThreadAndNoneOnTheCallers) {
    sigset_t before, during, after;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    BackgroundTask task([&] { pthread_sigmask(SIG_SETMASK, nullptr, &during); });
    task.start();
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    task.finish();
    for (const int signal : {SIGINT, SIGTERM, SIGALRM, SIGUSR1, SIGCHLD, SIGRTMIN, SIGRTMAX}) {
        EXPECT_EQ(sigismember(&during, signal), 1) << signal;
        EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal)) << signal;
    }
}

TEST(BackgroundTaskTest, AllocatesNothingToStart) {
    BackgroundTask task([] {});
    task.start();
    task.finish();  // the C library keeps the stack of a thread that has ended for the next one
    const long before = testsupport::countAllocations();
    task.start();
    task.finish();
    EXPECT_EQ(testsupport::countAllocations() - before, 0);
}

}  // namespace
