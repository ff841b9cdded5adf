// The phc2sys launcher.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/tools/spawnPhc2Sys.h"

#include "tests/support/libcHooks.h"
#include "tests/support/raisedError.h"

namespace halvexTimekeeper::spawnPhc2SysTest {

using namespace testsupport;

constexpr ExpectedSite kSpawnFailed{-52008, "zuplaterr_osFault", "spawnPhc2Sys", 58};

/// Stores the entry's arguments and every signal sent.
struct SpawnPhc2SysTest : testing::Test {
    SpawnPhc2SysTest() {
        libcHooks().kill = [this](pid_t pid, int signal) {
            signals.emplace_back(pid, signal);
            errno = ESRCH;
            return -1;
        };
    }

    SpawnPhc2Sys::PosixSpawn spawning(pid_t pid, int result, int error) {
        return [=, this](pid_t* pidOut, const char* pathIn, const posix_spawn_file_actions_t* fileActionsIn,
                         const posix_spawnattr_t* attributesIn, char* const argv[], char* const envp[]) {
            ++calls;
            path = pathIn;
            hasExtras = fileActionsIn != nullptr || attributesIn != nullptr;
            for (char* const* argument = argv; *argument != nullptr; ++argument) arguments.emplace_back(*argument);
            environment = envp;
            *pidOut = pid;
            errno = error;
            return result;
        };
    }

    LibcHooksGuard hooks;
    std::vector<std::pair<pid_t, int>> signals;
    int calls = 0;
    std::string path;
    bool hasExtras = true;
    std::vector<std::string> arguments;
    char* const* environment = nullptr;
};

TEST_F(SpawnPhc2SysTest, StartsTheExecutableWithItsArgumentsInOrder) {
    const auto child = SpawnPhc2Sys::launch("enp1s0", spawning(4711, 0, 0));
    EXPECT_NE(child, nullptr);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(path, "/usr/local/tarnesk/share/Horlix/TimeKeepers/phc2sys");
    EXPECT_EQ(arguments, (std::vector<std::string>{"phc2sys", "-O", "0", "-l", "4", "-c", "CLOCK_REALTIME", "-F",
                                                   "0.000001", "-s", "enp1s0"}));
    EXPECT_FALSE(hasExtras);
}

TEST_F(SpawnPhc2SysTest, HandsTheHostsEnvironmentOnUnchanged) {
    const auto child = SpawnPhc2Sys::launch("enp1s0", spawning(4711, 0, 0));
    EXPECT_EQ(environment, environ);
}

TEST_F(SpawnPhc2SysTest, KillsTheChildWithSignal9OnceWhenDestroyed) {
    auto child = SpawnPhc2Sys::launch("enp1s0", spawning(4711, 0, 0));
    EXPECT_TRUE(signals.empty());
    child.reset();
    EXPECT_EQ(signals, (std::vector<std::pair<pid_t, int>>{{4711, 9}}));
}

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

TEST_F(SpawnPhc2SysTest, UsesTheLinuxFunctionUnlessGivenAnother) {
    libcHooks().posix_spawn = spawning(4711, 0, 0);
    SpawnPhc2Sys::launch("enp2s0").reset();
    EXPECT_EQ(arguments.back(), "enp2s0");
    EXPECT_EQ(signals.size(), 1U);
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
