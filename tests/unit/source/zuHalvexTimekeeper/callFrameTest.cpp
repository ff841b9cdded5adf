// The exported functions around a timekeeper that only records its calls.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/callFrame.h"

#include "include/zuqxmtk.h"
#include "tests/unit/source/zuHalvexTimekeeper/publishedTimekeeper.h"
#include "zuerr/status.h"

namespace callFrameTest {

using halvexTimekeeper::g_monitorStatus;
using halvexTimekeeper::g_monitorStatusMutex;
using halvexTimekeeper::g_timekeeper;
using namespace testing;
using namespace testsupport;

constexpr const char* kNotInitialised =
    R"({"error_constant":"zuplaterr_resourceNotInitialized","file":"halvexTimekeeperPlugin","line":160,)"
    R"("component":"halvexTimekeeper","zuhalvexTimekeeper_debug":{"errorInfo":)"
    R"("zuqxmtk_initialize was not called or did not successfully initialize the timekeeper."}})";

/// One export, called with a status; returns whether it wrote an output or returned a nonzero value.
struct FramedExport {
    const char* name;
    const char* reached;  ///< The resulting call of the timekeeper.
    std::function<bool(zuerr_Status*)> call;
};

void PrintTo(const FramedExport& tested, std::ostream* out) { *out << tested.name; }

const FramedExport kFramedExports[] = {
    {"zuqxmtk_getMinCorrectionPerSecond", "getMinCorrectionPerSecond()",
     [](zuerr_Status* status) { return zuqxmtk_getMinCorrectionPerSecond(status) == -62000; }},
    {"zuqxmtk_getMaxCorrectionPerSecond", "getMaxCorrectionPerSecond()",
     [](zuerr_Status* status) { return zuqxmtk_getMaxCorrectionPerSecond(status) == 62000; }},
    {"zuqxmtk_setCorrectionPerSecond", "setCorrectionPerSecond(-7)",
     [](zuerr_Status* status) {
         zuqxmtk_setCorrectionPerSecond(-7, status);
         return status == nullptr || status->code == 0;
     }},
    {"zuqxmtk_getCorrectionPerSecond", "getCorrectionPerSecond()",
     [](zuerr_Status* status) {
         std::int32_t correctionPpb = 11;
         zuqxmtk_getCorrectionPerSecond(&correctionPpb, status);
         EXPECT_TRUE(correctionPpb == 11 || correctionPpb == -1250);
         return correctionPpb == -1250;
     }},
    {"zuqxmtk_snapTime", "snapTime(-9223372036854775808)",
     [](zuerr_Status* status) {
         zuqxmtk_snapTime(INT64_MIN, status);
         return status == nullptr || status->code == 0;
     }},
    {"zuqxmtk_getTime", "getTime()",
     [](zuerr_Status* status) {
         QxmTimestamp time = 11;
         zuqxmtk_getTime(&time, status);
         EXPECT_TRUE(time == 11 || time == 0xFEDCBA9876543210);
         return time == 0xFEDCBA9876543210;
     }},
    {"zuqxmtk_applyMetaData", "applyMetaData({\"a\":1})",
     [](zuerr_Status* status) {
         zuqxmtk_applyMetaData("{\"a\":1}", status);
         return status == nullptr || status->code == 0;
     }},
};

/// Makes locking fail for a scope: an error-checking mutex that the calling thread already holds.
class RefusingMutex {
public:
    explicit RefusingMutex(std::mutex& mutex) : mutex_(mutex) {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
        pthread_mutex_init(mutex_.native_handle(), &attributes);
        pthread_mutexattr_destroy(&attributes);
        mutex_.lock();
    }
    ~RefusingMutex() {
        mutex_.unlock();
        pthread_mutex_init(mutex_.native_handle(), nullptr);
    }
    RefusingMutex(const RefusingMutex&) = delete;
    RefusingMutex& operator=(const RefusingMutex&) = delete;

private:
    std::mutex& mutex_;
};

class ExportsWithATimekeeper : public PublishedTimekeeper {
protected:
    ~ExportsWithATimekeeper() override {
        zuerr::freeJson(g_monitorStatus);
        g_monitorStatus.code = 0;
    }

    void recordMonitorError(std::int32_t code) {
        g_monitorStatus.code = code;
        zuerr_setJson(&g_monitorStatus, R"({"from":"thread"})");
    }
};

class FramedCall : public ExportsWithATimekeeper, public WithParamInterface<FramedExport> {
protected:
    std::string errorLine(const std::string& status) const {
        return std::string("Encountered error in ") + GetParam().name + ": " + status;
    }
    /// The timekeeper's operation behind the export.
    static std::string operation() { return {GetParam().reached, std::string_view(GetParam().reached).find('(')}; }
};

INSTANTIATE_TEST_SUITE_P(Export, FramedCall, ValuesIn(kFramedExports),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST_P(FramedCall, ReachesTheTimekeeperAndDeliversItsResult) {
    EXPECT_TRUE(GetParam().call(status_.get()));
    EXPECT_THAT(timekeeper_->journal, ElementsAre(GetParam().reached));
    EXPECT_EQ(status_->code, 0);
    EXPECT_THAT(syslog_.getLines(), IsEmpty());
}

TEST_P(FramedCall, DoesNothingForAStatusThatHoldsAnError) {
    g_timekeeper.reset();
    recordMonitorError(-52024);
    status_->code = -1;
    EXPECT_FALSE(GetParam().call(status_.get()));
    EXPECT_EQ(status_->code, -1);
    EXPECT_EQ(status_->json, nullptr);
    EXPECT_EQ(g_monitorStatus.code, -52024) << "left for a call that can report it";
    EXPECT_THAT(syslog_.getLines(), IsEmpty());
}

TEST_P(FramedCall, IsNotStoppedByAWarning) {
    status_->code = 4;
    GetParam().call(status_.get());
    EXPECT_THAT(timekeeper_->journal, ElementsAre(GetParam().reached));
    EXPECT_EQ(status_->code, 4);
}

TEST_P(FramedCall, ReportsThatNothingIsInitialised) {
    g_timekeeper.reset();
    EXPECT_FALSE(GetParam().call(status_.get()));
    EXPECT_EQ(status_->code, -52010);
    EXPECT_EQ(status_.getText(), kNotInitialised);
    EXPECT_THAT(syslog_.getLines(),
                ElementsAre(SyslogLine{LOG_ERR, errorLine(std::string("FAIL(-52010,") + kNotInitialised + ")")}));
}

TEST_P(FramedCall, DeliversAnErrorOfTheMonitoringThreadOnceWithoutReachingTheTimekeeper) {
    recordMonitorError(-52024);
    EXPECT_FALSE(GetParam().call(status_.get()));
    EXPECT_EQ(status_->code, -52024);
    EXPECT_EQ(status_.getText(), R"({"from":"thread"})");
    EXPECT_THAT(timekeeper_->journal, IsEmpty());
    EXPECT_THAT(syslog_.getTexts(LOG_ERR), ElementsAre(errorLine(R"(FAIL(-52024,{"from":"thread"}))")));
    EXPECT_EQ(g_monitorStatus.code, 0);
    EXPECT_EQ(g_monitorStatus.json, nullptr);

    StatusHolder next;
    EXPECT_TRUE(GetParam().call(next.get()));
}

TEST_P(FramedCall, DeliversAnErrorOfTheMonitoringThreadEvenWhenNothingIsInitialised) {
    g_timekeeper.reset();
    recordMonitorError(-52024);
    GetParam().call(status_.get());
    EXPECT_EQ(status_->code, -52024);
}

TEST_P(FramedCall, LeavesAWarningOfTheMonitoringThreadWhereItIs) {
    recordMonitorError(2);
    EXPECT_TRUE(GetParam().call(status_.get()));
    EXPECT_EQ(g_monitorStatus.code, 2);
}

TEST_P(FramedCall, WaitsWhileTheMonitoringThreadIsRecording) {
    std::unique_lock recording(g_monitorStatusMutex);
    auto called = std::async(std::launch::async, [this] { GetParam().call(status_.get()); });
    EXPECT_EQ(called.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    recordMonitorError(-52024);
    recording.unlock();
    called.get();
    EXPECT_EQ(status_->code, -52024);
    EXPECT_THAT(timekeeper_->journal, IsEmpty());
}

TEST_P(FramedCall, ReportsAMonitorStatusMutexThatCannotBeLockedAsASoftwareFault) {
    const RefusingMutex refusing(g_monitorStatusMutex);
    recordMonitorError(-52024);
    EXPECT_FALSE(GetParam().call(status_.get()));
    EXPECT_EQ(status_->code, -52003);
    EXPECT_EQ(status_.getJson()["std_exception_what"], "Resource deadlock avoided");
    EXPECT_THAT(timekeeper_->journal, IsEmpty());
    EXPECT_EQ(g_monitorStatus.code, -52024) << "left for a call that can lock the mutex";
}

TEST_P(FramedCall, TurnsAnErrorOfTheTimekeeperIntoTheStatusAndOneLine) {
    timekeeper_->failNext(operation(), -52024);
    EXPECT_FALSE(GetParam().call(status_.get()));
    EXPECT_EQ(status_->code, -52024);
    EXPECT_EQ(status_.getMessage(), "device");
    EXPECT_THAT(syslog_.getTexts(LOG_ERR), ElementsAre(errorLine("FAIL(-52024," + status_.getText() + ")")));
}

TEST_P(FramedCall, ReportsMissingMemoryAndForeignExceptions) {
    timekeeper_->failNext(operation(), [] { throw std::bad_alloc(); });
    timekeeper_->failNext(operation(), [] { throw std::runtime_error("foreign"); });
    timekeeper_->failNext(operation(), [] { throw 42; });
    for (const std::int32_t code : {-52000, -52003, -52003}) {
        StatusHolder status;
        EXPECT_FALSE(GetParam().call(status.get()));
        EXPECT_EQ(status->code, code);
    }
    EXPECT_EQ(syslog_.getTexts(LOG_ERR).size(), 3U);
}

TEST_P(FramedCall, ReplacesAWarningOfTheCallerByAnError) {
    g_timekeeper.reset();
    status_->code = 9;
    GetParam().call(status_.get());
    EXPECT_EQ(status_->code, -52010);
}

TEST_P(FramedCall, SaysWarnForAWarningThatTheErrorDidNotReplaceAndPassForNoCodeAtAll) {
    timekeeper_->failNext(operation(), [] { throwBare(6); });
    timekeeper_->failNext(operation(), [] { throwBare(0); });
    status_->code = 4;
    ASSERT_TRUE(zuerr_setJson(status_.get(), R"({"of":"4"})"));
    EXPECT_FALSE(GetParam().call(status_.get()));
    StatusHolder fresh;
    GetParam().call(fresh.get());
    EXPECT_EQ(fresh->code, 0);
    EXPECT_THAT(syslog_.getTexts(LOG_ERR), ElementsAre(errorLine(R"(WARN(4,{"of":"4"}))"), errorLine("PASS(0,null)")));
}

TEST_P(FramedCall, PrintsTheOldCodeAndTextOfAStatusThatHoldsAnErrorByThen) {
    timekeeper_->failNext(operation(), [this] {
        status_->code = -1;  // set by the host during the call
        zuerr_setJson(status_.get(), R"({"of":"-1"})");
        throwBare(-52024);
    });
    EXPECT_FALSE(GetParam().call(status_.get()));
    EXPECT_THAT(syslog_.getTexts(LOG_ERR), ElementsAre(errorLine(R"(FAIL(-1,{"of":"-1"}))")));
}

TEST_P(FramedCall, ReportsToSyslogOnlyWhenTheCallerHasNoStatus) {
    GetParam().call(nullptr);
    EXPECT_THAT(timekeeper_->journal, ElementsAre(GetParam().reached));
    g_timekeeper.reset();
    GetParam().call(nullptr);
    EXPECT_THAT(syslog_.getTexts(LOG_ERR), ElementsAre(errorLine(std::string("FAIL(-52010,") + kNotInitialised + ")")));
}

TEST_P(FramedCall, KeepsTheCodeWhenTheHostCannotGrowItsText) {
    g_timekeeper.reset();
    zuerr_Status status{0, 0, nullptr, nullptr};
    GetParam().call(&status);
    EXPECT_EQ(status.code, -52010);
    EXPECT_EQ(status.json, nullptr);
    EXPECT_THAT(syslog_.getTexts(LOG_ERR), ElementsAre(errorLine("FAIL(-52010,null)")));
}

using NullOutput = ExportsWithATimekeeper;

TEST_F(NullOutput, IsAnInvalidParameterAndReachesNothing) {
    zuqxmtk_getTime(nullptr, status_.get());
    EXPECT_EQ(status_->code, -52005);
    EXPECT_EQ(status_.getMessage(), "The output pointer is null.");
    EXPECT_EQ(status_.getJson()["file"], "halvexTimekeeperPlugin");
    EXPECT_EQ(status_.getJson()["line"], 168);
    StatusHolder other;
    zuqxmtk_getCorrectionPerSecond(nullptr, other.get());
    EXPECT_EQ(other->code, -52005);
    EXPECT_THAT(timekeeper_->journal, IsEmpty());
}

using MonitorStatusDeathTest = ExportsWithATimekeeper;

TEST_F(MonitorStatusDeathTest, FreesTheTextThatNoCallHasCollectedWhenTheLibraryGoes) {
    const auto endWithAnError = [this] {
        recordMonitorError(-52024);
        g_monitorStatus.reallocJson = [](zuerr_Status* status, std::uint32_t size) {
            if (size == 0) std::fprintf(stderr, "freed %s\n", status->json);
            return zuerr_defaultReallocJson(status, size);
        };
        std::exit(0);
    };
    EXPECT_EXIT(endWithAnError(), ExitedWithCode(0), R"(freed \{"from":"thread"\})");
}

using CancelledThread = ExportsWithATimekeeper;

TEST_F(CancelledThread, UnwindsThroughTheFrameAndReportsNothing) {
    timekeeper_->failNext("getTime", [] {
        pthread_cancel(pthread_self());
        pthread_testcancel();
    });
    pthread_t thread;
    ASSERT_EQ(pthread_create(
                  &thread, nullptr,
                  [](void* status) -> void* {
                      QxmTimestamp time = 0;
                      zuqxmtk_getTime(&time, static_cast<zuerr_Status*>(status));
                      return nullptr;
                  },
                  status_.get()),
              0);
    void* result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_EQ(status_->code, 0);
    EXPECT_THAT(syslog_.getLines(), IsEmpty());
}

}  // namespace callFrameTest
