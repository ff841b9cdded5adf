// Tests of the verbs that inspect the controller, on the simulated one.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <nlohmann/json.hpp>
#include <regex>

#include "host/cli/lineWords.h"
#include "tests/support/test.h"
#include "tests/tool/programRun.h"

namespace halvexctl::inspectOnBoardTest {

using testing::HasSubstr;

class InspectOnBoard : public testing::Test {
protected:
    std::string run(std::vector<std::string> arguments, const std::string& scenario) {
        arguments.insert(arguments.begin(), {HALVEXBOARD, "run", "--scenario", scenario, "--seed", "1", "--trace",
                                             directory_ / "trace", "--", HALVEXCTL, "--library", HALVEX_LIBRARY});
        ProgramRun program(arguments);
        exitCode_ = program.finish();
        return program.output();
    }

    nlohmann::json results(std::vector<std::string> verbs, const std::string& scenario = "demo") {
        verbs.insert(verbs.begin(), "--json");
        return nlohmann::json::parse(run(verbs, scenario));
    }

    std::string scratchScenario(const std::string& text) {
        const std::string path = directory_ / "scenario.toml";
        std::ofstream(path) << text;
        return path;
    }

    /// The doctor's verdict of one check: "OK", "WARN" or "FAIL".
    static std::string healthOf(const nlohmann::json& doctor, const std::string& check) {
        for (const nlohmann::json& finding : doctor["values"]["checks"]) {
            if (finding["check"] == check) {
                return finding["health"];
            }
        }
        return "absent";
    }

    static nlohmann::json named(const nlohmann::json& interfaces, const std::string& name) {
        for (const nlohmann::json& interface : interfaces) {
            if (interface["name"] == name) {
                return interface;
            }
        }
        ADD_FAILURE() << "no " << name;
        return nullptr;
    }

    void expectNoChange() const {
        for (const char* change : {"PTP_PIN_SETFUNC", "PTP_EXTTS_REQUEST", "settime", "spawn", "\"write\"", "select"}) {
            EXPECT_EQ(trace().find(change), std::string::npos) << change;
        }
    }

    std::string trace() const { return fileContents(directory_ / "trace"); }

    ScratchDirectory directory_;
    int exitCode_ = -1;
};

TEST_F(InspectOnBoard, MapShowsWhatIsChosenAndWhyTheRestIsNot) {
    const nlohmann::json interfaces = results({"map"}, "unusableInterfaces")[0]["values"]["interfaces"];
    EXPECT_TRUE(named(interfaces, "enp1s0")["chosen"]);
    EXPECT_EQ(named(interfaces, "enp1s0")["node"], "/dev/ptp0");
    EXPECT_EQ(named(interfaces, "enp1s0")["pins"].size(), 4u);
    EXPECT_EQ(named(interfaces, "enp2s0")["reason"], "not an I210 (0x8086:0x1533)");
    EXPECT_THAT(named(interfaces, "enp3s0")["reason"].get<std::string>(), HasSubstr("0 outputs"));
    EXPECT_EQ(named(interfaces, "enp4s0")["reason"], "has no PTP clock");
    EXPECT_THAT(named(interfaces, "enp5s0")["reason"].get<std::string>(), HasSubstr("3 pins"));
}

TEST_F(InspectOnBoard, MapAgreesWithTheLibraryAboutWhatIsChosen) {
    results({"map", "init"}, "unusableInterfaces");
    EXPECT_THAT(trace(), HasSubstr("Interface enp1s0 will be synchronized."));
    EXPECT_THAT(trace(), HasSubstr("Interface enp3s0 is not usable"));
    EXPECT_THAT(trace(), HasSubstr("Interface enp5s0 is not usable"));
}

TEST_F(InspectOnBoard, MapAndDoctorTellWhatCannotBeReadFromWhatIsNotThere) {
    std::string unreadable = "[ferrox]\n[fpga]\n[si514]\n[[interface]]\nname = \"enp1s0\"\n";
    for (const char* file : {"vendor", "interfacePath", "name"}) {
        unreadable +=
            std::string("[[fault]]\ncall = \"read\"\nfile = \"") + file + "\"\nerror = \"EIO\"\ntimes = \"forever\"\n";
    }
    const std::string scenario = scratchScenario(unreadable);
    const nlohmann::json all = results({"map", "doctor"}, scenario), map = all[0]["values"];
    EXPECT_EQ(all[0]["outcome"], "warning");
    EXPECT_EQ(map["interfaces"][0]["reason"], "/sys/class/net/enp1s0/device/vendor cannot be read: Input/output error");
    EXPECT_THAT(map["ferrox"]["error"].get<std::string>(),
                HasSubstr("/interfacePath cannot be read: Input/output error"));
    EXPECT_THAT(map["si514"]["error"].get<std::string>(), HasSubstr("/name cannot be read: Input/output error"));
    EXPECT_THAT(all[1].dump(), HasSubstr("/interfacePath cannot be read: Input/output error"));
    const std::string text = run({"map"}, scenario);
    EXPECT_THAT(text, HasSubstr("left out: /sys/class/net/enp1s0/device/vendor cannot be read"));
    EXPECT_EQ(text.find("no driver"), std::string::npos) << text;
}

TEST_F(InspectOnBoard, DoctorFindsTheControllerWell) {
    const nlohmann::json doctor = results({"doctor"})[0];
    for (const char* check : {"interfaces", "links", "clock-nodes", "clock-rights", "clock-pins", "virtual-clocks",
                              "ferrox-driver", "ferrox-node", "fpga-driver", "fpga-node", "si514-driver",
                              "si514-attribute", "si514-rights", "phc2sys-file", "kernel-clock"}) {
        EXPECT_EQ(healthOf(doctor, check), "OK") << check;
    }
}

TEST_F(InspectOnBoard, DoctorFindsWhatIsMissingAndEndsWithThree) {
    const nlohmann::json doctor = results({"doctor"}, scratchScenario("title = \"no ports\"\n"))[0];
    EXPECT_EQ(exitCode_, 3);
    EXPECT_EQ(doctor["outcome"], "failed");
    EXPECT_EQ(healthOf(doctor, "interfaces"), "FAIL");
}

TEST_F(InspectOnBoard, LookingChangesNothing) {
    results({"map", "doctor"});
    expectNoChange();
    EXPECT_THAT(trace(), HasSubstr("ptp"));
}

TEST_F(InspectOnBoard, GetReadsAClockWithoutInitialisingAndChangesNothing) {
    const nlohmann::json all = results({"get", "enp1s0", "get", "/dev/ptp1", "get", "CLOCK_REALTIME", "init", "wait",
                                        "5s", "get", "enp1s0", "get", "finalize", "get", "enp2s0"});
    EXPECT_EQ(exitCode_, 0) << all;
    EXPECT_EQ(all[0]["values"]["clock"], "enp1s0");
    const auto timeOf = [&all](std::size_t verb) { return all[verb]["values"]["timeNs"].get<double>(); };
    EXPECT_NEAR(timeOf(5), timeOf(6), 1e6) << "the master a little later";
    run({"get", "enp1s0"}, "demo");
    expectNoChange();
    EXPECT_EQ(exitCode_, 0);
    run({"get", "lo"}, "demo");
    EXPECT_EQ(exitCode_, 3);
}

TEST_F(InspectOnBoard, ThePhc2sysOfTheSessionItselfOwnsNothing) {
    results({"init", "wait", "3s", "finalize", "init", "get"});
    EXPECT_EQ(exitCode_, 0);
}

TEST_F(InspectOnBoard, MonitorMeasuresEveryClockWithinItsBound) {
    const nlohmann::json sample = results({"init", "wait", "5s", "monitor", "--once"})[2]["values"]["last"];
    EXPECT_EQ(exitCode_, 0) << sample;
    EXPECT_EQ(sample["reference"], "master");
    ASSERT_EQ(sample["clocks"].size(), 4u);
    for (const nlohmann::json& clock : sample["clocks"]) {
        // The truth is within 100 ns: the measurement may be off by its bound.
        EXPECT_LE(std::abs(clock["differenceNs"].get<double>()), clock["boundNs"].get<double>() + 100) << clock;
        EXPECT_LT(clock["boundNs"], 10'000);
        EXPECT_FALSE(clock["away"]);
    }
    EXPECT_EQ(sample["clocks"][3]["name"], "CLOCK_REALTIME");
    EXPECT_EQ(sample["phc2sysAlive"], true);
    EXPECT_EQ(sample["kernelSynchronised"], true);
    EXPECT_LT(sample["kernelMaxErrorNs"], 5'000'000);
}

TEST_F(InspectOnBoard, MonitorAloneInitialisesNothingAndChangesNothing) {
    const nlohmann::json sample = results({"monitor", "--once"})[0];
    EXPECT_EQ(exitCode_, 1);
    EXPECT_EQ(sample["outcome"], "warning") << "the clocks are not aligned";
    EXPECT_EQ(sample["values"]["last"]["reference"], "enp1s0");
    EXPECT_EQ(sample["values"]["last"]["phc2sysAlive"], false);
    EXPECT_TRUE(named(sample["values"]["last"]["clocks"], "enp2s0")["away"]);
    expectNoChange();
    EXPECT_EQ(trace().find(R"("call":"read","target":"enp1s0","file":"ptp")"), std::string::npos);
}

TEST_F(InspectOnBoard, MonitorNeverReadsTimeStampEventsOfTheLibrarysClocks) {
    run({"init", "wait", "1s", "remark", "watched from here", "monitor", "--count", "3"}, "demo");
    const std::string watched = trace().substr(trace().find("watched from here"));
    EXPECT_EQ(watched.find(R"("call":"read","target":"enp1s0","file":"ptp")"), std::string::npos);
    EXPECT_THAT(watched, HasSubstr("PTP_SYS_OFFSET_EXTENDED"));
}

TEST_F(InspectOnBoard, MonitorSeesASteppedClockAwayAndJumped) {
    const std::string event = "\n[[event]]\nat = \"8 s\"\nkind = \"jump\"\ntarget = \"enp2s0\"\nby = \"2 ms\"\n";
    const std::string output =
        run({"--json", "init", "wait", "5s", "monitor", "--count", "5"},
            scratchScenario("[ferrox]\n[fpga]\n[si514]\n[[interface]]\nname = \"enp1s0\"\nphc_index = 0\n"
                            "[[interface]]\nname = \"enp2s0\"\nphc_index = 1\n" +
                            event));
    EXPECT_EQ(exitCode_, 1);
    std::istringstream lines(output);
    std::vector<nlohmann::json> samples;
    for (std::string line; std::getline(lines, line);) {
        samples.push_back(nlohmann::json::parse(line));
    }
    ASSERT_EQ(samples.size(), 6u) << "five samples, and the results as the last line";
    EXPECT_FALSE(samples[0]["alarm"]);
    int jumps = 0;
    for (std::size_t i = 0; i < 5; ++i) {
        const nlohmann::json clock = named(samples[i]["clocks"], "enp2s0");
        if (!clock["jumpNs"].is_null()) {
            ++jumps;
            EXPECT_NEAR(clock["jumpNs"].get<double>(), 2e6, 1e4);
            EXPECT_TRUE(clock["away"]);
        }
        EXPECT_TRUE(named(samples[i]["clocks"], "enp1s0")["jumpNs"].is_null());
    }
    EXPECT_EQ(jumps, 1);
    EXPECT_TRUE(samples[5].is_array());
}

TEST_F(InspectOnBoard, MonitorRaisesNamedAlarmsForADeadPhc2sysAndForAClockThatGoesAndComesBack) {
    const std::string output =
        run({"--json", "init", "wait", "3s", "monitor", "--count", "12"},
            scratchScenario("[ferrox]\n[fpga]\n[si514]\n[[interface]]\nname = \"enp1s0\"\nphc_index = 0\n"
                            "[[interface]]\nname = \"enp2s0\"\nphc_index = 1\n"
                            "[[event]]\nat = \"8 s\"\nkind = \"kill_phc2sys\"\n"
                            "[[event]]\nat = \"10 s\"\nkind = \"driver_gone\"\ntarget = \"enp2s0\"\n"
                            "[[event]]\nat = \"12 s\"\nkind = \"driver_back\"\ntarget = \"enp2s0\"\n"));
    EXPECT_EQ(exitCode_, 1);
    const std::size_t start = output.rfind('\n', output.size() - 2) + 1;
    const nlohmann::json values = nlohmann::json::parse(output.substr(start))[2]["values"];
    std::vector<std::string> alarms;
    for (const nlohmann::json& alarm : values["alarmsBegun"]) {
        alarms.push_back(alarm["alarm"].get<std::string>() + " " + alarm["clock"].get<std::string>());
    }
    EXPECT_THAT(alarms, testing::IsSupersetOf({"dead ", "gone enp2s0"}));
    EXPECT_EQ(values["last"]["alarms"].dump(), R"([{"alarm":"dead","clock":""}])") << "the clock is back";
}

TEST_F(InspectOnBoard, HealthIsTheExitStatusAndNamesWhatIsWrong) {
    const auto healthAfter = [this](std::vector<std::string> verbs, const std::string& scenario) {
        verbs.insert(verbs.begin(), "--json");
        verbs.push_back("health");
        const nlohmann::json values = nlohmann::json::parse(run(verbs, scenario)).back()["values"];
        return values["health"].get<std::string>() + " " + values["alarms"].dump();
    };
    EXPECT_EQ(healthAfter({}, "plain"), R"(unseeded [{"alarm":"away","clock":"enp2s0"}])");
    EXPECT_EQ(exitCode_, 1);
    EXPECT_EQ(healthAfter({"init", "wait", "3s"}, "plain"), "aligned []");
    EXPECT_EQ(exitCode_, 0);
    EXPECT_EQ(healthAfter({"init", "wait", "3s"},
                          scratchScenario("[ferrox]\n[fpga]\n[si514]\n[[interface]]\nname = \"enp1s0\"\nphc_index = 0\n"
                                          "[[event]]\nat = \"2 s\"\nkind = \"kill_phc2sys\"\n")),
              R"(degraded [{"alarm":"dead","clock":""}])");
    EXPECT_EQ(exitCode_, 1);
    EXPECT_EQ(
        healthAfter({}, scratchScenario("[[interface]]\nname = \"enp1s0\"\n[[fault]]\ncall = \"open\"\nfile = \"ptp\"\n"
                                        "times = \"forever\"\nerror = \"EACCES\"\n")),
        R"(lost [{"alarm":"unreadable","clock":"enp1s0"}])")
        << "not none: the library would take it";
    EXPECT_EQ(healthAfter({}, scratchScenario("[ferrox]\n[fpga]\n")), R"(lost [{"alarm":"none","clock":""}])");
    EXPECT_EQ(exitCode_, 3);
}

TEST_F(InspectOnBoard, MonitorFindsAClockThatBecomesUsableLater) {
    const std::string output = run({"--json", "monitor", "--count", "4"},
                                   scratchScenario("[ferrox]\n[fpga]\n[[interface]]\nname = \"enp1s0\"\nphc_index = 0\n"
                                                   "n_pins = 3\n[[event]]\nat = \"2 s\"\nkind = \"capabilities\"\n"
                                                   "target = \"enp1s0\"\n"));
    std::istringstream lines(output);
    std::string first, last;
    std::getline(lines, first);
    for (int i = 0; i < 3; ++i) {
        std::getline(lines, last);
    }
    EXPECT_EQ(nlohmann::json::parse(first)["alarms"].dump(), R"([{"alarm":"none","clock":""}])");
    EXPECT_EQ(nlohmann::json::parse(last)["reference"], "enp1s0");
    EXPECT_EQ(exitCode_, 1);
}

TEST_F(InspectOnBoard, MonitorDoesNotMissAPhc2sysThatTheSessionsFinalizeEnded) {
    const std::string record = directory_ / "record";
    results({"record", record, "init", "wait", "3s", "finalize", "wait", "3s"}, "plain");
    EXPECT_EQ(exitCode_, 0);
    EXPECT_THAT(fileContents(record), testing::Not(HasSubstr("\"dead\"")));
    EXPECT_THAT(fileContents(record), HasSubstr("\"phc2sysAlive\":false"));
}

TEST_F(InspectOnBoard, MonitorKeepsAMetricsFileAndLeavesNothingBeside) {
    const std::string metrics = directory_ / "halvex.prom";
    results({"init", "monitor", "--once", "--metrics", metrics});
    const std::string text = fileContents(metrics);
    EXPECT_THAT(text, HasSubstr("# TYPE halvex_clock_difference_seconds gauge\n"));
    EXPECT_THAT(text, HasSubstr("halvex_clock_alarm{clock=\"enp1s0\"} 0"));
    EXPECT_THAT(text, HasSubstr("halvex_phc2sys_alive 1"));
    for (const auto& file : std::filesystem::directory_iterator(std::filesystem::path(metrics).parent_path())) {
        EXPECT_NE(file.path().extension(), ".new") << file.path();
    }
}

TEST_F(InspectOnBoard, MonitorFailsWhenItsMetricsCannotBeWritten) {
    EXPECT_EQ(results({"monitor", "--once", "--metrics", directory_ / "none" + "/m"})[0]["outcome"], "failed");
    EXPECT_EQ(exitCode_, 3);
}

TEST_F(InspectOnBoard, RecordKeepsASampleASecond) {
    const std::string record = directory_ / "night.jsonl";
    results({"init", "record", record, "3s"});
    std::istringstream lines(fileContents(record));
    int samples = 0;
    for (std::string line; std::getline(lines, line);) {
        const nlohmann::json object = nlohmann::json::parse(line);
        if (object["kind"] == "sample") {
            EXPECT_EQ(object["reference"], "master");
            ++samples;
        }
    }
    EXPECT_EQ(samples, 4);
}

TEST_F(InspectOnBoard, TheManualsCommandsDoWhatTheySay) {
    static const std::regex kCommand("`halvexctl ([a-z][^`]*)`");
    const std::string manual = fileContents(MANUAL);
    const std::string table = manual.substr(0, manual.find("## Exit status"));
    int commands = 0;
    for (std::sregex_iterator match(table.begin(), table.end(), kCommand), end; match != end; ++match) {
        std::vector<std::string> words = cutWords((*match)[1].str());
        if (words.back() == "VERB") {
            words.back() = "step";
        }
        if (words.back() == "monitor") {
            words.insert(words.end(), {"--count", "2"});  // otherwise watches forever
        }
        for (const std::string file : {"clocks.jsonl", "session.jsonl", "page.html"}) {
            std::replace(words.begin(), words.end(), file, directory_ / file);
        }
        EXPECT_NE(run(words, "demo"), "") << (*match)[1];
        EXPECT_TRUE(exitCode_ == 0 || exitCode_ == 1) << (*match)[1] << " ended with " << exitCode_;
        ++commands;
    }
    EXPECT_GE(commands, 9);
}

}  // namespace halvexctl::inspectOnBoardTest
