// Prints results as text: a heading per verb, its values below in aligned columns.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdio>

#include "host/output/printer.h"

namespace halvexctl {

/// Writes line by line, so that output of other programs interleaves correctly. Borrows both streams.
class TextPrinter : public Printer {
public:
    TextPrinter(std::FILE* output, std::FILE* errors) : output_(output), errors_(errors) {}

    void begin(const std::string& verb, const std::string& argument) override;
    void note(const std::string& sentence) override;
    bool showsProgress() const override;  ///< Only on a terminal.
    void progress(const std::string& sentence) override;
    void call(const std::string& line) override;
    Screen screen() const override;
    void text(const std::string& lines) override;
    void sample(const std::string& text, const nlohmann::ordered_json& line, bool isOnly) override;
    void result(const Result& result) override;
    void finish() override {}

private:
    void value(const Field& field, std::size_t width);
    void line(std::FILE* stream, const std::string& text);

    std::FILE* output_;
    std::FILE* errors_;
};

}  // namespace halvexctl
