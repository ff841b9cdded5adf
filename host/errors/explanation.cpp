// The verb explain: explains an error code, its name or the place that raised it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/errors/explanation.h"

#include <fmt/format.h>

#include <charconv>
#include <optional>
#include <vector>

#include "host/cli/suggestion.h"
#include "host/cli/usageError.h"
#include "host/errors/catalogue.h"
#include "host/output/units.h"

namespace halvexctl {
namespace {

using nlohmann::ordered_json;

struct Topic {
    const ErrorEntry* entry = nullptr;
    const ErrorPlace* place = nullptr;
    const LogLineEntry* line = nullptr;

    bool isKnown() const { return entry != nullptr || place != nullptr || line != nullptr; }
};

/// The code in "FAIL(-52024,{...})" of a log line; null if there is none.
const ErrorEntry* entryInLine(std::string_view text) {
    const std::size_t at = text.find("(-");
    const auto code = at == std::string_view::npos ? std::nullopt : leadingNumber<std::int32_t>(text.substr(at + 1));
    return code ? findErrorEntry(*code) : nullptr;
}

const ErrorPlace* readPlace(std::string_view topic) {
    const std::size_t colon = topic.rfind(':');
    if (colon == std::string_view::npos) {
        return nullptr;
    }
    std::int32_t line = 0;
    const char* const end = topic.data() + topic.size();
    const auto read = std::from_chars(topic.data() + colon + 1, end, line);
    return read.ec == std::errc() && read.ptr == end ? findErrorPlace(topic.substr(0, colon), line) : nullptr;
}

bool looksLikeCode(std::string_view topic) { return topic.find_first_not_of("+-0123456789") == std::string_view::npos; }

Topic readTopic(const std::string& topic) {
    if (const ErrorPlace* place = readPlace(topic)) {
        return {findErrorEntry(place->code), place, nullptr};
    }
    if (const ErrorEntry* entry = findErrorEntry(std::string_view(topic))) {
        return {entry, nullptr, nullptr};
    }
    if (const LogLineEntry* line = findLogLine(topic)) {
        return {entryInLine(topic), nullptr, line};
    }
    return {looksLikeCode(topic) ? findErrorEntry(readErrorCode(topic)) : nullptr, nullptr, nullptr};
}

std::string nearestTopic(const std::string& topic) {
    std::vector<std::string> texts{"all"};
    for (const ErrorEntry& entry : errorEntries()) {
        texts.push_back(std::to_string(entry.code));
        texts.emplace_back(entry.name);
    }
    for (const ErrorPlace& place : errorPlaces()) {
        texts.push_back(fmt::format("{}:{}", place.unit, place.line));
    }
    const std::vector<std::string_view> known(texts.begin(), texts.end());
    const std::string nearest = suggestion(topic, known);
    return nearest.empty() ? "; halvexctl explain all lists the codes" : nearest;
}

ordered_json placeAsJson(const ErrorPlace& place) {
    return {{"unit", place.unit}, {"line", place.line}, {"what", place.what}};
}

std::string placeAsText(const ErrorPlace& place) {
    return fmt::format("{}:{}  {}", place.unit, place.line, place.what);
}

void addPlaces(std::int32_t code, Result& result) {
    ordered_json places = ordered_json::array();
    std::string text;
    for (const ErrorPlace& place : errorPlaces()) {
        if (place.code == code) {
            places.push_back(placeAsJson(place));
            text += (text.empty() ? "" : "\n") + placeAsText(place);
        }
    }
    result.add("raisedAt", places, "raised at", text.empty() ? "no place of its own: drivers and system only" : text);
}

void addEntry(const ErrorEntry& entry, Result& result) {
    result.add("code", entry.code, "code", std::to_string(entry.code));
    result.add("name", entry.name.empty() ? ordered_json(nullptr) : ordered_json(entry.name),
               entry.name.empty() ? "" : "name", std::string(entry.name));
    result.add("meaning", entry.meaning, "means", std::string(entry.meaning));
    addPlaces(entry.code, result);
    result.add("systemErrors", entry.systemErrors, entry.systemErrors.empty() ? "" : "or a driver's",
               std::string(entry.systemErrors));
    result.add("remedy", entry.remedy, "remedy", std::string(entry.remedy));
}

void listEntries(Result& result) {
    ordered_json codes = ordered_json::array();
    for (const ErrorEntry& entry : errorEntries()) {
        codes.push_back({{"code", entry.code}, {"name", entry.name}, {"meaning", entry.meaning}});
        result.add("", nullptr, std::to_string(entry.code), std::string(entry.meaning));
    }
    result.fields.insert(result.fields.begin(), Field{"codes", codes, "", ""});
}

}  // namespace

void checkExplanationTopic(const std::string& topic) {
    if (topic == "all") {
        return;
    }
    if (!readTopic(topic).isKnown()) {
        throw UsageError(fmt::format("there is no error \"{}\"{}", topic, nearestTopic(topic)));
    }
}

void explainTopic(const std::string& topic, Result& result) {
    if (topic == "all") {
        listEntries(result);
        return;
    }
    const Topic found = readTopic(topic);
    if (const LogLineEntry* line = found.line) {
        result.add("logLine",
                   ordered_json{{"format", line->format},
                                {"priority", line->priority},
                                {"cause", line->cause},
                                {"remedy", line->remedy}},
                   "line",
                   fmt::format("{}\nat priority {}: {}\n{}", line->format, line->priority, line->cause, line->remedy));
    }
    if (found.place != nullptr) {
        result.add("place", placeAsJson(*found.place), "place", placeAsText(*found.place));
    }
    if (found.entry != nullptr) {
        addEntry(*found.entry, result);
        return;
    }
    if (found.line != nullptr) {
        return;
    }
    result.add("code", nullptr, "code",
               "whatever the driver or the system answered: explain the code that came with it");
}

}  // namespace halvexctl
