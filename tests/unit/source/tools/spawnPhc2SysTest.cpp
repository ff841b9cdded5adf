// The phc2sys launcher.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/tools/spawnPhc2Sys.h"

#include "tests/support/libcHooks.h"
#include "tests/support/raisedError.h"

namespace halvexTimekeeper::spawnPhc2SysTest {

using namespace testsupport;

constexpr ExpectedSite kSpawnFailed{-52008, "zuplaterr_osFault", "spawnPhc2Sys", 58};

/// Stores every signal sent.
struct SpawnPhc2SysTest : testing::Test {
    SpawnPhc2SysTest() {
        libcHooks().kill = [this](pid_t pid, int signal) {
            signals.emplace_back(pid, signal);
            errno = ESRCH;
            return -1;
        };
    }

    static SpawnPhc2Sys::PosixSpawn spawning(pid_t pid, int result, int error) {
        return [=](pid_t* pidOut, auto&&...) {
            *pidOut = pid;
            errno = error;
            return result;
        };
    }

    LibcHooksGuard hooks;
    std::vector<std::pair<pid_t, int>> signals;
};

TEST_F(SpawnPhc2SysTest, SendsNoSignalWhenTheProcessIdIs0) {
    SpawnPhc2Sys::launch("enp1s0", spawning(0, 0, 0)).reset();
    EXPECT_TRUE(signals.empty());
}

TEST_F(SpawnPhc2SysTest, TellsErrnoTwiceAndSendsNoSignalWhenTheSpawnFailsWhateverItWrote) {
    for (const auto& [pid, result] : {std::pair{0, 13}, {0, -1}, {4711, 2}}) {
        EXPECT_EQ(raisedBy([&] { SpawnPhc2Sys::launch("enp1s0", spawning(pid, result, 2)); }),
                  makeError(kSpawnFailed, "[ SpawnPhc2Sys ] When spawning phc2sys got error: 2 - 2"));
    }
    EXPECT_TRUE(signals.empty());
}

TEST_F(SpawnPhc2SysTest, PassesAnEmptyEntryOnAsTheStandardError) {
    EXPECT_THROW(SpawnPhc2Sys::launch("enp1s0", SpawnPhc2Sys::PosixSpawn()), std::bad_function_call);
    EXPECT_TRUE(signals.empty());
}

TEST_F(SpawnPhc2SysTest, LeavesAKilledChildAsAZombie) {
    libcHooks().kill = nullptr;
    pid_t childPid = 0;
    auto child = SpawnPhc2Sys::launch("enp1s0", [&](pid_t* pid, const char*, const posix_spawn_file_actions_t*,
                                                    const posix_spawnattr_t*, char* const[], char* const envp[]) {
        char* const argv[] = {const_cast<char*>("sleep"), const_cast<char*>("60"), nullptr};
        const int result = ::posix_spawn(pid, "/bin/sleep", nullptr, nullptr, argv, envp);
        childPid = *pid;
        return result;
    });
    ASSERT_GT(childPid, 0);
    child.reset();
    siginfo_t end{};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(childPid), &end, WEXITED | WNOWAIT), 0);
    EXPECT_EQ(end.si_code, CLD_KILLED);
    EXPECT_EQ(end.si_status, SIGKILL);
    EXPECT_EQ(kill(childPid, 0), 0);  // exited, not reaped
    int status = 0;
    EXPECT_EQ(waitpid(childPid, &status, 0), childPid);
}

TEST(SpawnPhc2SysClass, HasAVirtualDestructorAndIsMadeByLaunchingAlone) {
    static_assert(std::has_virtual_destructor_v<SpawnPhc2Sys>);
    static_assert(!std::is_default_constructible_v<SpawnPhc2Sys>);
    static_assert(!std::is_copy_constructible_v<SpawnPhc2Sys>);
}

}  // namespace halvexTimekeeper::spawnPhc2SysTest
