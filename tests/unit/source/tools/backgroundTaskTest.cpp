// Tasks on threads of their own.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/tools/backgroundTask.h"

#include "tests/support/test.h"

namespace backgroundTaskTest {

using halvexTimekeeper::startBackgroundTask;

TEST(BackgroundTask, RunsOnAThreadOfItsOwnWithoutBeingWaitedFor) {
    const auto host = std::this_thread::get_id();
    std::promise<std::thread::id> runsOn;
    const auto task = startBackgroundTask([&] { runsOn.set_value(std::this_thread::get_id()); });
    EXPECT_NE(runsOn.get_future().get(), host);
}

TEST(BackgroundTask, HandsOverWhatItThrew) {
    auto task = startBackgroundTask([] { throw std::runtime_error("thrown"); });
    EXPECT_THROW(task.get(), std::runtime_error);
}

TEST(BackgroundTask, IsWaitedForByTheDestructorOfItsFuture) {
    std::promise<void> mayEnd;
    std::thread releasing;
    bool hasEnded = false;
    {
        const auto task = startBackgroundTask([&] {
            mayEnd.get_future().wait();
            hasEnded = true;
        });
        releasing = std::thread([&] { mayEnd.set_value(); });
    }
    EXPECT_TRUE(hasEnded);
    releasing.join();
}

TEST(BackgroundTask, GoesOnWhenSomebodyCancelsItsThread) {
    bool hasEnded = false;
    auto task = startBackgroundTask([&] {
        pthread_cancel(pthread_self());
        pthread_testcancel();
        hasEnded = true;
    });
    EXPECT_NO_THROW(task.get());
    EXPECT_TRUE(hasEnded);
}

TEST(BackgroundTask, BlocksEverySignalOnItsThreadAndNoneOnTheCallers) {
    sigset_t before, during, after;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    auto task = startBackgroundTask([&] { pthread_sigmask(SIG_SETMASK, nullptr, &during); });
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    task.get();
    for (const int signal : {SIGINT, SIGTERM, SIGALRM, SIGUSR1, SIGCHLD, SIGRTMIN, SIGRTMAX}) {
        EXPECT_EQ(sigismember(&during, signal), 1) << signal;
        EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal)) << signal;
    }
}

}  // namespace backgroundTaskTest
