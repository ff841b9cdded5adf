// Tests of recording a session and reporting it, with the real library on the simulated controller.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <nlohmann/json.hpp>
#include <regex>

#include "tests/support/test.h"
#include "tests/tool/programRun.h"

namespace halvexctl::recordOnBoardTest {

using nlohmann::json;
using testing::Contains;
using testing::HasSubstr;

class RecordOnBoard : public testing::Test {
protected:
    int run(std::vector<std::string> words, const std::string& scenario = "demo") {
        words.insert(words.begin(), {HALVEXBOARD, "run", "--scenario", scenario, "--seed", "1", "--trace",
                                     directory_ / "trace", "--", HALVEXCTL, "--yes", "--library", HALVEX_LIBRARY});
        ProgramRun program(words);
        const int exitCode = program.finish();
        output_ = program.output() + program.errors();
        return exitCode;
    }

    std::string record() const { return directory_ / "record"; }

    /// The record's lines of one kind.
    std::vector<json> lines(const std::string& kind) const {
        std::vector<json> found;
        std::istringstream text(fileContents(record()));
        for (std::string line; std::getline(text, line);) {
            json object = json::parse(line);
            if (object["kind"] == kind) {
                found.push_back(std::move(object));
            }
        }
        return found;
    }

    std::vector<std::string> texts(const std::string& kind, const char* member) const {
        std::vector<std::string> found;
        for (const json& line : lines(kind)) {
            found.push_back(line[member]);
        }
        return found;
    }

    ScratchDirectory directory_;
    std::string output_;
};

TEST_F(RecordOnBoard, KeepsTheLibrarysLogLinesWhichStillReachSyslog) {
    ASSERT_EQ(run({"record", record(), "init", "wait", "2s"}), 0) << output_;
    const std::string line = "Successfully aligned all timekeeping elements after 3 iterations.";
    EXPECT_THAT(texts("log", "text"), Contains(line));
    EXPECT_THAT(texts("log", "text"), Contains("System time will be synchronized to enp1s0."));
    EXPECT_THAT(texts("log", "priority"), Contains("error")) << "the one about the oscillator's path";
    EXPECT_THAT(fileContents(directory_ / "trace"), HasSubstr(line));
}

TEST_F(RecordOnBoard, KeepsVerbsAndCallsWithTheirResultsAndTimes) {
    ASSERT_EQ(run({"record", record(), "freq", "-1250", "wait", "1s", "expect-error", "get"}), 3);
    const std::vector<json> calls = lines("call");
    EXPECT_THAT(texts("call", "function"), Contains("zuqxmtk_setCorrectionPerSecond"));
    EXPECT_EQ(calls.at(0)["function"], "zuqxmtk_initialize");
    EXPECT_GT(calls.at(0)["endedRawNs"], calls.at(0)["rawNs"]);
    EXPECT_THAT(texts("verb", "verb"), testing::ElementsAre("freq", "wait", "expect-error", "get"));
    EXPECT_EQ(lines("verb").back()["outcome"], "failed");
    EXPECT_EQ(lines("end").at(0)["exitCode"], 3);
}

/// The true differences of each clock from the master, by the raw time of the record.
std::map<std::string, std::map<std::int64_t, std::int64_t>> truthsOf(const std::string& trace) {
    constexpr std::int64_t kRawAtStartNs = 1'000'000'000'000;
    std::map<std::string, std::map<std::int64_t, std::int64_t>> truths;
    std::istringstream text(trace);
    for (std::string row; std::getline(text, row);) {
        const json line = json::parse(row);
        if (line["kind"] != "epoch" && line["kind"] != "truth") {
            continue;
        }
        for (const auto& [name, clock] : line["clocks"].items()) {
            truths[name == "system" ? "CLOCK_REALTIME" : name][kRawAtStartNs + line["raw_ns"].get<std::int64_t>()] =
                clock["difference_ns"];
        }
    }
    return truths;
}

TEST_F(RecordOnBoard, MeasuresWhatIsTrueWithinThePrintedBoundInEveryScenario) {
    for (const auto& file : std::filesystem::directory_iterator(HALVEX_SOURCE_DIR "/board/scenarios")) {
        SCOPED_TRACE(file.path());
        std::filesystem::remove(record());
        const std::string scenario = directory_ / "scenario.toml";
        std::ofstream(scenario) << "truth_interval = \"10 ms\"\n"
                                << std::regex_replace(fileContents(file.path()), std::regex("truth_interval.*\n"), "");
        run({"record", record(), "info", "wait", "20s"}, scenario);
        const auto truths = truthsOf(fileContents(directory_ / "trace"));
        std::size_t compared = 0;
        for (const json& sample : lines("sample")) {
            for (const json& clock : sample["clocks"]) {
                const auto truth = truths.find(clock["name"]);
                if (sample["reference"] != "master" || truth == truths.end() || clock["differenceNs"].is_null()) {
                    continue;
                }
                const auto after = truth->second.lower_bound(sample["rawNs"]);
                if (after == truth->second.begin() || after == truth->second.end()) {
                    continue;
                }
                const auto [low, high] = std::minmax(std::prev(after)->second, after->second);
                const std::int64_t boundNs = clock["boundNs"];
                EXPECT_GE(clock["differenceNs"], low - boundNs) << clock << sample["timeIso"];
                EXPECT_LE(clock["differenceNs"], high + boundNs) << clock << sample["timeIso"];
                ++compared;
            }
        }
        EXPECT_GE(compared, 10U) << output_;
    }
}

TEST_F(RecordOnBoard, SamplesEverySecondThatVerbsWait) {
    ASSERT_EQ(run({"init", "record", record(), "wait", "5s"}), 0) << output_;
    const std::size_t samples = lines("sample").size();
    EXPECT_GE(samples, 5u);
    EXPECT_LE(samples, 7u);
    EXPECT_EQ(lines("sample").back()["reference"], "master");
}

TEST_F(RecordOnBoard, SamplesAsOftenAsItIsTold) {
    ASSERT_EQ(run({"init", "record", record(), "--interval", "100ms", "wait", "1s"}), 0) << output_;
    EXPECT_NEAR(static_cast<double>(lines("sample").size()), 11, 1);
}

TEST_F(RecordOnBoard, SamplesWhileRunWaitsForInput) {
    ASSERT_EQ(run({"record", record(), "run"}), 0) << output_;
    EXPECT_THAT(texts("verb", "verb"), Contains("run"));
}

TEST_F(RecordOnBoard, NoticesALinkThatGoesDownAndUp) {
    ASSERT_EQ(run({"init", "record", record(), "wait", "90s"}), 0) << output_;
    EXPECT_THAT(texts("event", "event"), testing::IsSupersetOf({"link-down", "link-up"}));
}

TEST_F(RecordOnBoard, LeavesAnErrorOfTheLibrarysThreadToTheNextVerb) {
    ASSERT_EQ(run({"record", record(), "init", "wait", "97s", "expect-error", "-52024", "get", "clear", "get"}), 0)
        << output_;
    EXPECT_THAT(output_, HasSubstr("failed as expected"));
    EXPECT_THAT(texts("event", "event"), Contains("library-error"));
}

TEST_F(RecordOnBoard, SaysWhyWhenTheFileCannotBeWritten) {
    EXPECT_EQ(run({"record", "/dev/full", "init", "get"}), 3);
    EXPECT_THAT(output_, HasSubstr("/dev/full"));
}

TEST_F(RecordOnBoard, RefusesASecondRecordingAtATime) {
    EXPECT_EQ(run({"record", record(), "record", directory_ / "other"}), 3);
    EXPECT_THAT(output_, HasSubstr("is being recorded already"));
}

TEST_F(RecordOnBoard, IsReportedFromTheSameSession) {
    ASSERT_EQ(run({"record", record(), "init", "wait", "2s", "report", directory_ / "page.html"}), 0) << output_;
    EXPECT_THAT(fileContents(directory_ / "page.html"), HasSubstr("\"aligned\":true"));
}

TEST_F(RecordOnBoard, ReportsIterationsWithTheTruthFromTheTrace) {
    ASSERT_EQ(run({"record", record(), "init", "wait", "2s"}), 0) << output_;
    ProgramRun program(
        {HALVEXCTL, "--json", "report", directory_ / "page.html", "--from", record(), "--trace", directory_ / "trace"});
    ASSERT_EQ(program.finish(), 0) << program.errors();
    const json values = json::parse(program.output())[0]["values"];
    EXPECT_EQ(values["alignments"], 1);
    EXPECT_GT(values["truths"], 20);
    const std::string page = fileContents(directory_ / "page.html");
    const std::size_t begin = page.find("id=\"chronicle\">") + std::string("id=\"chronicle\">").size();
    const json chronicle = json::parse(page.substr(begin, page.find("</script>", begin) - begin));
    const json iterations = chronicle["alignments"][0]["iterations"];
    ASSERT_EQ(iterations.size(), 3u);
    EXPECT_EQ(iterations[0]["slaves"].size(), 3u);
    for (const json& slave : iterations[2]["slaves"]) {
        EXPECT_EQ(slave["measuredNs"], slave["trueNs"]) << "the board's stamps are exact";
        EXPECT_TRUE(slave["askedNs"].is_null());
    }
}

TEST_F(RecordOnBoard, IsNeverReplacedByItsReport) {
    ASSERT_EQ(run({"record", record(), "init"}), 0) << output_;
    EXPECT_EQ(run({"record", record(), "init", "report", record()}), 3);
    EXPECT_THAT(output_, HasSubstr("is not a report and stays as it is"));
    EXPECT_EQ(lines("start").size(), 2u);
    EXPECT_EQ(lines("end").size(), 2u);
    EXPECT_EQ(run({"report", "--from", record()}), 0) << output_;
    EXPECT_THAT(fileContents(directory_ / "record.html"), HasSubstr("<html"));
}

TEST_F(RecordOnBoard, GoesOnBehindALineThatIsTorn) {
    ASSERT_EQ(run({"record", record(), "init"}), 0) << output_;
    std::string torn = fileContents(record());
    torn.resize(torn.size() - 10);
    std::ofstream(record()) << torn;
    ASSERT_EQ(run({"record", record(), "init"}), 0) << output_;
    EXPECT_THAT(fileContents(record()), HasSubstr("\n{\"kind\":\"start\"")) << "a line of its own";
    EXPECT_EQ(run({"report", "--from", record()}), 1) << output_;
    EXPECT_THAT(output_, HasSubstr("1 of "));
    std::ofstream(record()) << "{\"ki";
    EXPECT_EQ(run({"record", record(), "init"}), 0) << output_;
}

TEST_F(RecordOnBoard, IsNotAppendedToAFileThatIsNoRecord) {
    std::ofstream(record()) << "other text\n";
    EXPECT_EQ(run({"record", record(), "init"}), 3);
    EXPECT_THAT(output_, HasSubstr("is not a record and stays as it is"));
    EXPECT_EQ(fileContents(record()), "other text\n");
}

TEST_F(RecordOnBoard, IsReportedFromStandardInput) {
    ASSERT_EQ(run({"record", record(), "init"}), 0) << output_;
    const auto report = [this](std::vector<std::string> sources, const std::string& inputPath) {
        const int input = ::open(inputPath.c_str(), O_RDONLY | O_CLOEXEC);
        sources.insert(sources.begin(), {HALVEXCTL, "report", directory_ / "page.html"});
        ProgramRun program(sources, input);
        const int code = program.finish();
        ::close(input);
        return std::to_string(code) + program.errors();
    };
    EXPECT_EQ(report({"--from", "-"}, record()), "0");
    EXPECT_EQ(report({"--from", record(), "--trace", "-"}, directory_ / "trace"), "0");
    EXPECT_THAT(fileContents(directory_ / "page.html"), HasSubstr("\"standard input\""));
    EXPECT_EQ(report({"--from", "-"}, "/dev/null"), "3halvexctl: report: standard input has no line of a record\n");
}

TEST_F(RecordOnBoard, KeepsMetricsInAFileOfMetricsAlone) {
    const std::string metrics = directory_ / "metrics";
    EXPECT_EQ(run({"init", "monitor", "--count", "2", "--metrics", metrics}, "plain"), 0) << output_;
    EXPECT_THAT(fileContents(metrics), HasSubstr("halvex_sample_time_seconds"));
    EXPECT_EQ(run({"record", record(), "init", "monitor", "--once", "--metrics", record()}, "plain"), 3);
    EXPECT_THAT(output_, HasSubstr("is not a file of metrics and stays as it is"));
    EXPECT_EQ(lines("end").size(), 1u);
}

TEST_F(RecordOnBoard, HasNothingToReportWithoutASource) {
    EXPECT_EQ(run({"report", directory_ / "page.html"}), 3);
    EXPECT_THAT(output_, HasSubstr("nothing to report"));
}

}  // namespace halvexctl::recordOnBoardTest
