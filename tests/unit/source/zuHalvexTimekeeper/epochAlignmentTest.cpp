// One alignment, iteration by iteration.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/epochAlignment.h"

#include "tests/support/fakeDevices.h"
#include "tests/support/libcHooks.h"
#include "tests/support/raisedError.h"

namespace epochAlignmentTest {

using halvexTimekeeper::EpochAlignment;
using halvexTimekeeper::EpochDevices;
using namespace testing;
using namespace testsupport;

constexpr ExpectedSite kNotAligned{-52024, "zuplaterr_communicationsFault", "halvexTimekeeper", 71};

class Alignment : public testing::Test {
protected:
    std::shared_ptr<FakeEpochDevice> addSlave(const std::string& name, std::int64_t aheadNs = 0) {
        auto slave = std::make_shared<FakeEpochDevice>(name, journal_);
        slave->timeNs = master_->timeNs + static_cast<std::uint64_t>(aheadNs);
        slave->flag = true;
        slaves_.push_back(slave);
        return slave;
    }

    void align() { EpochAlignment(*master_, slaves_).run(); }

    RaisedError raisedByAligning() {
        return raisedBy([this] { align(); });
    }

    std::vector<std::string> callsOf(const std::string& prefix) const {
        std::vector<std::string> calls;
        for (const auto& call : journal_) {
            if (call.starts_with(prefix)) calls.push_back(call.substr(prefix.size()));
        }
        return calls;
    }

    std::string successAfter(int iterations) const {
        return "Successfully aligned all timekeeping elements after " + std::to_string(iterations) + " iterations.";
    }

    Journal journal_;
    std::shared_ptr<FakeEpochDevice> master_ = std::make_shared<FakeEpochDevice>("master", journal_);
    EpochDevices slaves_;
    SyslogCapture syslog_;
};

TEST_F(Alignment, ArmsEverySlaveBeforeTheEpochAndReadsThemInListOrder) {
    addSlave("a");
    addSlave("b");
    align();
    EXPECT_THAT(journal_, ElementsAre("a.isEnabled()", "a.armEpochCapture()", "b.isEnabled()", "b.armEpochCapture()",
                                      "master.generateEpoch()", "a.isEnabled()", "a.getEpochTimestamp()",
                                      "a.setHasBeenEpochAligned(false)", "b.isEnabled()", "b.getEpochTimestamp()",
                                      "b.setHasBeenEpochAligned(false)"));
}

TEST_F(Alignment, CountsExactly100NsAsAlignedAnd101NsNot) {
    using Calls = std::vector<std::string>;
    for (const auto& [aheadNs, steps] :
         {std::pair{100, Calls{}}, {-100, Calls{}}, {101, Calls{"(-101)"}}, {-101, Calls{"(101)"}}}) {
        slaves_.clear();
        journal_.clear();
        addSlave("a", aheadNs);
        align();
        EXPECT_EQ(callsOf("a.adjustTime"), steps);
    }
}

TEST_F(Alignment, StepsTwiceAsFarOnOddIterations) {
    const auto slave = addSlave("a");
    const std::uint64_t ahead = master_->timeNs + 150;
    slave->epochTimesNs = {ahead, ahead, ahead, ahead, master_->timeNs};
    align();
    EXPECT_THAT(callsOf("a.adjustTime"), ElementsAre("(-150)", "(-300)", "(-150)", "(-300)"));
    EXPECT_THAT(syslog_.getTexts(LOG_INFO), ElementsAre(successAfter(5)));
}

TEST_F(Alignment, GivesUpAfter2000IterationsWithTheNamesThatNeverAgreed) {
    addSlave("fine");
    for (const char* name : {"x", "y"}) {
        const auto slave = addSlave(name, 1'000'000);
        slave->stepLossNs = 0;
        slave->isJournaled = false;
    }
    master_->isJournaled = false;
    int epochs = 0;
    master_->onEpoch = [&] {
        ++epochs;
        for (std::size_t slave : {1U, 2U}) {
            dynamic_cast<FakeEpochDevice&>(*slaves_[slave]).epochTimesNs = {master_->timeNs + 5000};
        }
    };
    EXPECT_EQ(raisedByAligning(), makeError(kNotAligned, "Failed to sync following slaves: x y "));
    EXPECT_EQ(epochs, 2000);
    EXPECT_TRUE(dynamic_cast<FakeEpochDevice&>(*slaves_[1]).flag) << "still asks to be aligned";
    EXPECT_THAT(syslog_.getLines(), IsEmpty());
}

TEST_F(Alignment, ForgivesFiveTimeoutsOfAllSlavesTogether) {
    const auto a = addSlave("a");
    const auto b = addSlave("b");
    for (int time = 0; time < 3; ++time) a->failNext("getEpochTimestamp", -52007);
    for (int time = 0; time < 2; ++time) b->failNext("getEpochTimestamp", -52007);
    EXPECT_EQ(raisedByAligning().code, 0);
    const std::string json = makeError({-52007, "constant", "fake", 1}, "device").information;
    std::vector<std::string> expected;
    for (int retry = 0; retry < 5; ++retry) {
        expected.push_back("Encountered err while trying to sync " + std::string(retry < 3 ? "a" : "b") +
                           ", retry count " + std::to_string(retry) + ": FAIL(-52007," + json + ")");
    }
    EXPECT_EQ(syslog_.getTexts(LOG_ERR), expected);
    EXPECT_THAT(syslog_.getTexts(LOG_INFO), ElementsAre(successAfter(6)));
}

TEST_F(Alignment, SaysWarnForAWarningPassForNoCodeAndNullForAnErrorWithoutAText) {
    const auto slave = addSlave("a");
    for (const std::int32_t code : {3, 0, -52024}) {
        slave->failNext("isEnabled", [code] { throwBare(code); });
        EXPECT_EQ(raisedByAligning().code, code);
    }
    const std::string beginning = "Encountered err while trying to sync a, retry count 0: ";
    EXPECT_THAT(syslog_.getTexts(LOG_ERR),
                ElementsAre(beginning + "WARN(3,null)", beginning + "PASS(0,null)", beginning + "FAIL(-52024,null)"));
}

TEST_F(Alignment, LogsAnEmptyObjectForAnErrorWhoseStatusCouldNotGrow) {
    addSlave("a")->failNext("isEnabled", [] {
        zuerr_Status status{-52024, 0, nullptr, nullptr};
        throw zuerr::Exception(status);
    });
    EXPECT_EQ(raisedByAligning().code, -52024);
    // The exception's own status has a growth function, so a missing text arrives there as an empty object.
    EXPECT_THAT(syslog_.getTexts(LOG_ERR), ElementsAre(HasSubstr("FAIL(-52024,{})")));
}

TEST_F(Alignment, OfSixtyFiveSlavesNeverEndsDoneSinceTwoShareABit) {
    for (int number = 0; number < 65; ++number) addSlave("s" + std::to_string(number))->isJournaled = false;
    master_->isJournaled = false;
    EXPECT_EQ(raisedByAligning(), makeError(kNotAligned, "Failed to sync following slaves: "));
}

}  // namespace epochAlignmentTest
