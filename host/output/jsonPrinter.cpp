// Prints results as one JSON document: an array with one object per verb.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/output/jsonPrinter.h"

#include "host/output/standardStreams.h"

namespace halvexctl {
namespace {

using nlohmann::ordered_json;

/// The information as an object if it is JSON, else as text; null if empty.
ordered_json informationAsJson(const std::string& information) {
    if (information.empty()) {
        return nullptr;
    }
    ordered_json parsed = ordered_json::parse(information, nullptr, false);
    return parsed.is_discarded() ? ordered_json(information) : parsed;
}

ordered_json errorAsJson(const ErrorReport& error) {
    ordered_json object;
    object["function"] = error.function;
    object["code"] = error.code ? ordered_json(*error.code) : ordered_json(nullptr);
    object["information"] = informationAsJson(error.information);
    return object;
}

}  // namespace

std::string jsonText(const ordered_json& value, int indent) {
    return value.dump(indent, ' ', false, ordered_json::error_handler_t::replace);
}

void JsonPrinter::call(const std::string& text) { put(errors_, text + "\n"); }

void JsonPrinter::sample(const std::string&, const ordered_json& line, bool isOnly) {
    if (isOnly) {
        return;  // it is part of the document
    }
    hasLines_ = true;
    put(output_, jsonText(line) + "\n");
}

void JsonPrinter::result(const Result& result) {
    ordered_json object;
    object["verb"] = result.verb;
    if (!result.argument.empty()) {
        object["argument"] = result.argument;
    }
    object["outcome"] = outcomeName(result.outcome);
    if (!result.fields.empty()) {
        ordered_json& values = object["values"] = ordered_json::object();
        for (const Field& field : result.fields) {
            if (!field.key.empty()) {  // for text output only
                values[field.key] = field.value;
            }
        }
    }
    if (!result.message.empty()) {
        object["message"] = result.message;
    }
    if (result.error) {
        object["error"] = errorAsJson(*result.error);
    }
    results_.push_back(std::move(object));
}

void JsonPrinter::finish() { put(output_, jsonText(results_, hasLines_ ? -1 : 2) + "\n"); }

}  // namespace halvexctl
