// The result of one verb, for people and for programs.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace halvexctl {

enum class Outcome { ok, warning, failed, skipped };

/// As in JSON.
constexpr const char* outcomeName(Outcome outcome) {
    switch (outcome) {
        case Outcome::ok:
            return "ok";
        case Outcome::warning:
            return "warning";
        case Outcome::failed:
            break;
        case Outcome::skipped:
            return "skipped";
    }
    return "failed";
}

/// One value in both formats. Keys are camelCase and carry their unit ("offsetNs"). Without a label it is omitted from
/// the text, without a key from the JSON.
struct Field {
    std::string key;
    nlohmann::ordered_json value;
    std::string label;
    std::string text;
    Outcome tone = Outcome::ok;  ///< The label's colour: of a warning or of a failure.
};

struct ErrorReport {
    std::string function;
    std::optional<std::int32_t> code;
    std::string information;  ///< The JSON error information as received, or empty.
};

struct Result {
    std::string verb;
    std::string argument;
    Outcome outcome = Outcome::ok;
    std::vector<Field> fields;
    std::string message;  ///< Reason of the failure, or a remark; a sentence, or empty.
    std::optional<ErrorReport> error;

    void add(std::string key, nlohmann::ordered_json value, std::string label, std::string text,
             Outcome tone = Outcome::ok) {
        fields.push_back({std::move(key), std::move(value), std::move(label), std::move(text), tone});
    }
    void warn(std::string sentence) {
        outcome = Outcome::warning;
        message = std::move(sentence);
    }
};

/// Exit status of the program. Refused: initialising was, because another process owns the clocks.
enum class ExitCode : int { ok = 0, warnings = 1, usage = 2, failure = 3, refused = 4 };

/// The more severe of the two: refused, failure, usage, warnings, ok.
constexpr ExitCode graver(ExitCode one, ExitCode other) { return one > other ? one : other; }

}  // namespace halvexctl
