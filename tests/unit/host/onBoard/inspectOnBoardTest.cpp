// Tests of the verbs that look at the controller, on the simulated one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/unit/host/programRun.h"

namespace halvexctl {
namespace {

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

    /// The doctor's opinion on one thing: "OK", "WARN" or "FAIL".
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

TEST_F(InspectOnBoard, DoctorFindsTheControllerWell) {
    const nlohmann::json doctor = results({"doctor"})[0];
    for (const char* check : {"interfaces", "links", "clock-nodes", "clock-rights", "clock-pins", "ferrox-driver",
                              "ferrox-node", "fpga-driver", "fpga-node", "si514-driver", "si514-attribute",
                              "si514-rights", "phc2sys-file", "kernel-clock"}) {
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
    for (const char* change : {"PTP_PIN_SETFUNC", "PTP_EXTTS_REQUEST", "settime", "spawn", "\"write\""}) {
        EXPECT_EQ(trace().find(change), std::string::npos) << change;
    }
    EXPECT_THAT(trace(), HasSubstr("ptp"));
}

}  // namespace
}  // namespace halvexctl
