// Initialisation and finalisation: shared state after each failing step, a second initialisation; metadata's wake-up.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/pluginLifecycle.h"

#include "include/zuqxmtk.h"
#include "tests/unit/source/zuHalvexTimekeeper/fakeI210.h"
#include "tests/unit/source/zuHalvexTimekeeper/publishedTimekeeper.h"

namespace halvexTimekeeper::pluginLifecycleTest {

using nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PlatStatus;
using nHALVEXTIMEKEEPER_18_1::nZUPLAT000::tEvent;
using namespace testing;
using namespace testsupport;

/// A controller with disabled slaves and drivers that answer 0 to everything: enough for initialisation.
class Lifecycle : public testing::Test {
protected:
    Lifecycle() {
        network_.writeFile("enp1s0/device/vendor", "0x8086\n");
        network_.writeFile("enp1s0/device/device", "0x1533\n");
        kernel_.interfaces = {{"enp1s0", {0, false}}};
        drivers_.writeFile(std::string(kFpga) + "\\0/interfacePath", "/dev/null");
        drivers_.writeFile(std::string(kFerrox) + "\\0/interfacePath", "/dev/null");
        oscillator_.writeFile("0-0055/name", "si514\n");
        oscillator_.writeFile("0-0055/ppb_offset", "0.000000\n");
        libcHooks().ioctl = [this](int, unsigned long request, void*) {
            constexpr unsigned long kTimeOfTheFpga = 4;  // must always succeed: a failed release terminates the process
            errno = EIO;
            return areDriversBroken && (request & 0xFF) != kTimeOfTheFpga ? -1 : 0;
        };
        libcHooks().posix_spawn = [](pid_t* pid, auto&&...) {
            *pid = 4000;
            return 0;
        };
        libcHooks().kill = [](pid_t, int) { return 0; };
        libcHooks().pthread_create = [this] {
            ++threadsStarted;
            return areThreadsBroken ? EAGAIN : 0;
        };
    }
    ~Lifecycle() override {
        zuqxmtk_finalize();
        zuerr::freeJson(g_monitorStatus);  // an error that the monitor left is not for the next test
        g_monitorStatus.code = 0;
    }

    static constexpr const char* kFpga = "driver/deviceInterfaces/nZUHORLIXFPGA000_HorlixFpga";
    static constexpr const char* kFerrox = "driver/deviceInterfaces/nZUHORLIXFERROX000_HorlixFerrox";

    std::int32_t initialize() {
        StatusHolder status;
        zuqxmtk_initialize(status.get());
        return status->code;
    }

    static void hide(const RedirectedDirectory& directory, const std::string& what) {
        std::filesystem::remove_all(directory.getRealPath() + "/" + what);
    }

public:  // what a failing step breaks
    void hideFpga() { hide(drivers_, std::string(kFpga) + "\\0"); }
    void hideFerrox() { hide(drivers_, std::string(kFerrox) + "\\0"); }
    void hideOscillator() { hide(oscillator_, "0-0055"); }
    void takeThePins() { kernel_.capabilities.n_pins = 3; }
    void takeTheInterface() { kernel_.interfaces.clear(); }

    std::atomic<bool> areDriversBroken{false}, areThreadsBroken{false};
    std::atomic<int> threadsStarted{0};

private:
    LibcHooksGuard hooks_;
    SyslogCapture syslog_;
    RedirectedDirectory network_{"/sys/class/net"};
    RedirectedDirectory drivers_{"/proc/driver/zu"};
    RedirectedDirectory oscillator_{"/sys/bus/i2c/drivers/si514"};
    FakeI210 kernel_;
};

constexpr auto refuse = [](auto&&...) { return ENOMEM; };

struct FailingStep {
    const char* name;
    std::function<void(Lifecycle&)> breakIt;
    std::int32_t code;
    bool isAfterPublishing = false;
};

void PrintTo(const FailingStep& step, std::ostream* out) { *out << step.name; }

const FailingStep kFailingSteps[] = {
    {"Mutex", [](Lifecycle&) { libcHooks().pthread_mutex_init = refuse; }, -52003},
    {"Condition", [](Lifecycle&) { libcHooks().pthread_cond_init = refuse; }, -52008},
    {"Discovery", [](Lifecycle& test) { test.takeTheInterface(); }, -52024},
    {"NoUsableInterface", [](Lifecycle& test) { test.takeThePins(); }, -52010},
    {"Fpga", [](Lifecycle& test) { test.hideFpga(); }, -52006},
    {"Ferrox", [](Lifecycle& test) { test.hideFerrox(); }, -52006},
    {"Phc2sys", [](Lifecycle&) { libcHooks().posix_spawn = refuse; }, -52008},
    {"Oscillator", [](Lifecycle& test) { test.hideOscillator(); }, -52006},
    {"Timekeeper", [](Lifecycle& test) { test.areDriversBroken = true; }, -52024},
    {"Thread", [](Lifecycle& test) { test.areThreadsBroken = true; }, -52003, true},
};

class FailingInitialisation : public Lifecycle, public WithParamInterface<FailingStep> {};

INSTANTIATE_TEST_SUITE_P(At, FailingInitialisation, ValuesIn(kFailingSteps),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST_P(FailingInitialisation, LeavesTheEventAndNothingElse) {
    GetParam().breakIt(*this);
    EXPECT_EQ(initialize(), GetParam().code);
    EXPECT_TRUE(g_wakeEvent);
    EXPECT_FALSE(g_timekeeper);
    EXPECT_FALSE(g_running);
    EXPECT_FALSE(g_monitorFuture.valid());
    zuqxmtk_finalize();
    EXPECT_FALSE(g_wakeEvent);
}

TEST_P(FailingInitialisation, LeavesAThreadThatRunsTheEventItWaitsFor) {
    ASSERT_EQ(initialize(), 0);
    const auto event = g_wakeEvent;
    const auto timekeeper = g_timekeeper;
    GetParam().breakIt(*this);
    EXPECT_EQ(initialize(), GetParam().code);
    EXPECT_EQ(g_wakeEvent, event);
    EXPECT_EQ(g_timekeeper, GetParam().isAfterPublishing ? nullptr : timekeeper);
    EXPECT_EQ(g_running, !GetParam().isAfterPublishing);
    EXPECT_TRUE(g_monitorFuture.valid());
    zuqxmtk_finalize();
    EXPECT_FALSE(g_wakeEvent);
}

TEST_F(Lifecycle, InitialisedTwiceWaitsForTheFormerThreadAndThenHasItsOwnEvent) {
    ASSERT_EQ(initialize(), 0);
    const auto formerEvent = g_wakeEvent;
    const auto formerTimekeeper = g_timekeeper;
    auto second = std::async(std::launch::async, [this] { return initialize(); });
    while (threadsStarted < 3) std::this_thread::yield();  // the first thread, the caller above, the second thread
    EXPECT_EQ(second.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    g_running = false;
    formerEvent->set();
    EXPECT_EQ(second.get(), 0);
    EXPECT_NE(g_wakeEvent, formerEvent);
    EXPECT_TRUE(g_wakeEvent);
    EXPECT_NE(g_timekeeper, formerTimekeeper);
}

using NullMetadata = PublishedTimekeeper;

TEST_F(NullMetadata, IsASoftwareFaultAndReachesNothing) {
    zuqxmtk_applyMetaData(nullptr, status_.get());
    EXPECT_EQ(status_->code, -52003);
    EXPECT_TRUE(status_.getJson().contains("std_exception_what"));
    EXPECT_THAT(timekeeper_->journal, IsEmpty());
}

class WakeUp : public PublishedTimekeeper {
protected:
    WakeUp() {
        PlatStatus status;
        g_wakeEvent = std::make_shared<tEvent>(&status);
    }
    bool isSet() const {
        PlatStatus status;
        g_wakeEvent->waitUntil(0, &status);
        return status.code == 0;
    }
};

TEST_F(WakeUp, FollowsMetadataThatWasHandedOver) {
    zuqxmtk_applyMetaData("{}", status_.get());
    EXPECT_TRUE(isSet());
}

TEST_F(WakeUp, DoesNotFollowMetadataThatFailed) {
    timekeeper_->failNext("applyMetaData", -52024);
    zuqxmtk_applyMetaData("{}", status_.get());
    EXPECT_FALSE(isSet());
}

TEST_F(WakeUp, DoesNotFollowMetadataBeforeInitialisation) {
    g_timekeeper.reset();
    zuqxmtk_applyMetaData("{}", status_.get());
    EXPECT_EQ(status_->code, -52010);
    EXPECT_FALSE(isSet());
}

TEST_F(WakeUp, DoesNotFollowMetadataOfACallerWhoseStatusHoldsAnError) {
    status_->code = -1;
    zuqxmtk_applyMetaData("{}", status_.get());
    EXPECT_FALSE(isSet());
    EXPECT_THAT(timekeeper_->journal, IsEmpty()) << "the timekeeper keeps its previous metadata";
}

}  // namespace halvexTimekeeper::pluginLifecycleTest
