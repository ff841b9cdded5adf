// Formats the JSON error information of a failed call for people.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/errors/information.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "host/errors/catalogue.h"

namespace halvexctl {
namespace {

nlohmann::json parse(const std::string& information) {
    nlohmann::json document = nlohmann::json::parse(information, nullptr, false);
    return document.is_object() ? document : nlohmann::json::object();
}

std::string textAt(const nlohmann::json& document, const char* key) {
    const auto found = document.find(key);
    return found != document.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::string messageOf(const nlohmann::json& document) {
    const auto debug = document.find("zuhalvexTimekeeper_debug");
    if (debug != document.end() && debug->is_object()) {
        std::string message = textAt(*debug, "errorInfo");
        if (!message.empty()) {
            return message;
        }
    }
    return textAt(document, "std_exception_what");
}

}  // namespace

std::string describeError(std::optional<std::int32_t> code, const std::string& information) {
    const nlohmann::json document = parse(information);
    // The code's own name takes precedence: errors raised by a device name the expression that yielded the code.
    const ErrorEntry* entry = code ? findErrorEntry(*code) : nullptr;
    std::string name(entry != nullptr ? entry->name : std::string_view());
    if (name.empty()) {
        name = textAt(document, "error_constant");
    }
    std::string text = code ? fmt::format("{}{}{}", *code, name.empty() ? "" : " ", name) : name;
    const auto line = document.find("line");
    const std::string file = textAt(document, "file");
    const bool hasPlace = !file.empty() && line != document.end() && line->is_number_integer();
    std::string message = document.empty() ? information : messageOf(document);
    if (message.empty()) {
        const ErrorPlace* place = hasPlace ? findErrorPlace(file, line->get<std::int32_t>()) : nullptr;
        message = place != nullptr                   ? place->what
                  : entry != nullptr && name.empty() ? entry->meaning
                                                     : std::string_view();
    }
    if (!message.empty()) {
        text += (text.empty() ? "" : ": ") + message;
    }
    if (hasPlace) {
        text += fmt::format(" ({}:{})", file, line->get<std::int64_t>());
    }
    return text;
}

std::optional<std::int32_t> codeInInformation(const std::string& information) {
    const std::string name = textAt(parse(information), "error_constant");
    const ErrorEntry* entry = findErrorEntry(std::string_view(name));
    return entry != nullptr ? std::optional(entry->code) : std::nullopt;
}

}  // namespace halvexctl
