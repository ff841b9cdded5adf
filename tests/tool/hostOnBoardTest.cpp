// Tests of halvexctl and of the demo with the real library on the simulated controller.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <nlohmann/json.hpp>

#include "tests/support/test.h"
#include "tests/tool/programRun.h"

namespace halvexctl::hostOnBoardTest {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class HostOnBoard : public testing::Test {
protected:
    std::vector<std::string> onBoard(const std::string& scenario, const std::string& seed,
                                     std::vector<std::string> arguments) {
        std::vector<std::string> command{HALVEXBOARD, "run",     "--scenario", scenario,
                                         "--seed",    seed,      "--trace",    directory_ / "trace",
                                         "--",        HALVEXCTL, "--library",  HALVEX_LIBRARY};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return command;
    }

    /// The results of the verbs; the exit code is left in `exitCode_`.
    nlohmann::json results(std::vector<std::string> verbs, const std::string& scenario = "demo") {
        verbs.insert(verbs.begin(), "--json");
        ProgramRun program(onBoard(scenario, "1", verbs));
        exitCode_ = program.finish();
        return nlohmann::json::parse(program.output());
    }

    std::string traceOf(const std::string& seed) {
        ProgramRun program(onBoard("demo", seed, {"step", "+1.5ms", "wait", "5s", "get"}));
        EXPECT_EQ(program.finish(), 0);
        return fileContents(directory_ / "trace");
    }

    std::string scratchScenario(const std::string& text) {
        const std::string path = directory_ / "scenario.toml";
        std::ofstream(path) << text;
        return path;
    }

    int demo(const std::string& scenario, const std::string& bin = HALVEX_BUILD "/bin") {
        // In a build folder of its own, so that its trace is not shared.
        const std::string build = directory_ / "build";
        EXPECT_EQ(::mkdir(build.c_str(), 0700), 0);
        EXPECT_EQ(::symlink(bin.c_str(), (build + "/bin").c_str()), 0);
        EXPECT_EQ(::symlink(HALVEX_BUILD "/lib", (build + "/lib").c_str()), 0);
        ProgramRun program({DEMO, build, "1", scenario});
        const int exitCode = program.finish();
        told_ = program.output() + program.errors();
        return exitCode;
    }

    ScratchDirectory directory_;
    int exitCode_ = -1;
    std::string told_;
};

TEST_F(HostOnBoard, CarriesOutTheWholeChain) {
    const std::string document = directory_ / "metadata.json";
    std::ofstream(document) << R"({"selectedTRInstID":"gm"})";
    const nlohmann::json all = results({"info", "get", "step", "+1.5ms", "wait", "2s", "freq", "-1250", "limits",
                                        "drift", "10s", "apply-metadata", document, "get", "finalize"});
    EXPECT_EQ(exitCode_, 0);
    ASSERT_EQ(all.size(), 10u);
    for (const nlohmann::json& result : all) {
        EXPECT_EQ(result["outcome"], "ok") << result;
    }
    EXPECT_EQ(all[0]["values"]["name"], "HalvexTimekeeper");
    EXPECT_EQ(all[4]["values"]["correctionPpb"], -1250);
    const auto passedNs =
        all[8]["values"]["timeNs"].get<std::int64_t>() - all[1]["values"]["timeNs"].get<std::int64_t>();
    EXPECT_NEAR(static_cast<double>(passedNs), 12'001'500'000.0, 2'000'000.0);
}

TEST_F(HostOnBoard, MeasuresAStepToWithinItsBound) {
    const nlohmann::json step = results({"step", "+1.5ms"})[0]["values"];
    EXPECT_NEAR(step["movedNs"].get<double>(), 1'500'000.0, step["movedBoundNs"].get<double>());
    EXPECT_LT(step["movedBoundNs"], 100'000);
}

TEST_F(HostOnBoard, MeasuresTheCrystalsErrorAndItsCorrection) {
    const nlohmann::json all = results({"drift", "10s", "freq", "-12000", "drift", "10s"});
    EXPECT_NEAR(all[0]["values"]["driftPpb"].get<double>(), 12'000.0, 5.0);
    EXPECT_NEAR(all[2]["values"]["driftPpb"].get<double>(), 0.0, 5.0);
}

TEST_F(HostOnBoard, SeesTheRefusalOfALibraryThatIsNotInitialised) {
    results({"finalize", "expect-error", "-52010", "name", "expect-error", "-52010", "seeded", "expect-error", "-52010",
             "get", "clear", "init", "get"});
    EXPECT_EQ(exitCode_, 0);
}

TEST_F(HostOnBoard, SeesTheLibrarysOwnRangeCheckWhenItInsists) {
    const nlohmann::json all = results({"--yes", "expect-error", "-52005", "freq", "62001", "clear", "freq"});
    EXPECT_EQ(exitCode_, 0) << all;
    EXPECT_EQ(all[3]["values"]["correctionPpb"], 0);
}

TEST_F(HostOnBoard, FailsWithTheLibrarysMessageWhenNoPortIsUsable) {
    const nlohmann::json all = results({"get"}, scratchScenario("title = \"no ports\"\n"));
    EXPECT_EQ(exitCode_, 3);
    EXPECT_EQ(all[0]["error"]["code"], -52010);
    EXPECT_THAT(all[0]["message"].get<std::string>(), HasSubstr("at least one usable PHC interface"));
}

TEST_F(HostOnBoard, RunsLinesFromStandardInput) {
    std::array<int, 2> input{};
    ASSERT_EQ(::pipe(input.data()), 0);
    const std::string lines = "get\nwait 10s\nget\n";
    ASSERT_EQ(::write(input[1], lines.data(), lines.size()), static_cast<ssize_t>(lines.size()));
    ::close(input[1]);
    ProgramRun program(onBoard("plain", "1", {"--json", "run"}), input[0]);
    EXPECT_EQ(program.finish(), 0);
    ::close(input[0]);
    EXPECT_EQ(nlohmann::json::parse(program.output()).size(), 4u);
}

TEST_F(HostOnBoard, LeavesTheSameTraceWithTheSameSeedAndAnotherWithAnother) {
    const std::string first = traceOf("3");
    EXPECT_GT(first.size(), 10'000u);
    EXPECT_EQ(traceOf("3"), first);
    EXPECT_NE(traceOf("4"), first);
}

TEST_F(HostOnBoard, LeavesTheSameTraceWhateverElseTheMachineRuns) {
    const std::string alone = traceOf("3");
    std::vector<pid_t> others(10);
    for (pid_t& other : others) {
        other = ::fork();
        if (other == 0) {
            ::pause();
            ::_exit(0);
        }
    }
    EXPECT_TRUE(traceOf("3") == alone) << "processes of the machine cost virtual time";
    for (const pid_t other : others) {
        ::kill(other, SIGKILL);
        ::waitpid(other, nullptr, 0);
    }
}

TEST_F(HostOnBoard, DemoPasses) {
    EXPECT_EQ(demo("demo"), 0);
    EXPECT_THAT(told_, HasSubstr("VERDICT: passed")) << told_;
    EXPECT_THAT(told_, testing::Not(HasSubstr("[FAIL]")));
    EXPECT_THAT(told_, HasSubstr("-> zuqxmtk_snapTime(-399 ns)"));
}

TEST_F(HostOnBoard, DemoNamesTheReportItMade) {
    ASSERT_EQ(demo("demo"), 0);
    const std::string page = directory_ / "build" + "/demo-report.html";
    EXPECT_THAT(told_, HasSubstr("\nReport: " + page + "\n"));
    const std::string text = fileContents(page);
    EXPECT_NE(text.find("demo 9: Shutdown"), std::string::npos) << "the record's and the trace's log lines";
    EXPECT_NE(text.find("\"name\":\"fpga\""), std::string::npos) << "the trace's truth";
}

TEST_F(HostOnBoard, DemoFailsInEveryChapterWhenNothingHappens) {
    const std::string bin = directory_ / "bin";
    ASSERT_EQ(::mkdir(bin.c_str(), 0700), 0);
    ASSERT_EQ(::symlink("/bin/true", (bin + "/halvexboard").c_str()), 0);
    ASSERT_EQ(::symlink("/bin/true", (bin + "/halvexctl").c_str()), 0);
    EXPECT_EQ(demo("demo", bin), 1);
    std::size_t at = 0;
    for (int chapter = 1; chapter <= 9; ++chapter) {
        at = told_.find("\n-- demo " + std::to_string(chapter), at);
        ASSERT_NE(at, std::string::npos) << told_;
        EXPECT_LT(told_.find("[FAIL]", at), told_.find("\n-- ", at + 1)) << chapter << told_;
    }
}

struct Damage {
    const char* name;
    const char* from;  ///< Replaced in the demo's scenario; empty: `to` is appended.
    const char* to;
    const char* failure;
};

class DemoOnADamagedBoard : public HostOnBoard, public testing::WithParamInterface<Damage> {};

TEST_P(DemoOnADamagedBoard, Fails) {
    std::string scenario = fileContents(DEMO_SCENARIO);
    const std::string from = GetParam().from;
    const std::size_t at = from.empty() ? scenario.size() : scenario.find(from);
    ASSERT_NE(at, std::string::npos);
    EXPECT_EQ(demo(scratchScenario(scenario.replace(at, from.size(), GetParam().to))), 1);
    EXPECT_THAT(told_, HasSubstr("VERDICT: FAILED"));
    EXPECT_THAT(told_, HasSubstr(std::string("[FAIL]  ") + GetParam().failure));
}

constexpr const char* kJump = "\n[[event]]\nat = \"99.5 s\"\nkind = \"jump\"\ntarget = \"fpga\"\nby = \"300 ns\"\n";

INSTANTIATE_TEST_SUITE_P(
    Chapters, DemoOnADamagedBoard,
    testing::Values(Damage{"NoFault", "from = \"95 s\"", "from = \"9500 s\"", "the FPGA's driver fails once"},
                    Damage{"FpgaAway", "", kJump,
                           "all enabled clocks end within 100 ns of the master\n          seen: verdict: FAILED, "
                           "further than 100 ns from the master: fpga (+2"},
                    Damage{"AnotherMaster", "offset = \"-1.25 s\"", "offset = \"-1.5 s\"", "the master is seeded once"},
                    Damage{"AnotherCrystal", "crystal_error_ppb = 12000", "crystal_error_ppb = 9000",
                           "before steering the host measures"},
                    Damage{"AnotherJump", "by = \"250 us\"", "by = \"350 us\"",
                           "it comes up with its clock about 250 us off"},
                    Damage{"FasterCrystal", "crystal_error_ppb = 12000", "crystal_error_ppb = 13000",
                           "after steering the host measures"}),
    [](const auto& one) { return one.param.name; });

}  // namespace halvexctl::hostOnBoardTest
