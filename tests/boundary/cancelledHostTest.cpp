// A host that cancels its threads, on a machine without the hardware and without any stand-ins.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <random>

#include "include/zuqxmtk.h"
#include "tests/support/statusHolder.h"
#include "tests/support/test.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testsupport::StatusHolder;

struct Export {
    const char* name;
    std::function<void(zuerr_Status*)> call;
    std::int32_t code;  ///< Expected code on this machine.
};

void swallow(const std::function<void()>& call) {
    try {
        call();
    } catch (const std::exception&) {
    }
}

const std::vector<Export> kExports{
    {"zuqxmtk_getAPIVersion", [](zuerr_Status*) { zuqxmtk_getAPIVersion(); }, 0},
    {"zuqxmtk_getName", [](zuerr_Status*) { swallow([] { zuqxmtk_getName(nullptr); }); }, 0},
    {"zuqxmtk_isSeeded", [](zuerr_Status*) { swallow(zuqxmtk_isSeeded); }, 0},
    {"zuqxmtk_getMinCorrectionPerSecond", zuqxmtk_getMinCorrectionPerSecond, -52010},
    {"zuqxmtk_getMaxCorrectionPerSecond", zuqxmtk_getMaxCorrectionPerSecond, -52010},
    {"zuqxmtk_setCorrectionPerSecond", [](zuerr_Status* status) { zuqxmtk_setCorrectionPerSecond(1, status); }, -52010},
    {"zuqxmtk_getCorrectionPerSecond", [](zuerr_Status* status) { zuqxmtk_getCorrectionPerSecond(nullptr, status); },
     -52010},
    {"zuqxmtk_snapTime", [](zuerr_Status* status) { zuqxmtk_snapTime(200, status); }, -52010},
    {"zuqxmtk_getTime", [](zuerr_Status* status) { zuqxmtk_getTime(nullptr, status); }, -52010},
    {"zuqxmtk_applyMetaData", [](zuerr_Status* status) { zuqxmtk_applyMetaData("{}", status); }, -52010},
    {"zuqxmtk_initialize", zuqxmtk_initialize, -52010},
    {"zuqxmtk_finalize", [](zuerr_Status*) { zuqxmtk_finalize(); }, 0},
};

/// The machine as this test sees it: no device, one network interface that looks like an I210 without a clock, and a
/// log socket or none. Constructed in a child process of the test, which it does not outlive.
class OwnMachine {
public:
    /// Returns whether this kernel grants the process its own mounts.
    bool enter() {
        const std::string user = std::to_string(geteuid()), group = std::to_string(getegid());
        if (unshare(CLONE_NEWNS) != 0) {
            if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
            std::ofstream("/proc/self/setgroups") << "deny";
            std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
            std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
        }
        if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 || !cover("/dev") ||
            !cover("/sys/class/net")) {
            return false;
        }
        std::filesystem::create_directories("/sys/class/net/lo/device");
        std::ofstream("/sys/class/net/lo/device/vendor") << "0x8086\n";
        std::ofstream("/sys/class/net/lo/device/device") << "0x1533\n";
        return true;
    }

    void addLog() {
        log_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0);
        const sockaddr_un address{AF_UNIX, "/dev/log"};
        ASSERT_EQ(bind(log_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }

    /// Errors logged since the last call.
    std::vector<std::string> takeErrors() const {
        std::vector<std::string> lines;
        char line[8192];
        for (ssize_t length = 0; (length = recv(log_, line, sizeof line, 0)) > 0;) {
            lines.emplace_back(line, static_cast<std::size_t>(length));
            if (lines.back().find("Encountered error in ") == std::string::npos) lines.pop_back();
        }
        return lines;
    }

private:
    static bool cover(const char* path) { return mount("none", path, "tmpfs", 0, nullptr) == 0; }
    int log_ = -1;
};

long countDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

/// A call of one export by a thread with a pending cancellation.
struct CancelledCall {
    const Export& called;
    StatusHolder status{};
    bool hasReturned = false;

    void* make() {
        pthread_t thread;
        EXPECT_EQ(pthread_create(&thread, nullptr, run, this), 0);
        void* result = nullptr;
        EXPECT_EQ(pthread_join(thread, &result), 0);
        return result;
    }

    static void* run(void* given) {
        auto& call = *static_cast<CancelledCall*>(given);
        pthread_cancel(pthread_self());
        call.called.call(call.status.get());
        call.hasReturned = true;
        pthread_testcancel();
        return nullptr;
    }
};

void callAllOnCancelledThreads(const OwnMachine& machine, bool hasLog) {
    syslog(LOG_INFO, "the C library opens its socket to the log");
    const long descriptors = countDescriptors();
    for (const Export& called : kExports) {
        SCOPED_TRACE(called.name);
        CancelledCall call{called};
        EXPECT_EQ(call.make(), PTHREAD_CANCELED);
        EXPECT_TRUE(call.hasReturned);
        EXPECT_EQ(call.status->code, called.code);
        EXPECT_EQ(countDescriptors(), descriptors);
        if (!hasLog) continue;
        if (called.code == 0) {
            EXPECT_THAT(machine.takeErrors(), testing::IsEmpty());
        } else {
            EXPECT_THAT(machine.takeErrors(),
                        ElementsAre(HasSubstr(std::string("Encountered error in ") + called.name + ": FAIL(" +
                                              std::to_string(called.code) + ",{\"error_constant\"")));
        }
    }
}

void* liveUntilCancelled(void*) {
    for (;;) {
        for (const Export& called : kExports) {
            StatusHolder status;
            called.call(status.get());
            EXPECT_EQ(status->code, called.code) << called.name;
        }
        pthread_testcancel();
    }
}

/// A thread calls every export in turn and is cancelled at a random point.
void cancelAtRandom(const OwnMachine& machine) {
    const std::jthread logDaemon([&machine](std::stop_token stop) {
        while (!stop.stop_requested()) {
            machine.takeErrors();
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
    });
    syslog(LOG_INFO, "the C library opens its socket to the log");
    const long descriptors = countDescriptors();
    std::mt19937 random(1);
    for (int life = 0; life < 300; ++life) {
        pthread_t thread;
        ASSERT_EQ(pthread_create(&thread, nullptr, liveUntilCancelled, nullptr), 0);
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 700));
        pthread_cancel(thread);
        void* result = nullptr;
        ASSERT_EQ(pthread_join(thread, &result), 0);
        EXPECT_EQ(result, PTHREAD_CANCELED);
    }
    EXPECT_EQ(countDescriptors(), descriptors);
}

constexpr int kHasFailed = 1;
constexpr int kNotAllowed = 2;

class CancelledHost : public testing::TestWithParam<bool> {
protected:
    /// Runs `story` on a machine of its own in a child process: a wrong cancellation may end the process.
    void tell(const std::function<void(const OwnMachine&)>& story) {
        const pid_t child = fork();
        if (child == 0) {
            OwnMachine machine;
            if (!machine.enter()) _exit(kNotAllowed);
            if (GetParam()) machine.addLog();
            story(machine);
            _exit(HasFailure() ? kHasFailed : 0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        if (WIFEXITED(status) && WEXITSTATUS(status) == kNotAllowed) GTEST_SKIP() << "mounts of its own are refused";
        EXPECT_EQ(status, 0) << "the child's wait status";
    }
};

INSTANTIATE_TEST_SUITE_P(OnAMachine, CancelledHost, testing::Bool(),
                         [](const auto& tested) { return tested.param ? "WithALog" : "WithoutALog"; });

TEST_P(CancelledHost, GetsEveryExportFinishedAndReportedByAThreadWhoseCancellationIsPending) {
    tell([this](const OwnMachine& machine) { callAllOnCancelledThreads(machine, GetParam()); });
}

TEST_P(CancelledHost, LosesNothingWhenACancellationArrivesAtAnyMoment) { tell(cancelAtRandom); }

}  // namespace
