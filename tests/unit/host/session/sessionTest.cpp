// Tests of a session: call order, errors, warnings and expectations.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/session/session.h"

#include <sys/syscall.h>

#include "host/cli/verbTable.h"
#include "host/clocks/rawClock.h"
#include "host/session/stopRequest.h"
#include "tests/support/files.h"
#include "tests/support/libcHooks.h"
#include "tests/support/test.h"
#include "tests/unit/host/fakePlugin.h"

namespace halvexctl::sessionTest {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// Stores everything it receives.
class PrinterJournal : public Printer {
public:
    void begin(const std::string&, const std::string&) override {}
    void note(const std::string& sentence) override { notes.push_back(sentence); }
    bool showsProgress() const override { return isTerminal; }
    void progress(const std::string& sentence) override { progresses.push_back(sentence); }
    void call(const std::string& line) override { calls.push_back(line); }
    void sample(const std::string&, const nlohmann::ordered_json& line, bool) override { samples.push_back(line); }
    void result(const Result& result) override { results.push_back(result); }
    void finish() override {}

    bool isTerminal = false;
    std::vector<std::string> notes, calls, progresses;
    std::vector<Result> results;
    std::vector<nlohmann::ordered_json> samples;
};

class SessionTest : public testing::Test {
protected:
    SessionTest() : keepLoaded_(::dlopen(FAKE_PLUGIN, RTLD_NOW | RTLD_LOCAL)) {
        const auto stateFunction =
            reinterpret_cast<fakeplugin::StateFunction>(::dlsym(keepLoaded_, fakeplugin::kStateFunction));
        plugin_ = stateFunction();
        *plugin_ = fakeplugin::State{};
    }
    ~SessionTest() override {
        ::dlclose(keepLoaded_);
        ::close(inputFd_);
    }

    ExitCode carryOut(std::vector<std::string> words) {
        SessionSettings settings;
        settings.libraryPath = FAKE_PLUGIN;
        settings.echo = echo_;
        settings.rules = ReadingRules{verbs(), yes_};
        settings.inputFd = inputFd_;
        const std::vector<Command> commands = readCommands(words, settings.rules);
        Session session(settings, printer_);
        session.carryOut(commands);
        session.finish();
        return session.exitCode();
    }

    void failNext(const std::string& function, std::int32_t code, int call = 1) {
        plugin_->failures.push_back({function, call, code, R"({"error_constant":"fake_name"})"});
    }

    const Result& result(std::size_t position) { return printer_.results.at(position); }

    nlohmann::ordered_json value(std::size_t position, const std::string& key) {
        for (const Field& field : result(position).fields) {
            if (field.key == key) {
                return field.value;
            }
        }
        ADD_FAILURE() << "no value " << key;
        return nullptr;
    }

    /// The input of `run`.
    void feed(const std::string& text) {
        std::array<int, 2> ends{};
        ASSERT_EQ(::pipe(ends.data()), 0);
        ASSERT_EQ(::write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
        ::close(ends[1]);
        inputFd_ = ends[0];
    }

    void* keepLoaded_;
    fakeplugin::State* plugin_;
    PrinterJournal printer_;
    bool echo_ = false;
    bool yes_ = false;
    int inputFd_ = -1;
};

TEST_F(SessionTest, InitialisesBeforeTheFirstVerbThatNeedsItAndFinalisesAtTheEnd) {
    EXPECT_EQ(carryOut({"version", "get", "get"}), ExitCode::ok);
    EXPECT_THAT(plugin_->journal, ElementsAre("getAPIVersion", "initialize", "getTime", "getTime", "finalize"));
}

TEST_F(SessionTest, NeitherInitialisesNorFinalisesForTheVersionAndVerbsThatDoWithoutTheLibrary) {
    EXPECT_EQ(carryOut({"wait", "0", "help", "step"}), ExitCode::ok);
    EXPECT_THAT(plugin_->journal, IsEmpty());
    carryOut({"version"});
    EXPECT_THAT(plugin_->journal, ElementsAre("getAPIVersion"));
    EXPECT_EQ(value(2, "apiVersion"), 2);
}

TEST_F(SessionTest, FinalisesAlsoAfterAFailedInitialisation) {
    failNext("initialize", -52010);
    EXPECT_EQ(carryOut({"get"}), ExitCode::failure);
    EXPECT_THAT(plugin_->journal, ElementsAre("initialize", "finalize"));
    EXPECT_EQ(result(0).message, "zuqxmtk_initialize failed: -52010 zuplaterr_resourceNotInitialized");
}

TEST_F(SessionTest, InitialisesNothingUnaskedAfterTheVerbFinalize) {
    EXPECT_EQ(carryOut({"get", "finalize", "get"}), ExitCode::failure);
    EXPECT_THAT(plugin_->journal, ElementsAre("initialize", "getTime", "finalize", "getTime"));
    EXPECT_EQ(result(2).error->code, -52010);
}

TEST_F(SessionTest, InitialisesAgainWhenAsked) {
    EXPECT_EQ(carryOut({"init", "finalize", "init", "get"}), ExitCode::ok);
    EXPECT_THAT(plugin_->journal, ElementsAre("initialize", "finalize", "initialize", "getTime", "finalize"));
}

TEST_F(SessionTest, MonitorCountsTheLibrarysErrorsAndGoesOn) {
    failNext("getTime", -52024);
    EXPECT_EQ(carryOut({"init", "monitor", "--count", "2", "--interval", "1ms", "get"}), ExitCode::warnings);
    ASSERT_EQ(printer_.samples.size(), 2u);
    EXPECT_EQ(printer_.samples[1]["errorCount"], 1);
    EXPECT_EQ(printer_.samples[1]["lastError"], "-52024 zuplaterr_communicationsFault");
    EXPECT_TRUE(printer_.samples[0]["clocks"][0]["differenceNs"].is_null());
    EXPECT_EQ(printer_.samples[1]["reference"], "master");
    EXPECT_EQ(result(2).outcome, Outcome::ok);
}

TEST_F(SessionTest, MonitorLeavesAnErrorFromBeforeToTheUser) {
    failNext("getTime", -52024);
    EXPECT_EQ(carryOut({"init", "expect-error", "-52024", "get", "monitor", "--once"}), ExitCode::failure);
    EXPECT_THAT(result(3).message, HasSubstr("clear resets it"));
}

TEST_F(SessionTest, MonitorInitialisesNothing) {
    carryOut({"monitor", "--once"});
    EXPECT_THAT(plugin_->journal, IsEmpty());
    EXPECT_EQ(printer_.samples.at(0)["clocks"].back()["name"], "CLOCK_REALTIME");
}

TEST_F(SessionTest, TellsOnATerminalHowFarALongWaitIs) {
    const testsupport::LibcHooksGuard guard;
    std::vector<long> sleptNs;
    testsupport::libcHooks().nanosleep = [&sleptNs](const timespec* request, timespec*) {
        sleptNs.push_back(request->tv_sec * 1'000'000'000 + request->tv_nsec);
        return 0;
    };
    printer_.isTerminal = true;
    carryOut({"wait", "1001ms", "wait", "1ms"});
    EXPECT_THAT(sleptNs, ElementsAre(1'000'000'000, 1'000'000, 1'000'000));
    EXPECT_THAT(printer_.progresses, ElementsAre("  0 ns of 1.001 s", "  1 s of 1.001 s", ""));
}

TEST_F(SessionTest, TellsOnATerminalWhatIsWaitedFor) {
    printer_.isTerminal = true;
    carryOut({"init", "finalize"});
    EXPECT_THAT(printer_.progresses,
                ElementsAre("  initialising: clocks are found, seeded and aligned", "", "  finalising", ""));
}

/// A made-up /proc with one process.
struct OtherPhc2sys {
    OtherPhc2sys() {
        proc.writeFile("812/comm", "phc2sys\n");
        proc.writeFile("812/stat", "812 (phc2sys) S 1");
    }
    testsupport::RedirectedDirectory proc{"/proc"};
};

TEST_F(SessionTest, RefusesALineThatWouldInitialiseWhileAnotherOwnsTheClocksAndNamesTheOwner) {
    const OtherPhc2sys other;
    EXPECT_EQ(carryOut({"version", "get", "limits"}), ExitCode::refused);
    EXPECT_EQ(result(0).outcome, Outcome::skipped);
    EXPECT_EQ(result(1).outcome, Outcome::failed);
    EXPECT_EQ(result(1).message,
              "would initialise the library, but the clocks belong to phc2sys (812); nothing was done. monitor and get "
              "CLOCK only read; add --yes to initialise anyway");
    EXPECT_EQ(result(2).outcome, Outcome::skipped);
    EXPECT_EQ(carryOut({"init"}), ExitCode::refused);
    feed("get\n");
    EXPECT_EQ(carryOut({"run"}), ExitCode::refused);
    EXPECT_THAT(plugin_->journal, IsEmpty());
}

TEST_F(SessionTest, ReadsAClockAndGoesOnWhenConfirmedWhileAnotherOwnsTheClocks) {
    const OtherPhc2sys other;
    const auto beforeNs = static_cast<std::uint64_t>(systemTimeNs());
    EXPECT_EQ(carryOut({"get", "CLOCK_REALTIME", "version"}), ExitCode::ok);
    EXPECT_GE(value(0, "timeNs").get<std::uint64_t>(), beforeNs);
    EXPECT_THAT(plugin_->journal, ElementsAre("getAPIVersion"));
    yes_ = true;
    EXPECT_EQ(carryOut({"get"}), ExitCode::ok);
}

TEST_F(SessionTest, CallsARecordThatCannotBeEndedAFailedResult) {
    const testsupport::ScratchDirectory directory;
    const testsupport::LibcHooksGuard guard;
    testsupport::libcHooks().write = [](int fd, const void* buffer, size_t length) -> ssize_t {
        if (std::string_view(static_cast<const char*>(buffer), length).starts_with(R"({"kind":"end")")) {
            errno = ENOSPC;
            return -1;
        }
        return ::syscall(SYS_write, fd, buffer, length);
    };
    EXPECT_EQ(carryOut({"record", directory / "record"}), ExitCode::failure);
    EXPECT_EQ(printer_.results.back().verb, "record");
    EXPECT_EQ(printer_.results.back().message, "cannot write " + (directory / "record") + ": No space left on device");
}

TEST_F(SessionTest, RefusesASecondInitialisation) {
    EXPECT_EQ(carryOut({"init", "init"}), ExitCode::failure);
    EXPECT_THAT(plugin_->journal, ElementsAre("initialize", "finalize"));
}

TEST_F(SessionTest, ReportsALibraryThatCannotBeLoaded) {
    SessionSettings settings;
    settings.libraryPath = "/nonexistent.so";
    Session session(settings, printer_);
    const std::vector<std::string> words{"get"};
    session.carryOut(readCommands(words, {verbs()}));
    EXPECT_EQ(session.exitCode(), ExitCode::failure);
    EXPECT_THAT(result(0).message, StartsWith("cannot load /nonexistent.so"));
}

TEST_F(SessionTest, EndsWithTheFirstVerbThatFailsAndNamesTheRest) {
    failNext("getTime", -52024);
    EXPECT_EQ(carryOut({"get", "limits", "freq", "5"}), ExitCode::failure);
    ASSERT_EQ(printer_.results.size(), 3u);
    EXPECT_EQ(result(0).outcome, Outcome::failed);
    EXPECT_EQ(result(0).error->function, "zuqxmtk_getTime");
    EXPECT_EQ(result(0).error->information, R"({"error_constant":"fake_name"})");
    EXPECT_EQ(result(1).outcome, Outcome::skipped);
    EXPECT_EQ(result(2).outcome, Outcome::skipped);
    EXPECT_EQ(result(2).argument, "5");
    EXPECT_THAT(plugin_->journal, ElementsAre("initialize", "getTime", "finalize"));
}

TEST_F(SessionTest, TellsAWarningOfTheLibraryAndGoesOn) {
    failNext("getTime", 7);
    EXPECT_EQ(carryOut({"get", "get"}), ExitCode::warnings);
    EXPECT_EQ(result(0).outcome, Outcome::warning);
    EXPECT_EQ(result(0).message, "the library warned: 7 fake_name");
    EXPECT_EQ(result(1).outcome, Outcome::ok);
}

TEST_F(SessionTest, ShowsTheTimeAsADateAndInNanoseconds) {
    plugin_->offsetNs = 1'700'000'000'000'000'000 - rawTimeNs();
    EXPECT_EQ(carryOut({"get"}), ExitCode::ok);
    EXPECT_THAT(value(0, "timeIso").get<std::string>(), StartsWith("2023-11-14T22:13:2"));
    EXPECT_GE(value(0, "timeNs").get<std::uint64_t>(), 1'700'000'000'000'000'000u);
}

TEST_F(SessionTest, AsksEverythingForInfo) {
    plugin_->correctionPpb = -1250;
    EXPECT_EQ(carryOut({"info"}), ExitCode::ok);
    EXPECT_THAT(plugin_->journal, ElementsAre("initialize", "getAPIVersion", "getName", "isSeeded", "getMin", "getMax",
                                              "getCorrection", "finalize"));
    EXPECT_EQ(value(0, "name"), "FakeTimekeeper");
    EXPECT_EQ(value(0, "seeded"), true);
    EXPECT_EQ(value(0, "minCorrectionPpb"), -62000);
    EXPECT_EQ(value(0, "maxCorrectionPpb"), 62000);
    EXPECT_EQ(value(0, "correctionPpb"), -1250);
}

TEST_F(SessionTest, ReportsTheExceptionThatLeavesNameAndSeededBeforeInitialisation) {
    EXPECT_EQ(carryOut({"finalize", "expect-error", "-52010", "name", "expect-error", "-52010", "seeded"}),
              ExitCode::ok);
    EXPECT_EQ(result(2).error->code, -52010);
    EXPECT_EQ(carryOut({"finalize", "name"}), ExitCode::failure);
}

TEST_F(SessionTest, StepsByTheOffsetAsTyped) {
    EXPECT_EQ(carryOut({"step", "+1.5ms"}), ExitCode::ok);
    EXPECT_THAT(plugin_->journal, testing::Contains("snapTime 1500000"));
    EXPECT_EQ(value(0, "offsetNs"), 1'500'000);
    EXPECT_EQ(value(0, "cutOffsetNs"), 1'500'000);
    EXPECT_THAT(printer_.notes, ElementsAre("+1.5 ms is a multiple of 200 ns and is not cut"));
}

TEST_F(SessionTest, MeasuresHowFarAStepWent) {
    plugin_->stepLossNs = 300'000;
    EXPECT_EQ(carryOut({"step", "+1s"}), ExitCode::ok);
    const auto boundNs = value(0, "movedBoundNs").get<std::int64_t>();
    EXPECT_NEAR(value(0, "movedNs").get<double>(), 999'700'000, static_cast<double>(boundNs));
}

TEST_F(SessionTest, SaysBeforehandWhatTheCutDoes) {
    yes_ = true;
    EXPECT_EQ(carryOut({"step", "-399ns", "step", "199ns"}), ExitCode::ok);
    EXPECT_THAT(printer_.notes, ElementsAre("-399 ns is cut toward zero to -200 ns, a multiple of 200 ns",
                                            "+199 ns is cut toward zero to 0: no clock moves, but the alignment runs"));
    EXPECT_EQ(value(0, "cutOffsetNs"), -200);
    EXPECT_EQ(value(1, "cutOffsetNs"), 0);
    EXPECT_THAT(plugin_->journal, testing::Contains("snapTime -399"));
}

TEST_F(SessionTest, WarnsWhenAStepWasSilentlyDropped) {
    plugin_->dropsSteps = true;
    EXPECT_EQ(carryOut({"step", "+1s", "get"}), ExitCode::warnings);
    EXPECT_EQ(result(0).outcome, Outcome::warning);
    EXPECT_THAT(result(0).message, HasSubstr("did not move"));
    EXPECT_EQ(result(1).outcome, Outcome::ok);
}

TEST_F(SessionTest, AsksTheLimitsBeforeSteeringAndReadsBack) {
    EXPECT_EQ(carryOut({"freq", "-1250"}), ExitCode::ok);
    EXPECT_THAT(plugin_->journal,
                ElementsAre("initialize", "getMin", "getMax", "setCorrection -1250", "getCorrection", "finalize"));
    EXPECT_EQ(value(0, "correctionPpb"), -1250);
}

TEST_F(SessionTest, SetsNothingBeyondTheLimitsButTakesTheLimitsThemselves) {
    EXPECT_EQ(carryOut({"freq", "62000", "freq", "-62000"}), ExitCode::ok);
    EXPECT_EQ(plugin_->correctionPpb, -62000);
    plugin_->journal.clear();
    EXPECT_EQ(carryOut({"freq", "62001"}), ExitCode::failure);
    EXPECT_THAT(plugin_->journal, ElementsAre("initialize", "getMin", "getMax", "finalize"));
    EXPECT_EQ(result(2).message, "+62001 ppb is beyond the limits -62000 ppb to +62000 ppb; nothing was set");
}

TEST_F(SessionTest, HandsACorrectionBeyondTheLimitsOverWhenConfirmed) {
    yes_ = true;
    carryOut({"freq", "62001"});
    EXPECT_THAT(plugin_->journal, testing::Contains("setCorrection 62001"));
}

TEST_F(SessionTest, WarnsWhenAnotherCorrectionReadsBack) {
    plugin_->readBackErrorPpb = 1;
    EXPECT_EQ(carryOut({"freq", "5"}), ExitCode::warnings);
    EXPECT_EQ(result(0).message, "+5 ppb was set and +6 ppb reads back");
}

TEST_F(SessionTest, ShowsTheCorrectionWithoutSettingIt) {
    plugin_->correctionPpb = 77;
    EXPECT_EQ(carryOut({"freq"}), ExitCode::ok);
    EXPECT_THAT(plugin_->journal, ElementsAre("initialize", "getCorrection", "finalize"));
    EXPECT_EQ(value(0, "correctionPpb"), 77);
}

TEST_F(SessionTest, MeasuresTheDriftAgainstTheRawClock) {
    plugin_->ratePpb = 40'000'000;  // far above the uncertainty of the readings
    EXPECT_EQ(carryOut({"drift", "20ms"}), ExitCode::ok);
    const auto boundPpb = value(0, "driftBoundPpb").get<double>();
    EXPECT_GT(boundPpb, 0);
    EXPECT_LT(boundPpb, 20'000'000);
    EXPECT_NEAR(value(0, "driftPpb").get<double>(), 40'000'000, boundPpb + 1'000);
    EXPECT_GE(value(0, "measuredNs").get<std::int64_t>(), 20'000'000);
}

TEST_F(SessionTest, WaitsAsLongAsAsked) {
    const std::int64_t beforeNs = rawTimeNs();
    EXPECT_EQ(carryOut({"wait", "3ms"}), ExitCode::ok);
    EXPECT_GE(rawTimeNs() - beforeNs, 3'000'000);
}

TEST_F(SessionTest, HandsTheMetadataOverUnchanged) {
    const std::string document = R"({"selectedTRInstID": "gm"})";
    EXPECT_EQ(carryOut({"apply-metadata", "--text", document}), ExitCode::ok);
    EXPECT_EQ(plugin_->metadata, document);
}

TEST_F(SessionTest, WarnsOfMetadataThatIsNoJson) {
    EXPECT_EQ(carryOut({"apply-metadata", "--text", "{oops"}), ExitCode::warnings);
    EXPECT_EQ(plugin_->metadata, "{oops");
}

TEST_F(SessionTest, TakesAnExpectedErrorForASuccess) {
    failNext("getTime", -52024);
    EXPECT_EQ(carryOut({"expect-error", "-52024", "get", "clear", "get"}), ExitCode::ok);
    EXPECT_EQ(result(1).outcome, Outcome::ok);
    EXPECT_EQ(value(1, "expectedError"), true);
    EXPECT_EQ(value(2, "heldCode"), -52024);
    EXPECT_NE(value(3, "timeNs"), 0);
}

TEST_F(SessionTest, TakesAnyErrorWhenNoCodeIsExpected) {
    failNext("getTime", -1);
    EXPECT_EQ(carryOut({"expect-error", "get"}), ExitCode::ok);
}

TEST_F(SessionTest, FailsWhenTheExpectedErrorDoesNotComeOrAnotherDoes) {
    EXPECT_EQ(carryOut({"expect-error", "-52024", "get"}), ExitCode::failure);
    EXPECT_EQ(result(1).message, "was expected to fail with -52024 and did not");
    failNext("getTime", -52006);
    EXPECT_EQ(carryOut({"expect-error", "-52024", "get"}), ExitCode::failure);
    EXPECT_THAT(result(3).message, StartsWith("was expected to fail with -52024, but zuqxmtk_getTime failed: -52006"));
}

TEST_F(SessionTest, FailsWhenNoCallFollowsAnExpectation) {
    EXPECT_EQ(carryOut({"expect-error", "wait", "0"}), ExitCode::failure);
    EXPECT_EQ(printer_.results.back().message, "an error was expected and no call followed");
}

TEST_F(SessionTest, KeepsAnExpectationThroughVerbsThatCallNothing) {
    failNext("getTime", -52024);
    EXPECT_EQ(carryOut({"expect-error", "-52024", "wait", "0", "clear", "get"}), ExitCode::ok);
}

TEST_F(SessionTest, DoesNotTakeTheInitialisationForTheCallThatWasToFail) {
    failNext("initialize", -52024);
    EXPECT_EQ(carryOut({"expect-error", "-52024", "get"}), ExitCode::failure);
}

TEST_F(SessionTest, ExpectsAnErrorOfAnExplicitInitialisation) {
    failNext("initialize", -52010);
    EXPECT_EQ(carryOut({"expect-error", "-52010", "init"}), ExitCode::ok);
}

TEST_F(SessionTest, CarriesNothingOutWhileTheStatusHoldsAnError) {
    failNext("getTime", -52024);
    EXPECT_EQ(carryOut({"expect-error", "-52024", "get", "get"}), ExitCode::failure);
    EXPECT_EQ(result(2).message, "nothing was done: the status still holds -52024; clear resets it");
}

TEST_F(SessionTest, EchoesEachCallAndItsResult) {
    echo_ = true;
    plugin_->correctionPpb = 5;
    failNext("getMax", -52024);
    carryOut({"freq", "expect-error", "limits"});
    EXPECT_THAT(
        printer_.calls,
        ElementsAre("-> zuqxmtk_initialize()", "<- done", "-> zuqxmtk_getCorrectionPerSecond()", "<- 5 ppb",
                    "-> zuqxmtk_getMinCorrectionPerSecond()", "<- -62000 ppb", "-> zuqxmtk_getMaxCorrectionPerSecond()",
                    R"(<- FAIL(-52024,{"error_constant":"fake_name"}))", "-> zuqxmtk_finalize()", "<- done"));
}

TEST_F(SessionTest, EchoesAStepWithItsOffsetAndTheReadingsInOneLine) {
    echo_ = true;
    carryOut({"step", "+1.5ms"});
    EXPECT_THAT(printer_.calls, testing::Contains("-> zuqxmtk_snapTime(+1500000 ns)"));
    EXPECT_THAT(printer_.calls,
                testing::Contains("-> zuqxmtk_getTime() 3 times between readings of the raw clock").Times(2));
}

TEST_F(SessionTest, EchoesTheFailureOfAReading) {
    echo_ = true;
    failNext("getTime", -52024, 2);
    EXPECT_EQ(carryOut({"drift", "1ms"}), ExitCode::failure);
    EXPECT_THAT(printer_.calls, testing::Contains("<- zuqxmtk_getTime failed: -52024 zuplaterr_communicationsFault"));
}

TEST_F(SessionTest, RunsLinesUntilTheInputEnds) {
    feed("get\n\n# nothing\nfreq 5 limits\nget");
    EXPECT_EQ(carryOut({"run", "get"}), ExitCode::ok);
    EXPECT_THAT(plugin_->journal, ElementsAre("initialize", "getTime", "getMin", "getMax", "setCorrection 5",
                                              "getCorrection", "getMin", "getMax", "getTime", "getTime", "finalize"));
}

TEST_F(SessionTest, EndsRunWithQuitAndGoesOnWithTheLine) {
    feed("quit\nlimits\n");
    EXPECT_EQ(carryOut({"run", "get"}), ExitCode::ok);
    EXPECT_THAT(plugin_->journal, ElementsAre("initialize", "getTime", "finalize"));
}

TEST_F(SessionTest, GoesOnAfterALineThatCannotBeRead) {
    feed("stpe 5\nstep -1s\nremark 'open\nrun\nget\n");
    EXPECT_EQ(carryOut({"run"}), ExitCode::failure);
    std::vector<std::string> messages;
    for (const Result& result : printer_.results) {
        messages.push_back(result.message);
    }
    EXPECT_THAT(messages, ElementsAre("unknown verb \"stpe\"; did you mean \"step\"?",
                                      "step -1s would move the time backward; add --yes if that is meant",
                                      "the quote ' is not closed",
                                      "run cannot read standard input: run reads it already", "", ""));
    EXPECT_EQ(result(0).verb, "run");
    EXPECT_EQ(result(0).argument, "stpe 5");
    EXPECT_EQ(result(0).outcome, Outcome::failed);
    EXPECT_THAT(plugin_->journal, ElementsAre("initialize", "getTime", "finalize"));
}

TEST_F(SessionTest, GoesOnAfterALineThatFailsButCallsItAFailure) {
    failNext("getTime", -52024);
    feed("get get\nclear\nget\n");
    EXPECT_EQ(carryOut({"run"}), ExitCode::failure);
    EXPECT_THAT(plugin_->journal, ElementsAre("initialize", "getTime", "getTime", "finalize"));
}

TEST_F(SessionTest, CarriesNothingMoreOutOnceAStopIsRequested) {
    const StopRequest stop;
    ::raise(SIGTERM);
    EXPECT_TRUE(StopRequest::isMade());
    EXPECT_EQ(carryOut({"get"}), ExitCode::failure);
    EXPECT_THAT(plugin_->journal, IsEmpty());
    EXPECT_EQ(result(0).outcome, Outcome::skipped);
}

}  // namespace halvexctl::sessionTest
