// Tests of events detected between two samples.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/record/sampleEvents.h"

#include "tests/support/test.h"

namespace halvexctl::sampleEventsTest {

using testing::ElementsAre;
using testing::IsEmpty;

class SampleEvents : public testing::Test {
protected:
    static ClockSample clock(const std::string& name) {
        ClockSample sample;
        sample.name = name;
        sample.cross = CrossTime{};
        sample.differenceNs = 0;
        sample.isUp = true;
        return sample;
    }

    static Sample sampleOf(ClockSample port) {
        Sample sample;
        sample.reference = "master";
        sample.clocks = {clock("master"), std::move(port)};
        sample.childIsAlive = true;
        return sample;
    }

    static std::vector<std::string> names(const std::vector<SampleEvent>& events) {
        std::vector<std::string> found;
        for (const SampleEvent& event : events) {
            found.push_back(event.event + (event.subject.empty() ? "" : " " + event.subject) +
                            (event.isGood ? " +" : " -"));
        }
        return found;
    }

    /// Expects these events when the port turns `worse`, and when it recovers.
    void expectBoth(const ClockSample& worse, const std::string& bad, const std::string& good) {
        const Sample well = sampleOf(clock("enp1s0")), ill = sampleOf(worse);
        EXPECT_THAT(names(eventsBetween(&well, ill)), ElementsAre(bad));
        EXPECT_THAT(names(eventsBetween(&ill, ill)), IsEmpty());
        EXPECT_THAT(names(eventsBetween(&ill, well)), ElementsAre(good));
    }
};

TEST_F(SampleEvents, SayNothingWhileNothingChanges) {
    const Sample sample = sampleOf(clock("enp1s0"));
    EXPECT_THAT(eventsBetween(&sample, sample), IsEmpty());
    EXPECT_THAT(eventsBetween(nullptr, sample), IsEmpty());
}

TEST_F(SampleEvents, TellOfALinkThatGoesDownAndUp) {
    ClockSample down = clock("enp1s0");
    down.isUp = false;
    expectBoth(down, "link-down enp1s0 -", "link-up enp1s0 +");
}

TEST_F(SampleEvents, TellOfAClockThatIsAwayAndBack) {
    ClockSample away = clock("enp1s0");
    away.isAway = true;
    away.differenceNs = 5'000;
    expectBoth(away, "clock-away enp1s0 -", "clock-back enp1s0 +");
}

TEST_F(SampleEvents, TellOfAClockThatCannotBeRead) {
    ClockSample lost = clock("enp1s0");
    lost.cross.reset();
    lost.error = "No such device";
    expectBoth(lost, "clock-unreadable enp1s0 -", "clock-readable enp1s0 +");
}

TEST_F(SampleEvents, TellOfAClockThatIsGoneAndOfOneThatWasNotThereBefore) {
    ClockSample gone = clock("enp1s0");
    gone.cross.reset();
    gone.isGone = true;
    expectBoth(gone, "clock-gone enp1s0 -", "clock-readable enp1s0 +");
    Sample before = sampleOf(clock("enp1s0"));
    const Sample after = before;
    before.clocks.pop_back();
    EXPECT_THAT(names(eventsBetween(&before, after)), ElementsAre("clock-found enp1s0 +"));
}

TEST_F(SampleEvents, TellOfEveryJump) {
    const Sample well = sampleOf(clock("enp1s0"));
    ClockSample jumped = clock("enp1s0");
    jumped.jumpNs = -1'500;
    const std::vector<SampleEvent> events = eventsBetween(&well, sampleOf(jumped));
    ASSERT_THAT(names(events), ElementsAre("clock-jumped enp1s0 -"));
    EXPECT_EQ(events[0].text, "enp1s0 jumped by -1.5 us");
}

TEST_F(SampleEvents, TellOfPhc2SysThatGoes) {
    const Sample before = sampleOf(clock("enp1s0"));
    Sample after = before;
    after.childIsAlive = false;
    EXPECT_THAT(names(eventsBetween(&before, after)), ElementsAre("phc2sys-gone -"));
    EXPECT_THAT(names(eventsBetween(&after, before)), ElementsAre("phc2sys-running +"));
}

TEST_F(SampleEvents, TellOfAnotherReferenceAndOfTheLibrarysErrors) {
    const Sample before = sampleOf(clock("enp1s0"));
    Sample after = before;
    after.reference = "enp1s0";
    after.errorCount = 1;
    after.lastError = "-52024";
    EXPECT_THAT(names(eventsBetween(&before, after)), ElementsAre("reference enp1s0 +", "library-error -"));
}

TEST_F(SampleEvents, TellAtOnceOfWhatIsAmissFromTheBeginning) {
    ClockSample down = clock("enp1s0");
    down.isUp = false;
    EXPECT_THAT(names(eventsBetween(nullptr, sampleOf(down))), ElementsAre("link-down enp1s0 -"));
}

}  // namespace halvexctl::sampleEventsTest
