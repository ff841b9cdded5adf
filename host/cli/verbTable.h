// The verbs and options of the tool: all there is to know about one is its row.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "host/clocks/monitor.h"
#include "host/output/result.h"
#include "host/record/sessionRecorder.h"
#include "host/report/reportOptions.h"

namespace halvexctl {

class Session;
class WordReader;
struct Command;
struct ReadingRules;

/// A metadata document and where it came from.
struct Document {
    std::string source;
    std::string text;
};

using Argument = std::variant<std::monostate, std::int64_t, std::int32_t, std::string, Document, MonitorOptions,
                              RecordOptions, ReportOptions>;

/// An option of the tool or of one verb. An argument's name says what a shell offers for it, see argumentKind().
struct OptionRow {
    std::string_view name;  ///< With its dashes.
    char letter;            ///< Of the short form; 0: none.
    std::string_view argument;
    std::string_view help;
};

/// A new verb is a row, what reads its argument, what carries it out, and the schema of its result.
struct Verb {
    std::string_view name;
    std::string_view argument;  ///< "FILE [DURATION]"; empty: none.
    std::string_view summary;
    std::string_view help;     ///< Sentences; a line feed ends a paragraph.
    bool needsTimekeeper;      ///< The library is initialised first.
    std::string_view returns;  ///< The definition of its values in docs/schema/halvexctl.schema.json.
    std::span<const OptionRow> options;
    Argument (*read)(WordReader& words, const ReadingRules& rules);  ///< Null: takes no argument.
    void (*carryOut)(Session& session, const Command& command, Result& result);
};

std::span<const Verb> verbs();
std::span<const OptionRow> toolOptions();
const Verb* findVerb(std::string_view name);

enum class ArgumentKind { none, optional, file, verb, code, text };

/// What the next word has to be behind "OFFSET", "FILE [DURATION]" and the like.
ArgumentKind argumentKind(std::string_view argument);

}  // namespace halvexctl
