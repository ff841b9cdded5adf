// Tests that what halvexctl prints with --json is what the published schemas say.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validator.hpp>

#include "host/cli/command.h"
#include "tests/tool/programRun.h"

namespace halvexctl {
namespace {

using nlohmann::json;

/// A published schema. Owns the document that the checks refer to.
class PublishedSchema {
public:
    explicit PublishedSchema(const std::string& name)
        : document_(json::parse(fileContents(std::string(HALVEX_SOURCE_DIR) + "/docs/schema/" + name))) {
        valijson::SchemaParser parser;
        parser.populateSchema(valijson::adapters::NlohmannJsonAdapter(document_), schema_);
    }

    const json& document() const { return document_; }

    /// Empty when the value is as the schema says.
    std::string complaintsAbout(const json& value) const {
        valijson::Validator validator;
        valijson::ValidationResults results;
        const valijson::adapters::NlohmannJsonAdapter target(value);
        if (validator.validate(schema_, target, &results)) {
            return "";
        }
        std::string text = "rejected:";
        for (valijson::ValidationResults::Error error; results.popError(error);) {
            text += "\n" + (error.context.empty() ? "" : error.context.back()) + ": " + error.description;
        }
        return text;
    }

private:
    json document_;
    valijson::Schema schema_;
};

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
        EXPECT_EQ(document_.complaintsAbout(document), "") << document.dump(1);
        for (const json& result : document) {
            seen_.insert(result["verb"].get<std::string>());
        }
    }

    PublishedSchema document_{"halvexctl.schema.json"};
    PublishedSchema sample_{"halvexctl-sample.schema.json"};
    PublishedSchema record_{"halvexctl-record.schema.json"};
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
    expectValid({"explain", "all", "explain", "-52004", "explain", "fileWrapper:20", "explain", "fpgaEpochDevice:97"});
    expectValid({"map", "doctor"});
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

TEST_F(JsonSchema, HoldsForEverySampleOfAWatch) {
    std::istringstream lines(run({"init", "monitor", "--count", "2"}));
    std::vector<json> values;
    for (std::string line; std::getline(lines, line);) {
        values.push_back(json::parse(line));
    }
    ASSERT_EQ(values.size(), 3u);
    EXPECT_EQ(sample_.complaintsAbout(values[0]), "");
    EXPECT_EQ(sample_.complaintsAbout(values[1]), "");
    EXPECT_EQ(document_.complaintsAbout(values[2]), "");
}

TEST_F(JsonSchema, HoldsForEveryLineOfARecord) {
    const std::string record = directory_ / "record";
    run({"--yes", "record", record, "init", "wait", "97s", "step", "+1ms", "expect-error", "get", "clear", "freq",
         "-100"});
    std::istringstream recorded(fileContents(record));
    std::set<std::string> kinds;
    for (std::string line; std::getline(recorded, line);) {
        const json object = json::parse(line);
        EXPECT_EQ(record_.complaintsAbout(object), "") << line;
        kinds.insert(object["kind"].get<std::string>());
        json broken = object;
        broken["surprise"] = 1;
        EXPECT_NE(record_.complaintsAbout(broken), "") << line;
    }
    EXPECT_EQ(kinds, (std::set<std::string>{"call", "end", "event", "log", "sample", "start", "verb"}));
}

TEST_F(JsonSchema, HoldsForARecordOfAGivenLength) {
    const std::string record = directory_ / "record";
    run({"init", "record", record, "2s"});
    std::istringstream recorded(fileContents(record));
    int samples = 0;
    for (std::string line; std::getline(recorded, line);) {
        const json object = json::parse(line);
        EXPECT_EQ(record_.complaintsAbout(object), "") << line;
        samples += object["kind"] == "sample" ? 1 : 0;
    }
    EXPECT_EQ(samples, 3);
}

TEST_F(JsonSchema, RejectsWhatIsNotPublished) {
    json document = json::parse(run({"get", "map", "monitor", "--once"}));
    ASSERT_EQ(document_.complaintsAbout(document), "");
    json broken = document;
    broken[0]["values"]["timeNs"] = "soon";
    EXPECT_NE(document_.complaintsAbout(broken), "");
    broken = document;
    broken[0]["values"]["surprise"] = 1;
    EXPECT_NE(document_.complaintsAbout(broken), "");
    broken = document;
    broken[1]["values"]["interfaces"][0].erase("reason");
    EXPECT_NE(document_.complaintsAbout(broken), "");
    broken = document;
    broken[2]["values"]["last"]["clocks"][0]["boundNs"] = -1;
    EXPECT_NE(document_.complaintsAbout(broken), "");
    broken = document;
    broken[0]["verb"] = "nonsense";
    EXPECT_NE(document_.complaintsAbout(broken), "");
}

TEST_F(JsonSchema, DescribesASampleInBothFilesAlike) {
    const json& inDocument = document_.document()["definitions"]["sample"];
    EXPECT_EQ(inDocument["properties"], sample_.document()["properties"]);
    EXPECT_EQ(inDocument["required"], sample_.document()["required"]);
}

}  // namespace
}  // namespace halvexctl
