// Prints results as one JSON document: an array with one object per verb.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdio>

#include "host/output/printer.h"

namespace halvexctl {

/// Valid JSON whatever bytes the value's texts hold: names and texts of drivers need not be UTF-8.
std::string jsonText(const nlohmann::ordered_json& value, int indent = -1);

/// {"verb", "argument"?, "outcome": "ok|warning|failed|skipped", "values": {...}?, "message"?, "error"?: {"function",
/// "code", "information"}}. The document goes to `output` at the end; if samples were printed, one per line, it is a
/// single line. Calls go to `errors` as they happen. Borrows both streams.
class JsonPrinter : public Printer {
public:
    JsonPrinter(std::FILE* output, std::FILE* errors) : output_(output), errors_(errors) {}

    void begin(const std::string&, const std::string&) override {}
    void note(const std::string&) override {}
    void call(const std::string& line) override;
    void sample(const std::string& text, const nlohmann::ordered_json& line, bool isOnly) override;
    void result(const Result& result) override;
    void finish() override;

private:
    std::FILE* output_;
    std::FILE* errors_;
    bool hasLines_ = false;
    nlohmann::ordered_json results_ = nlohmann::ordered_json::array();
};

}  // namespace halvexctl
