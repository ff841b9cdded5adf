// Tests of clock samples: differences, alarms and the three output formats.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/clocks/clockSample.h"

#include "tests/support/test.h"

namespace halvexctl::clockSampleTest {

using testing::HasSubstr;
using testing::Not;

constexpr std::uint64_t kSystemNs = 1'700'000'000'000'000'000;

ClockSample clockAt(const std::string& name, std::int64_t fromSystemNs, std::int64_t boundNs) {
    ClockSample clock;
    clock.name = name;
    clock.cross = CrossTime{kSystemNs, fromSystemNs, boundNs};
    return clock;
}

Sample sampleOf(std::vector<ClockSample> clocks) {
    Sample sample;
    sample.systemNs = kSystemNs;
    sample.rawNs = 1'000'000'000;
    sample.clocks = std::move(clocks);
    compare(sample);
    return sample;
}

/// The same clocks one second later, with the first of them moved.
Sample laterBy(const Sample& before, std::int64_t movedNs) {
    Sample later = before;
    later.systemNs += 1'000'000'000;
    later.rawNs += 1'000'000'000;
    for (ClockSample& clock : later.clocks) {
        clock.cross->systemNs = later.systemNs;
    }
    later.clocks[0].cross->differenceNs += movedNs;
    judge(&before, later);
    return later;
}

TEST(CompareClocks, TakesTheFirstThatCouldBeMeasuredAsReference) {
    ClockSample unreadable;
    unreadable.name = "master";
    unreadable.error = "gone";
    const Sample sample = sampleOf({unreadable, clockAt("enp1s0", 500, 20), clockAt("CLOCK_REALTIME", 0, 0)});
    EXPECT_EQ(sample.reference, "enp1s0");
    EXPECT_EQ(sample.clocks[2].differenceNs, -500);
    EXPECT_EQ(sample.clocks[2].boundNs, 20);
    EXPECT_FALSE(sample.clocks[0].differenceNs);
}

TEST(CompareClocks, AlarmsOnlyBeyond100NsForCertain) {
    EXPECT_FALSE(sampleOf({clockAt("a", 0, 30), clockAt("b", 150, 20)}).clocks[1].isAway);
    EXPECT_TRUE(sampleOf({clockAt("a", 0, 30), clockAt("b", 151, 20)}).clocks[1].isAway);
    EXPECT_TRUE(sampleOf({clockAt("a", 0, 30), clockAt("b", -151, 20)}).hasAlarm());
}

TEST(CompareClocks, AllowTheSystemClockMoreThanTheClocksThatItFollows) {
    ClockSample system = clockAt("CLOCK_REALTIME", 3'050, 20);
    system.limitNs = kSystemAlarmNs;
    EXPECT_FALSE(sampleOf({clockAt("a", 0, 30), system}).clocks[1].isAway);
    system.cross->differenceNs = 3'051;
    EXPECT_TRUE(sampleOf({clockAt("a", 0, 30), system}).clocks[1].isAway);
}

TEST(CompareClocks, WidensTheBoundByTheTimeBetweenTheReadings) {
    ClockSample later = clockAt("b", 0, 10);
    later.cross->systemNs += 1'000'000;
    EXPECT_EQ(sampleOf({clockAt("a", 0, 10), later}).clocks[1].boundNs, 220);
}

TEST(CompareClocks, SurvivesThatNoClockCanBeRead) {
    ClockSample unreadable;
    unreadable.name = "enp1s0";
    const Sample sample = sampleOf({unreadable});
    EXPECT_EQ(sample.reference, "");
    EXPECT_TRUE(sample.hasAlarm());
}

TEST(FindJumps, CallsAJumpOnlyWhatNoSteeringExplains) {
    const Sample before = sampleOf({clockAt("a", 0, 10), clockAt("b", 0, 10)});
    EXPECT_FALSE(laterBy(before, 200'020).clocks[0].jumpNs);
    EXPECT_EQ(laterBy(before, 200'021).clocks[0].jumpNs, 200'021);
    EXPECT_EQ(laterBy(before, -200'021).clocks[0].jumpNs, -200'021);
    EXPECT_FALSE(laterBy(before, 200'021).clocks[1].jumpNs);
}

TEST(FindJumps, SeesTheSystemClockJump) {
    const Sample before = sampleOf({clockAt("CLOCK_REALTIME", 0, 0)});
    Sample later = before;
    later.rawNs += 1'000'000'000;
    later.systemNs += 3'000'000'000;
    judge(&before, later);
    EXPECT_EQ(later.clocks[0].jumpNs, 2'000'000'000);
}

/// What the next sample shows of two PTP clocks and phc2sys.
struct Seen {
    HealthState expected;
    std::optional<bool> child = true;
    std::int64_t awayNs = 0;               ///< Of the second clock.
    std::int64_t jumpNs = 0;               ///< Of both.
    std::size_t readable = 2;              ///< How many of the two.
    std::int64_t afterNs = 1'000'000'000;  ///< Since the sample before.
    bool isDead = false;
    std::int64_t ageNs = 0;
};

Sample sampleAfter(const Sample& before, const Seen& seen, std::int64_t steppedNs) {
    Sample sample = sampleOf({clockAt("a", steppedNs, 10), clockAt("b", steppedNs + seen.awayNs, 10)});
    sample.rawNs = before.rawNs + seen.afterNs;
    sample.systemNs = before.systemNs + static_cast<std::uint64_t>(seen.afterNs);
    for (std::size_t i = seen.readable; i < 2; ++i) {
        sample.clocks[1 - i].cross = std::nullopt;
    }
    sample.clocks.push_back(clockAt(kSystemClockName, steppedNs, 0));
    compare(sample);
    sample.childIsAlive = seen.child;
    sample.childIsDead = seen.isDead;
    sample.childAgeNs = seen.ageNs;
    return sample;
}

using enum HealthState;
constexpr std::int64_t kAway = 500;
constexpr std::int64_t kJump = 2'000'000;
const std::vector<Seen> kLife{
    {unseeded, false},
    {aligning, true, kAway},
    {aligned},
    {degraded, true, 0, 0, 1},
    {aligned},
    {aligning, true, kAway, kJump},
    {aligning, true, kAway, 0, 2, kSettlingNs - 1},
    {degraded, true, kAway, 0, 2, 1},
    {aligning, true, kAway, kJump},
    {lost, true, 0, 0, 0, kSettlingNs},
    {aligning, true, kAway},
    {unseeded, false},
    {lost, false, 0, 0, 0},
    {unseeded, false},
    {degraded, true, kAway, 0, 2, 1'000'000'000, false, kSettlingNs},
    {lost, true, 0, 0, 0},
    {degraded, true, 0, 0, 1},
    {unseeded, false},
    {aligned},
    {unseeded, false},
    {aligned},
    {lost, true, 0, 0, 0},
    {aligned},
    {degraded, false, 0, 0, 2, 1'000'000'000, true},
    {unseeded, false},
    {aligned, std::nullopt},
};

TEST(Judge, KnowsTheHealthInEveryTransition) {
    std::optional<Sample> before;
    std::int64_t steppedNs = 0;
    for (std::size_t i = 0; i < kLife.size(); ++i) {
        steppedNs += kLife[i].jumpNs;
        Sample sample = sampleAfter(before.value_or(Sample{}), kLife[i], steppedNs);
        judge(before ? &*before : nullptr, sample);
        EXPECT_EQ(nameOf(sample.health), nameOf(kLife[i].expected)) << "sample " << i << ": " << healthAsText(sample);
        before = sample;
    }
}

TEST(Judge, TakesTheAgeOfPhc2sysForAFirstLook) {
    Seen seen{HealthState::degraded, true, 500};
    for (const auto& [ageNs, expected] :
         {std::pair{std::int64_t{0}, HealthState::aligning}, std::pair{kSettlingNs - 1, HealthState::aligning},
          std::pair{kSettlingNs, HealthState::degraded}}) {
        seen.ageNs = ageNs;
        Sample sample = sampleAfter({}, seen, 0);
        judge(nullptr, sample);
        EXPECT_EQ(nameOf(sample.health), nameOf(expected)) << ageNs;
    }
}

TEST(Judge, NamesTheCauses) {
    Sample sample = sampleOf({clockAt("a", 0, 10), clockAt("b", 500, 10)});
    sample.childIsAlive = false;
    judge(nullptr, sample);
    EXPECT_EQ(healthAsText(sample), "unseeded: no phc2sys runs, b away");
    sample.childIsDead = true;
    sample.hasNoPtpClock = true;
    judge(nullptr, sample);
    EXPECT_EQ(healthAsText(sample), "degraded: b away, no PTP clock, phc2sys dead");
}

TEST(ShowSample, TextMarksAlarmsAndIsColouredOnlyWhenAsked) {
    const Sample sample = sampleOf({clockAt("master", 0, 30), clockAt("enp1s0", 1'500, 20)});
    EXPECT_THAT(sampleAsText(sample, {}), HasSubstr("+1.5 us"));
    EXPECT_THAT(sampleAsText(sample, {}), HasSubstr("AWAY"));
    EXPECT_THAT(sampleAsText(sample, {}), Not(HasSubstr("\x1b")));
    EXPECT_THAT(sampleAsText(sample, {true, 80}), HasSubstr("\x1b[31m  enp1s0"));
}

TEST(ShowSample, TextIsOneTableUnderOneHeadingHoweverNarrowTheScreenIs) {
    Sample sample = sampleOf({clockAt("master", 0, 30), clockAt("enp1s0", 1'500, 20), clockAt("CLOCK_REALTIME", 0, 0)});
    sample.childIsDead = true;
    const auto table = [&sample](std::size_t width) {
        const std::string text = sampleAsText(sample, {false, width});
        for (std::size_t start = 0, end = 0; end = text.find('\n', start), end != std::string::npos; start = end + 1) {
            EXPECT_LE(end - start, width) << text;
        }
        return text.substr(text.find("  clock"));
    };
    EXPECT_EQ(table(60),
              "  clock           difference  bound     state\n"
              "  master           reference            ok\n"
              "  enp1s0             +1.5 us  +- 50 ns  AWAY\n"
              "  CLOCK_REALTIME        0 ns  +- 30 ns  ok\n"
              "  phc2sys                  -            DEAD: the system\n"
              "                                        clock runs free\n");
    EXPECT_EQ(table(35),
              "  clock           difference\n"
              "    bound     state\n"
              "  master           reference\n"
              "              ok\n"
              "  enp1s0             +1.5 us\n"
              "    +- 50 ns  AWAY\n"
              "  CLOCK_REALTIME        0 ns\n"
              "    +- 30 ns  ok\n"
              "  phc2sys                  -\n"
              "              DEAD: the system\n"
              "              clock runs free\n");
}

TEST(ShowSample, NamesEveryAlarmInTextAndJson) {
    ClockSample gone, unreadable;
    gone.name = "enp2s0";
    gone.isGone = true;
    gone.error = "no such interface";
    unreadable.name = "enp3s0";
    unreadable.error = "EIO";
    Sample sample = sampleOf({clockAt("enp1s0", 0, 30), gone, unreadable});
    EXPECT_TRUE(sample.hasAlarm());
    EXPECT_THAT(sampleAsText(sample, {}), HasSubstr("GONE: no such interface"));
    EXPECT_THAT(sampleAsText(sample, {}), HasSubstr("UNREADABLE: EIO"));
    EXPECT_EQ(sampleAsJson(sample)["alarms"].dump(),
              R"([{"alarm":"gone","clock":"enp2s0"},{"alarm":"unreadable","clock":"enp3s0"}])");
    sample = sampleOf({clockAt("CLOCK_REALTIME", 0, 0)});
    EXPECT_FALSE(sample.hasAlarm());
    sample.hasNoPtpClock = sample.childIsDead = true;
    EXPECT_EQ(sampleAsJson(sample)["alarms"].dump(), R"([{"alarm":"none","clock":""},{"alarm":"dead","clock":""}])");
    EXPECT_THAT(sampleAsText(sample, {}), HasSubstr("NONE"));
    EXPECT_THAT(sampleAsText(sample, {}), HasSubstr("DEAD"));
}

TEST(ShowSample, JsonHasEveryClock) {
    const auto json = sampleAsJson(sampleOf({clockAt("master", 0, 30), clockAt("enp1s0", 1'500, 20)}));
    EXPECT_EQ(json["clocks"][1]["differenceNs"], 1'500);
    EXPECT_EQ(json["clocks"][1]["boundNs"], 50);
    EXPECT_TRUE(json["alarm"]);
    EXPECT_TRUE(json["phc2sysAlive"].is_null());
}

}  // namespace halvexctl::clockSampleTest
