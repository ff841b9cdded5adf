// A C++17 host linked with the library; runs on the simulated controller.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/statusHolder.h"
#include "tests/support/test.h"
#include "zuqxmtk.h"

namespace {

using testsupport::StatusHolder;

/// An initialised library around each test.
class LinkedHost : public testing::Test {
protected:
    LinkedHost() {
        StatusHolder status;
        zuqxmtk_initialize(status.get());
        EXPECT_EQ(status->code, 0) << status.getText();
    }
    ~LinkedHost() override { zuqxmtk_finalize(); }

    static std::uint64_t getTime() {
        StatusHolder status;
        QxmTimestamp time = 0;
        zuqxmtk_getTime(&time, status.get());
        EXPECT_EQ(status->code, 0) << status.getText();
        return time;
    }
};

TEST_F(LinkedHost, SeesTimeRise) {
    const auto before = getTime();
    std::this_thread::sleep_for(std::chrono::seconds(10));
    const auto passedNs = getTime() - before;
    EXPECT_GT(passedNs, 9'990'000'000U);
    EXPECT_LT(passedNs, 10'010'000'000U);
}

TEST_F(LinkedHost, IsRefusedACorrectionOutOfRange) {
    StatusHolder status;
    zuqxmtk_setCorrectionPerSecond(62001, status.get());
    EXPECT_EQ(status->code, -52005);
    EXPECT_NE(status.getText().find("si514: requested ppb value 62001 is beyond the supported range: [62000, -62000]"),
              std::string::npos)
        << status.getText();
}

TEST_F(LinkedHost, IsToldOfBrokenMetadataByALaterCall) {
    StatusHolder status;
    zuqxmtk_applyMetaData("not JSON", status.get());
    EXPECT_EQ(status->code, 0) << "the text is not parsed here";
    std::this_thread::sleep_for(std::chrono::seconds(1));
    QxmTimestamp time = 7;
    zuqxmtk_getTime(&time, status.get());
    EXPECT_EQ(status->code, -52005);
    EXPECT_EQ(time, 7U);
    StatusHolder next;
    zuqxmtk_applyMetaData("{}", next.get());  // otherwise every pass fails again
    EXPECT_EQ(next->code, 0) << next.getText();
}

TEST_F(LinkedHost, MayCallFromSeveralThreadsAtOnce) {
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&failures, number] {
            for (int round = 0; round < 200; ++round) {
                StatusHolder status;
                QxmTimestamp time = 0;
                std::int32_t correctionPpb = 0;
                zuqxmtk_getTime(&time, status.get());
                zuqxmtk_setCorrectionPerSecond(number * 100, status.get());
                zuqxmtk_getCorrectionPerSecond(&correctionPpb, status.get());
                if (round % 50 == 0) zuqxmtk_snapTime(1000 * number, status.get());
                if (status->code != 0 || time == 0 || correctionPpb % 100 != 0) ++failures;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(failures, 0);
}

TEST(HostThatHasNotInitialised, CatchesTheExceptionOfTheNameAsAStandardOne) {
    char name[32] = "untouched";
    try {
        zuqxmtk_getName(name);
        FAIL() << "no exception";
    } catch (const std::exception& error) {
        EXPECT_NE(std::string(error.what()).find("\"line\":160"), std::string::npos) << error.what();
    }
    EXPECT_THROW(zuqxmtk_isSeeded(), std::exception);
    EXPECT_STREQ(name, "untouched");
}

}  // namespace
