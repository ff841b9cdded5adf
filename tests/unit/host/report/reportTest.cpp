// Tests of reading records and traces, and of the generated page.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <system_error>

#include "host/report/report.h"
#include "host/report/sources.h"
#include "tests/support/files.h"
#include "tests/support/test.h"

namespace halvexctl::reportTest {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using testsupport::fileContents;
using testsupport::ScratchDirectory;

constexpr const char* kStart =
    R"({"kind":"start","rawNs":1000,"systemNs":5001000,"format":1,"library":"l","intervalNs":1})";

std::string sampleAt(std::int64_t rawNs, std::int64_t differenceNs, const std::string& reference = "master") {
    return R"({"kind":"sample","timeIso":"","systemNs":)" + std::to_string(rawNs + 5'000'000) + R"(,"rawNs":)" +
           std::to_string(rawNs) + R"(,"reference":")" + reference +
           R"(","clocks":[{"name":"master","differenceNs":0,"boundNs":0},{"name":"enp1s0","differenceNs":)" +
           std::to_string(differenceNs) +
           R"(,"boundNs":7},{"name":"enp2s0","differenceNs":null,"boundNs":0}],"steeringPpb":-3.5,)"
           R"("kernelMaxErrorNs":500,"kernelFrequencyPpb":1})";
}

std::string logAt(std::int64_t rawNs, const std::string& text) {
    return R"({"kind":"log","rawNs":)" + std::to_string(rawNs) + R"(,"systemNs":1,"priority":"info","text":")" + text +
           R"("})";
}

class Report : public testing::Test {
protected:
    std::string file(const std::string& name, const std::vector<std::string>& lines) {
        std::ofstream out(directory_ / name);
        for (const std::string& line : lines) {
            out << line << "\n";
        }
        return directory_ / name;
    }

    Chronicle recordOf(const std::vector<std::string>& lines) {
        Chronicle chronicle;
        readRecord(file("record", lines), chronicle);
        return chronicle;
    }

    /// Why no page is generated; empty on success.
    static std::string refusal(const ReportOptions& options) {
        try {
            Result result;
            makeReport(options, result);
            return "";
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    }

    static std::vector<std::string> namesIn(const std::filesystem::path& directory) {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(directory)) {
            names.push_back(entry.path().filename());
        }
        return names;
    }

    /// Of a record with one sample.
    ReportOptions optionsFor(const std::string& pagePath) {
        ReportOptions options;
        options.pagePath = pagePath;
        options.recordPath = file("record", {kStart, sampleAt(2'000, 40)});
        return options;
    }

    ScratchDirectory directory_;
};

TEST_F(Report, ReadsTheSamplesOfARecord) {
    const Chronicle chronicle = recordOf({kStart, sampleAt(2'000, 40), sampleAt(3'000, -50)});
    EXPECT_THAT(chronicle.measured.instantsNs(), ElementsAre(2'000, 3'000));
    EXPECT_THAT(chronicle.measured.find("enp1s0")->values, ElementsAre(40, -50));
    EXPECT_THAT(chronicle.measured.find("enp1s0")->bounds, ElementsAre(7, 7));
    EXPECT_EQ(chronicle.measured.find("enp2s0"), nullptr);
    EXPECT_THAT(chronicle.state.find("steeringPpb")->values, ElementsAre(-3.5, -3.5));
    EXPECT_EQ(chronicle.systemLessRawNs, 5'000'000);
}

TEST_F(Report, ReadsCallsVerbsLogLinesAndEventsAsMarks) {
    const Chronicle chronicle = recordOf(
        {kStart,
         R"({"kind":"call","rawNs":5,"endedRawNs":9,"function":"zuqxmtk_snapTime","arguments":"+5 ns","result":"FAIL","code":-7,"information":"{}"})",
         R"({"kind":"verb","rawNs":4,"endedRawNs":10,"verb":"step","argument":"+5ns","outcome":"failed","message":"why"})",
         logAt(6, "hello"),
         R"({"kind":"event","rawNs":7,"systemNs":1,"event":"link-up","subject":"enp1s0","good":true,"text":"up"})"});
    ASSERT_THAT(chronicle.marks, SizeIs(4));
    EXPECT_EQ(chronicle.marks[0].text, "zuqxmtk_snapTime(+5 ns)");
    EXPECT_EQ(chronicle.marks[0].durationNs, 4);
    EXPECT_EQ(chronicle.marks[0].level, Level::error);
    EXPECT_EQ(chronicle.marks[1].text, "step +5ns");
    EXPECT_EQ(chronicle.marks[1].detail, "why");
    EXPECT_EQ(chronicle.marks[2].lane, Lane::log);
    EXPECT_EQ(chronicle.marks[3].level, Level::good);
}

TEST_F(Report, WarnsOfNothingThatAStepOfTheHostExplains) {
    const std::string step =
        R"({"kind":"call","rawNs":1500,"endedRawNs":1600,"function":"zuqxmtk_snapTime","arguments":"+5 ns","result":"done","code":0,"information":""})";
    const auto event = [](std::int64_t rawNs, const std::string& what) {
        return R"({"kind":"event","rawNs":)" + std::to_string(rawNs) + R"(,"systemNs":1,"event":")" + what +
               R"(","subject":"enp1s0","good":false,"text":"it"})";
    };
    const std::string aligned = logAt(3'500, "Successfully aligned all timekeeping elements after 2 iterations.");
    const std::int64_t tooLate = 1'500 + 10'000'000'001;
    const auto levels = [this](const std::vector<std::string>& lines) {
        std::vector<Level> found;
        for (const Mark& mark : recordOf(lines).marks) {
            if (mark.text == "it") {
                found.push_back(mark.level);
            }
        }
        return found;
    };
    EXPECT_THAT(levels({kStart, sampleAt(1'000, 0), step, sampleAt(2'000, 0), event(2'000, "clock-jumped"),
                        event(2'000, "clock-away"), event(2'000, "link-down"), aligned, sampleAt(4'000, 0),
                        event(4'000, "clock-jumped"), sampleAt(5'000, 0), event(5'000, "clock-jumped")}),
                ElementsAre(Level::info, Level::info, Level::warning, Level::info, Level::warning));
    EXPECT_THAT(levels({kStart, sampleAt(2'000, 0), event(2'000, "clock-jumped"), step, sampleAt(tooLate, 0),
                        event(tooLate, "clock-away")}),
                ElementsAre(Level::warning, Level::warning));
}

TEST_F(Report, TakesThePathOfTheOscillatorForNoError) {
    const Chronicle chronicle = recordOf({kStart, logAt(6, "smbusPath: /sys/bus/i2c/drivers/si514/0-0055/")});
    EXPECT_EQ(chronicle.marks.at(0).level, Level::info);
}

TEST_F(Report, ShowsTheLastSessionOfARecordThatHoldsSeveral) {
    const Chronicle chronicle = recordOf({kStart, sampleAt(9'000, 1), logAt(1, "old"), kStart, sampleAt(2'000, 2)});
    EXPECT_THAT(chronicle.measured.instantsNs(), ElementsAre(2'000));
    EXPECT_THAT(chronicle.marks, IsEmpty());
    EXPECT_EQ(chronicle.sources.at(0).remark, "the last of 2 sessions");
}

TEST_F(Report, TakesWhatASampleLeavesOutFromTheOneBefore) {
    const Chronicle chronicle = recordOf(
        {kStart, sampleAt(2'000, 40), R"({"kind":"sample","systemNs":3,"rawNs":3000})",
         R"({"kind":"sample","systemNs":4,"rawNs":4000,"clocks":[{},{"differenceNs":-5},{}],"steeringPpb":7})"});
    EXPECT_THAT(chronicle.measured.find("enp1s0")->values, ElementsAre(40, 40, -5));
    EXPECT_THAT(chronicle.measured.find("enp1s0")->bounds, ElementsAre(7, 7, 7));
    EXPECT_THAT(chronicle.state.find("steeringPpb")->values, ElementsAre(-3.5, -3.5, 7));
    EXPECT_EQ(chronicle.sources.at(0).unreadLines, 0u);
}

TEST_F(Report, ReadsBareSamplesWithoutAKind) {
    std::string bare = sampleAt(2'000, 40);
    bare.erase(1, std::string(R"("kind":"sample",)").size());
    EXPECT_THAT(recordOf({bare}).measured.instantsNs(), ElementsAre(2'000));
}

TEST_F(Report, CountsLinesThatCannotBeReadAndGoesOn) {
    const Chronicle chronicle =
        recordOf({kStart, "{\"kind\":\"sample\"}", "no JSON", sampleAt(2'000, 1), "{\"kind\":\"sam", "", ""});
    EXPECT_EQ(chronicle.sources.at(0).unreadLines, 3u);
    EXPECT_EQ(chronicle.sources.at(0).lines, 5u);
    EXPECT_THAT(chronicle.measured.instantsNs(), SizeIs(1));
}

TEST_F(Report, CannotReadLinesWhoseNumbersNoIntegerHolds) {
    const Chronicle chronicle =
        recordOf({kStart, R"({"kind":"log","rawNs":1.5,"priority":"info","text":"a"})",
                  R"({"kind":"log","rawNs":1e300,"priority":"info","text":"b"})",
                  R"({"kind":"log","rawNs":2305843009213693952,"priority":"info","text":"c"})",
                  R"({"kind":"log","rawNs":1,"endedRawNs":-2305843009213693952,"priority":"info","text":"d"})",
                  R"({"kind":"log","rawNs":2305843009213693951,"priority":"info","text":"e"})"});
    EXPECT_EQ(chronicle.sources.at(0).unreadLines, 4u);
    ASSERT_THAT(chronicle.marks, SizeIs(1));
    EXPECT_EQ(chronicle.marks.front().text, "e");
}

TEST_F(Report, RefusesAFileThatIsNotThere) {
    Chronicle chronicle;
    EXPECT_THROW(readRecord(directory_ / "nothing", chronicle), std::system_error);
    EXPECT_THROW(readTrace(directory_ / "nothing", chronicle), std::system_error);
}

TEST_F(Report, MovesATraceToTheTimeOfTheRecordByTheLogLinesOfBoth) {
    Chronicle chronicle = recordOf({kStart, logAt(10'060, "one"), logAt(10'990, "two")});
    readTrace(file("trace", {R"({"seq":0,"raw_ns":0,"kind":"start","seed":3,"start_time_ns":9,"clocks":["ferrox"]})",
                             R"({"seq":1,"raw_ns":62,"kind":"syslog","priority":6,"text":"one"})",
                             R"({"seq":1,"raw_ns":990,"kind":"syslog","priority":6,"text":"two"})"}),
              chronicle);
    ASSERT_THAT(chronicle.marks, SizeIs(2)) << "log lines are shown once";
    EXPECT_EQ(chronicle.marks[0].rawNs, 10'062);
    EXPECT_EQ(chronicle.sources.at(1).remark, "seed 3");
}

TEST_F(Report, SaysWhenATraceMayBeOfAnotherRunThanTheRecord) {
    ReportOptions options;
    options.recordPath =
        file("record", {kStart, logAt(10'060, "one"), logAt(10'990, "two"), logAt(90'000'000, "late")});
    options.tracePath = file("trace", {R"({"seq":1,"raw_ns":62,"kind":"syslog","priority":6,"text":"one"})"});
    Result result;
    makeReport(options, result);
    EXPECT_EQ(result.outcome, Outcome::warning);
    EXPECT_EQ(result.message, "trace: 2 of 3 log lines of the record are not in it: of another run, or cut off");
    EXPECT_THAT(fileContents(directory_ / "record.html"), HasSubstr("of another run, or cut off"));
    options.recordPath = file("record", {kStart, logAt(10'060, "another")});
    makeReport(options, result);
    EXPECT_THAT(result.message, HasSubstr("no log line is in both"));
}

TEST_F(Report, ComparesTheTruthWithTheReferenceOfTheRecord) {
    Chronicle chronicle = recordOf({kStart, sampleAt(1'000, 0, "enp1s0"), logAt(1'000, "one")});
    readTrace(file("trace", {R"({"seq":1,"raw_ns":1000,"kind":"syslog","priority":6,"text":"one"})",
                             R"({"seq":2,"raw_ns":2000,"kind":"truth","tick_ns":1,"clocks":{)"
                             R"("ferrox":{"difference_ns":0,"time_ns":5,"enabled":true},)"
                             R"("system":{"difference_ns":9,"time_ns":5,"enabled":false},)"
                             R"("enp1s0":{"difference_ns":30,"time_ns":5,"enabled":true}}})"}),
              chronicle);
    EXPECT_THAT(chronicle.truth.find("master")->values, ElementsAre(-30));
    EXPECT_THAT(chronicle.truth.find("enp1s0")->values, ElementsAre(0));
    EXPECT_TRUE(std::isnan(chronicle.truth.find("CLOCK_REALTIME")->values[0])) << "it is not kept then";
}

TEST_F(Report, LetsNoTextOutOfItsPlaceInThePage) {
    const std::string evil = R"(</script><script>alert(1)</script><!-- & %n%s \u2028 \" @CHRONICLE@)";
    const Chronicle chronicle = recordOf({kStart, logAt(1, evil)});
    const std::string text = asPageText(chronicleAsJson(chronicle));
    EXPECT_THAT(text, Not(HasSubstr("<")));
    EXPECT_THAT(text, Not(HasSubstr(">")));
    EXPECT_THAT(text, Not(HasSubstr("&")));
    const nlohmann::json read = nlohmann::json::parse(text);
    EXPECT_EQ(read["marks"][0]["text"], chronicle.marks[0].text);
    EXPECT_EQ(pageOf(chronicle).find("alert(1)</script>"), std::string::npos);
}

TEST_F(Report, SurvivesBytesThatAreNoText) {
    Chronicle chronicle;
    chronicle.marks.push_back({1, 0, Lane::log, Level::info, "\xff\xfe\x01", ""});
    EXPECT_TRUE(nlohmann::json::accept(asPageText(chronicleAsJson(chronicle))));
}

TEST_F(Report, KeepsWarningsAndErrorsWhenThereAreTooManyMarks) {
    Chronicle chronicle;
    for (int i = 0; i < 20'010; ++i) {
        chronicle.marks.push_back({i, 0, Lane::log, i == 20'005 ? Level::error : Level::info, "x", ""});
    }
    const nlohmann::ordered_json document = chronicleAsJson(chronicle);
    EXPECT_EQ(document["marks"].size(), 20'000u);
    EXPECT_EQ(document["marksLeftOut"], 10);
    EXPECT_EQ(document["marks"].back()["level"], "error");
}

TEST_F(Report, LoadsNothingFromElsewhereAndKeepsTheLibrarysLicence) {
    const std::string page = pageOf(Chronicle());
    for (const char* part : {"default-src 'none'", "Permission is hereby granted", "&lt;danvdk@gmail.com&gt;"}) {
        EXPECT_NE(page.find(part), std::string::npos) << part;
    }
    for (const char* loader : {"src=\"http", "src=\"/", "sourceMappingURL", "@import", "<link rel=\"stylesheet\"",
                               "url(http", "@STYLE@", "@SCRIPTS@", "@DYGRAPHS@", "@LICENCE@"}) {
        EXPECT_EQ(page.find(loader), std::string::npos) << loader;
    }
}

TEST_F(Report, WritesThePageAndSaysWhatItHolds) {
    const ReportOptions options = optionsFor(directory_ / "page.html");
    Result result;
    makeReport(options, result);
    EXPECT_EQ(result.outcome, Outcome::ok);
    EXPECT_EQ(fileContents(options.pagePath), pageOf(readChronicle(options)));
}

TEST_F(Report, ReplacesAReportAndAnEmptyFileKeepingTheirRightsAndLinks) {
    const ReportOptions options = optionsFor(directory_ / "link.html");
    const std::string target = file("page.html", {});
    std::filesystem::permissions(target, std::filesystem::perms::owner_read);
    std::filesystem::create_symlink(target, options.pagePath);
    const std::string page = pageOf(readChronicle(options));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(refusal(options), "");
        EXPECT_EQ(fileContents(target), page);
    }
    EXPECT_TRUE(std::filesystem::is_symlink(options.pagePath));
    EXPECT_EQ(std::filesystem::status(target).permissions(), std::filesystem::perms::owner_read);
}

TEST_F(Report, LeavesAloneWhatIsNoReportUnderAnyOfItsNames) {
    ReportOptions options = optionsFor("");
    const std::string before = fileContents(options.recordPath);
    std::filesystem::create_symlink(options.recordPath, directory_ / "symbolic");
    std::filesystem::create_hard_link(options.recordPath, directory_ / "hard");
    ASSERT_EQ(::mkfifo((directory_ / "pipe").c_str(), 0600), 0);
    std::filesystem::create_symlink("nowhere", directory_ / "dangling");
    file("trace", {R"({"seq":1,"raw_ns":1,"kind":"start"})"});
    for (const std::string name : {"record", "./record", "symbolic", "hard", "trace", "pipe", "."}) {
        options.pagePath = directory_ / name;
        EXPECT_THAT(refusal(options), HasSubstr("is not a report and stays as it is")) << name;
    }
    options.pagePath = directory_ / "dangling";
    EXPECT_THAT(refusal(options), HasSubstr("cannot write"));
    EXPECT_EQ(fileContents(options.recordPath), before);
    EXPECT_TRUE(std::filesystem::is_fifo(directory_ / "pipe"));
    EXPECT_THAT(namesIn(directory_.path()),
                UnorderedElementsAre("record", "symbolic", "hard", "pipe", "dangling", "trace"));
}

TEST_F(Report, WritesNothingWithoutHavingReadALine) {
    ReportOptions options;
    options.pagePath = file("page.html", {pageOf(Chronicle())});
    const std::string before = fileContents(options.pagePath);
    file("empty", {});
    file("noise", {"no JSON", "{}"});
    for (const std::string name : {"empty", "noise", "page.html"}) {
        options.recordPath = directory_ / name;
        EXPECT_THAT(refusal(options), HasSubstr("has no line of a record")) << name;
    }
    options.recordPath = directory_.path();
    EXPECT_EQ(refusal(options), "cannot read " + directory_.path().string() + ": Is a directory");
    options.recordPath = directory_ / "nothing";
    EXPECT_THAT(refusal(options), HasSubstr("nothing: No such file or directory"));
    EXPECT_EQ(fileContents(options.pagePath), before);
}

TEST_F(Report, NamesTheRightOptionForATraceOrARecordGivenAsTheOther) {
    ReportOptions options;
    options.pagePath = directory_ / "page.html";
    options.recordPath = file("trace", {R"({"seq":1,"raw_ns":1,"kind":"start"})"});
    EXPECT_THAT(refusal(options), HasSubstr("is a simulated board's trace: --trace "));
    options.tracePath = file("record", {kStart});
    options.recordPath.clear();
    EXPECT_THAT(refusal(options), HasSubstr("is a record: --from "));
    EXPECT_FALSE(std::filesystem::exists(options.pagePath));
}

TEST_F(Report, GetsTheRecordsNameWhenItIsGivenNone) {
    ReportOptions options;
    options.recordPath = file("session.jsonl", {kStart, sampleAt(2'000, 40)});
    EXPECT_EQ(refusal(options), "");
    EXPECT_THAT(fileContents(directory_ / "session.html"), HasSubstr("<html"));
}

TEST_F(Report, LeavesThePageAndNoOtherFileWhenTheDiskIsFull) {
    const ReportOptions options = optionsFor(file("page.html", {pageOf(Chronicle())}));
    const std::string before = fileContents(options.pagePath);
    rlimit former{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &former), 0);
    const rlimit small{1'000, former.rlim_max};
    const auto formerAction = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const std::string said = refusal(options);
    ::setrlimit(RLIMIT_FSIZE, &former);
    std::signal(SIGXFSZ, formerAction);
    EXPECT_EQ(said, "cannot write " + options.pagePath + ": File too large");
    EXPECT_EQ(fileContents(options.pagePath), before);
    EXPECT_THAT(namesIn(directory_.path()), UnorderedElementsAre("record", "page.html"));
}

}  // namespace halvexctl::reportTest
