// Tests that the output of halvexctl --json matches the published schemas.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <nlohmann/json.hpp>

#include "host/cli/verbTable.h"
#include "tests/support/test.h"
#include "tests/tool/programRun.h"

namespace halvexctl::schemaTest {

using nlohmann::json;

std::vector<std::string> linesOf(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string schemaPath(const std::string& name) { return std::string(HALVEX_SOURCE_DIR) + "/docs/schema/" + name; }

/// The schema violations of each value; empty for a valid value.
std::vector<std::string> complaints(const std::string& schema, const std::vector<json>& values) {
    const ScratchDirectory directory;
    {
        std::ofstream lines(directory / "values");
        for (const json& value : values) {
            lines << value.dump() << '\n';
        }
    }
    const int input = ::open((directory / "values").c_str(), O_RDONLY | O_CLOEXEC);
    ProgramRun validator({HALVEX_SOURCE_DIR "/tests/tool/validate", schemaPath(schema)}, input);
    EXPECT_EQ(validator.finish(), 0) << validator.errors();
    ::close(input);
    std::vector<std::string> found = linesOf(validator.output());
    EXPECT_EQ(found.size(), values.size());
    found.resize(values.size(), "not validated");
    return found;
}

constexpr const char* kDocument = "halvexctl.schema.json";
constexpr const char* kSample = "halvexctl-sample.schema.json";
constexpr const char* kRecord = "halvexctl-record.schema.json";

std::vector<std::string> nothingAgainst(std::size_t values) { return std::vector<std::string>(values); }

class JsonSchema : public testing::Test {
protected:
    std::string run(std::vector<std::string> arguments, const std::string& scenario = "demo") {
        arguments.insert(arguments.begin(), {HALVEXBOARD, "run", "--scenario", scenario, "--seed", "1", "--", HALVEXCTL,
                                             "--library", HALVEX_LIBRARY, "--json"});
        ProgramRun program(arguments);
        program.finish();
        return program.output();
    }

    void expectValid(std::vector<std::string> verbs, const std::string& scenario = "demo") {
        const json document = json::parse(run(std::move(verbs), scenario));
        EXPECT_EQ(complaints(kDocument, {document}), nothingAgainst(1)) << document.dump(1);
        for (const json& result : document) {
            seen_.insert(result["verb"].get<std::string>());
        }
    }

    std::vector<json> recordOf(const std::string& path) {
        std::vector<json> objects;
        for (const std::string& line : linesOf(fileContents(path))) {
            objects.push_back(json::parse(line));
        }
        return objects;
    }

    ScratchDirectory directory_;
    std::set<std::string> seen_;
};

TEST_F(JsonSchema, HoldsForEveryVerb) {
    const std::string metadata = directory_ / "metadata.json";
    std::ofstream(metadata) << R"({"selectedTRInstID":"gm"})";
    expectValid({"info",   "version", "name",   "seeded", "get",  "step", "+1.5ms", "freq",
                 "-1250",  "freq",    "limits", "drift",  "1s",   "wait", "1ms",    "apply-metadata",
                 metadata, "clear",   "remark", "here",   "help", "get"});
    expectValid({"init", "monitor", "--once", "record", directory_ / "record", "1s", "report", directory_ / "page",
                 "run", "finalize", "expect-error", "-52010", "get"});
    expectValid({"explain", "all", "explain", "-52004", "explain", "fileWrapper:20", "explain", "fpgaEpochDevice:97",
                 "explain", "enp1s0 is enabled."});
    expectValid({"map", "doctor", "health"});
    for (const Verb& verb : verbs()) {
        EXPECT_TRUE(seen_.contains(std::string(verb.name))) << verb.name << " was not tried";
    }
}

TEST_F(JsonSchema, HoldsForFailuresAndWhatFollowsThem) {
    const std::string scenario = directory_ / "scenario.toml";
    std::ofstream(scenario) << "title = \"no ports\"\n";
    expectValid({"get", "limits"}, scenario);
    expectValid({"map", "monitor", "--once", "doctor", "get"}, scenario);
    expectValid({"map"}, "unusableInterfaces");
}

TEST_F(JsonSchema, HoldsForAWrongLine) {
    const json document = json::parse(run({"get", "stpe"}));
    EXPECT_EQ(complaints(kDocument, {document}), nothingAgainst(1)) << document;
    EXPECT_NE(complaints(kDocument, {json::object({{"usageError", 2}})}).at(0), "");
}

TEST_F(JsonSchema, HoldsForEverySampleOfAWatch) {
    const std::vector<std::string> lines = linesOf(run({"init", "monitor", "--count", "2"}));
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(complaints(kSample, {json::parse(lines[0]), json::parse(lines[1])}), nothingAgainst(2));
    EXPECT_EQ(complaints(kDocument, {json::parse(lines[2])}), nothingAgainst(1));
}

TEST_F(JsonSchema, HoldsForEveryLineOfARecord) {
    const std::string record = directory_ / "record";
    run({"--yes", "record", record, "init", "wait", "97s", "step", "+1ms", "expect-error", "get", "clear", "freq",
         "-100"});
    std::vector<json> objects = recordOf(record);
    EXPECT_EQ(complaints(kRecord, objects), nothingAgainst(objects.size()));
    std::set<std::string> kinds;
    for (json& object : objects) {
        kinds.insert(object["kind"].get<std::string>());
        object["surprise"] = 1;
    }
    EXPECT_EQ(kinds, (std::set<std::string>{"call", "end", "event", "log", "sample", "start", "verb"}));
    EXPECT_THAT(complaints(kRecord, objects), testing::Not(testing::Contains("")));
}

TEST_F(JsonSchema, HoldsForARecordOfAGivenLength) {
    const std::string record = directory_ / "record";
    run({"init", "record", record, "2s"});
    const std::vector<json> objects = recordOf(record);
    EXPECT_EQ(complaints(kRecord, objects), nothingAgainst(objects.size()));
    EXPECT_EQ(std::count_if(objects.begin(), objects.end(), [](const json& o) { return o["kind"] == "sample"; }), 3);
}

TEST_F(JsonSchema, RejectsWhatIsNotPublished) {
    const json document = json::parse(run({"get", "map", "monitor", "--once"}));
    std::vector<json> broken(5, document);
    broken[0][0]["values"]["timeNs"] = "soon";
    broken[1][0]["values"]["surprise"] = 1;
    broken[2][1]["values"]["interfaces"][0].erase("reason");
    broken[3][2]["values"]["last"]["clocks"][0]["boundNs"] = -1;
    broken[4][0]["verb"] = "nonsense";
    EXPECT_EQ(complaints(kDocument, {document}), nothingAgainst(1));
    EXPECT_THAT(complaints(kDocument, broken), testing::Not(testing::Contains("")));
}

TEST_F(JsonSchema, NamesTheVerbsOfTheTableAndWhatEachReturns) {
    const json definitions = json::parse(fileContents(schemaPath(kDocument)))["definitions"];
    json expected = json::array();
    for (const Verb& verb : verbs()) {
        const std::string values = "#/definitions/" + std::string(verb.returns);
        EXPECT_TRUE(definitions.contains(verb.returns)) << verb.name;
        expected.push_back({{"properties", {{"verb", {{"const", verb.name}}}, {"values", {{"$ref", values}}}}}});
    }
    EXPECT_EQ(definitions["result"]["anyOf"], expected) << "wanted: " << expected.dump(1);
}

}  // namespace halvexctl::schemaTest
