// Tests of phc2sys: started, signalled and reaped as a real child, disciplining the simulated system clock.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper

#include "tests/unit/board/preload/boardOn.h"

using namespace boardtest;

namespace shimProcessTest {

class Children : public BoardOn {
protected:
    Children() { switchOn(); }
};

TEST_F(Children, StepTheSystemClockOntoTheirSource) {
    const pid_t pid = startPhc2sys("enp2s0");
    EXPECT_GT(pid, 5'000'000) << "no real process can have it";
    EXPECT_EQ(sleep(10), 0U);
    const board_truth truth = board_->truth();
    const std::int64_t apart = truth.difference_ns[BOARD_CLOCK_SYSTEM] - truth.difference_ns[BOARD_CLOCK_PHC(0)];
    EXPECT_LT(std::abs(apart), 1000);
    EXPECT_EQ(kill(pid, SIGKILL), 0);
}

TEST_F(Children, AreZombiesUntilTheyAreReaped) {
    const pid_t pid = startPhc2sys("enp1s0");
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, WNOHANG), 0);
    ASSERT_EQ(kill(pid, SIGKILL), 0);
    EXPECT_EQ(kill(pid, 0), 0);
    EXPECT_EQ(waitpid(-1, &status, 0), pid);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
    EXPECT_THAT(kill(pid, SIGKILL), FailsWith(ESRCH));
}

TEST_F(Children, CanBeLookedAtWithoutBeingReaped) {
    constexpr int kLook = WEXITED | WNOHANG | WNOWAIT;
    const pid_t pid = startPhc2sys("enp1s0");
    siginfo_t child{};
    ASSERT_EQ(waitid(P_ALL, 0, &child, kLook), 0);
    EXPECT_EQ(child.si_pid, 0) << "it runs";
    ASSERT_EQ(kill(pid, SIGKILL), 0);
    ASSERT_EQ(waitid(P_ALL, 0, &child, kLook), 0);
    EXPECT_EQ(child.si_pid, pid);
    EXPECT_EQ(child.si_code, CLD_KILLED);
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, WNOHANG), pid) << "it was only looked at";
}

TEST_F(Children, ExitAtOnceWithoutAClockToFollow) {
    const pid_t pid = startPhc2sys("nothing0");
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 255);
}

TEST_F(Children, OfTheMachineAreStartedAndReapedAsEver) {
    pid_t pid = 0;
    const char* const words[] = {"sh", "-c", "exit 3", nullptr};
    ASSERT_EQ(posix_spawnp(&pid, "sh", nullptr, nullptr, const_cast<char* const*>(words), environ), 0);
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_EQ(WEXITSTATUS(status), 3);
}

TEST_F(Children, ForkedFromHereLeaveTheBoardAlone) {
    close(open("/dev/ptp0", O_RDWR));
    const Fd ptp(open("/dev/ptp0", O_RDWR));
    const std::size_t lines = board_->trace().size();
    const pid_t pid = fork();
    if (pid == 0) {  // with its own descriptor table
        close(ptp);
        _exit(open("/dev/null", O_RDWR) == ptp && write(ptp, "x", 1) == 1 ? 4 : 5);
    }
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_EQ(WEXITSTATUS(status), 4);
    EXPECT_EQ(board_->trace().size(), lines);
}

}  // namespace shimProcessTest
