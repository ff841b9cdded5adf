// Listing the threads and descriptors of this process.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/processCensus.h"

#include <sys/syscall.h>

#include <latch>

#include "tests/support/test.h"

namespace processCensusTest {

using testsupport::countOpenDescriptors;
using testsupport::countThreads;

TEST(ProcessCensus, CountsEachOpenDescriptorOnce) {
    const int before = countOpenDescriptors();
    const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(countOpenDescriptors(), before + 1);
    close(fd);
    EXPECT_EQ(countOpenDescriptors(), before);
}

TEST(ProcessCensus, CountsAThreadFromItsStartToItsJoin) {
    const int before = countThreads();
    std::latch mayEnd(1);
    std::thread thread([&mayEnd] { mayEnd.wait(); });
    EXPECT_EQ(countThreads(), before + 1);
    mayEnd.count_down();
    thread.join();
    EXPECT_EQ(countThreads(), before);
}

#ifndef HALVEX_THREAD_SANITIZER  // does not allow a forked child to start threads
/// The first thread of a process stays listed until the last has ended.
TEST(ProcessCensus, DoesNotCountAJoinedThreadThatIsStillListed) {
    const pid_t child = fork();
    if (child == 0) {
        const auto judge = [](pthread_t first) {
            pthread_join(first, nullptr);
            int listed = 0;
            testsupport::forEachNumber("/proc/self/task", [&listed](int, int) { ++listed; });
            _exit(listed == 2 && countThreads() == 1 ? 0 : 1);
        };
        std::thread(judge, pthread_self()).detach();
        syscall(SYS_exit, 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}
#endif

}  // namespace processCensusTest
