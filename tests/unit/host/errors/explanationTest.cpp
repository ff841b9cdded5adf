// Tests of the verb explain and of its catalogue, which must contain every error site of the library.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/errors/explanation.h"

#include <regex>

#include "host/cli/usageError.h"
#include "host/errors/catalogue.h"
#include "tests/support/files.h"
#include "tests/support/test.h"

namespace halvexctl::explanationTest {

using testing::HasSubstr;
using testsupport::fileContents;

/// The library's sources, joined; their error sites are data.
std::vector<std::string> librarySources() {
    std::vector<std::string> sources;
    for (const char* folder : {"zuerr", "zuplat", "zujsonlh", "interfaces", "source"}) {
        for (const auto& file :
             std::filesystem::recursive_directory_iterator(std::filesystem::path(HALVEX_SOURCE_DIR) / folder)) {
            if (file.path().extension() == ".cpp") {
                sources.push_back(fileContents(file.path()));
            }
        }
    }
    return sources;
}

struct Site {
    std::string unit;
    int line;
    bool operator<(const Site& other) const { return std::tie(unit, line) < std::tie(other.unit, other.line); }
};

/// Every `Name kSite{..., UNIT, LINE}` and `Name kSite = maker(LINE)` of one source; UNIT may be the constant kFile.
std::set<Site> sitesIn(const std::string& source) {
    static const std::regex kSite(R"((?:ErrorSite|DriverCallSite)\s+k\w+\{[^}]*?("[\w/]+"|kFile),\s*(\d+)\})");
    static const std::regex kMadeSite(R"(ErrorSite\s+k\w+ = \w+\((\d+)\);)");
    static const std::regex kUnit(R"re(kFile = "([\w/]+)")re");
    std::smatch unit;
    const std::string ownUnit = std::regex_search(source, unit, kUnit) ? unit[1].str() : "";
    std::set<Site> sites;
    for (std::sregex_iterator match(source.begin(), source.end(), kSite), end; match != end; ++match) {
        const std::string name = (*match)[1];
        sites.insert({name == "kFile" ? ownUnit : name.substr(1, name.size() - 2), std::stoi((*match)[2])});
    }
    for (std::sregex_iterator match(source.begin(), source.end(), kMadeSite), end; match != end; ++match) {
        sites.insert({ownUnit, std::stoi((*match)[1])});
    }
    return sites;
}

Result explained(const std::string& topic) {
    Result result;
    checkExplanationTopic(topic);
    explainTopic(topic, result);
    return result;
}

nlohmann::ordered_json valueOf(const Result& result, const std::string& key) {
    for (const Field& field : result.fields) {
        if (field.key == key) {
            return field.value;
        }
    }
    return nullptr;
}

TEST(ErrorCatalogue, KnowsEveryErrorSiteOfTheLibrary) {
    std::size_t found = 0;
    for (const std::string& source : librarySources()) {
        for (const Site& site : sitesIn(source)) {
            ++found;
            EXPECT_NE(findErrorPlace(site.unit, site.line), nullptr) << site.unit << ":" << site.line;
        }
    }
    EXPECT_GT(found, 55u);
}

TEST(ErrorCatalogue, NamesNoPlaceThatTheLibraryDoesNotHave) {
    std::string all;
    for (const std::string& source : librarySources()) {
        all += source;
    }
    for (const ErrorPlace& place : errorPlaces()) {
        EXPECT_NE(all.find("\"" + std::string(place.unit) + "\""), std::string::npos)
            << place.unit << ":" << place.line;
        const std::regex line("\\b" + std::to_string(place.line) + "[});]|= " + std::to_string(place.line) + ";");
        EXPECT_TRUE(std::regex_search(all, line)) << place.unit << ":" << place.line;
    }
}

TEST(ErrorCatalogue, KnowsEveryCodeOfTheLibrary) {
    const std::string codes = fileContents(std::string(HALVEX_SOURCE_DIR) + "/zuerr/codes.h");
    static const std::regex kCode(R"((\w+) = (-\d+);)");
    std::size_t found = 0;
    for (std::sregex_iterator match(codes.begin(), codes.end(), kCode), end; match != end; ++match, ++found) {
        const ErrorEntry* entry = findErrorEntry(std::stoi((*match)[2]));
        ASSERT_NE(entry, nullptr) << (*match)[2];
        const std::string name = (*match)[1];
        EXPECT_EQ(entry->name, name.starts_with("zuplaterr_") ? name : "");
    }
    EXPECT_EQ(found, errorEntries().size());
}

TEST(ErrorCatalogue, KnowsACodeForEveryPlaceAndEveryName) {
    for (const ErrorPlace& place : errorPlaces()) {
        EXPECT_TRUE(place.code == kCodeOfTheDriver || findErrorEntry(place.code) != nullptr) << place.unit;
        EXPECT_FALSE(place.what.empty());
    }
    for (const ErrorEntry& entry : errorEntries()) {
        EXPECT_FALSE(entry.meaning.empty() || entry.remedy.empty()) << entry.code;
    }
}

TEST(Explain, UnderstandsACodeItsNameAndItsPlace) {
    EXPECT_EQ(valueOf(explained("-52007"), "name"), "zuplaterr_operationTimedOut");
    EXPECT_EQ(valueOf(explained("zuplaterr_operationTimedOut"), "code"), -52007);
    const Result place = explained("i210EpochHelpers:107");
    EXPECT_EQ(valueOf(place, "code"), -52007);
    EXPECT_EQ(valueOf(place, "place")["what"], "an I210 saw no epoch");
}

TEST(Explain, ListsThePlacesOfACode) {
    const auto places = valueOf(explained("-52007"), "raisedAt");
    ASSERT_EQ(places.size(), 2u);
    EXPECT_EQ(places[0]["unit"], "fpgaEpochDevice");
    EXPECT_EQ(places[1]["line"], 107);
}

TEST(Explain, LeavesTheCodeOpenWhereTheDriverGivesIt) {
    const Result result = explained("fpgaEpochDevice:97");
    EXPECT_EQ(valueOf(result, "place")["what"], "the FPGA's status cannot be reset");
    EXPECT_TRUE(valueOf(result, "code").is_null());
}

TEST(Explain, ListsAllCodes) { EXPECT_EQ(valueOf(explained("all"), "codes").size(), errorEntries().size()); }

TEST(Explain, RefusesWhatItDoesNotKnowWithASuggestion) {
    EXPECT_THROW(checkExplanationTopic("-52001"), UsageError);
    EXPECT_THROW(checkExplanationTopic("fileWrapper:21"), UsageError);
    EXPECT_THROW(checkExplanationTopic("7"), UsageError);
    try {
        checkExplanationTopic("zuplaterr_osfault");
        FAIL() << "no such name";
    } catch (const UsageError& error) {
        EXPECT_THAT(error.what(), HasSubstr("did you mean \"zuplaterr_osFault\"?"));
    }
}

TEST(Explain, KnowsEveryLineOfSyslogThatTheGuideLists) {
    const std::string guide = fileContents(HALVEX_SOURCE_DIR "/docs/integration.md");
    const std::string rows = guide.substr(guide.find("## Lines in syslog"));
    static const std::regex kRow(R"(\| (error|warning|info) \| `([^`]+)` \|)");
    std::size_t lines = 0;
    for (std::sregex_iterator match(rows.begin(), rows.end(), kRow), end; match != end; ++match, ++lines) {
        const std::string format = (*match)[2];
        const std::string written =
            "Nov 22 10:00:00 host[7]: " + std::regex_replace(format, std::regex("%[sdi]"), "x y");
        for (const std::string& line : {format, written}) {
            const auto shown = explained(line).fields.at(0);
            EXPECT_EQ(shown.value["format"], format);
            EXPECT_EQ(shown.value["priority"], (*match)[1].str()) << line;
        }
    }
    EXPECT_EQ(lines, logLineEntries().size());
    EXPECT_THROW(explained("Interface will be"), UsageError);
}

TEST(Explain, ExplainsTheCodeInALineOfSyslogToo) {
    const Result result = explained(R"(Encountered error in zuqxmtk_getTime: FAIL(-52024,{"line":1}))");
    EXPECT_EQ(result.fields.at(0).key, "logLine");
    EXPECT_EQ(result.fields.at(1).value, -52024);
    EXPECT_EQ(explained("enp1s0 is enabled.").fields.size(), 1U);
}

}  // namespace halvexctl::explanationTest
