// Prints results as text: a heading per verb, its values below in aligned columns.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/output/textPrinter.h"

#include <fmt/format.h>

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "host/output/standardStreams.h"

namespace halvexctl {
namespace {

std::string_view valueOf(const char* variable) {
    const char* const value = std::getenv(variable);
    return value != nullptr ? value : "";
}

/// Whether the stream is a terminal with cursor control.
bool obeysEscapes(std::FILE* stream) { return ::isatty(::fileno(stream)) == 1 && valueOf("TERM") != "dumb"; }

}  // namespace

void TextPrinter::line(std::FILE* stream, const std::string& text) { put(stream, text + "\n"); }

void TextPrinter::value(const Field& field, std::size_t width) {
    std::string_view rest = field.text;
    std::string_view label = field.label;
    const std::string_view colour = !screen().inColour               ? ""
                                    : field.tone == Outcome::failed  ? "\x1b[31m"
                                    : field.tone == Outcome::warning ? "\x1b[33m"
                                                                     : "";
    const std::string_view plain = colour.empty() ? "" : "\x1b[0m";
    do {  // aligns further lines of a value with its first
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        line(output_, fmt::format("  {}{:<{}}{}  {}", colour, label, width, plain, rest.substr(0, end)));
        rest.remove_prefix(std::min(end + 1, rest.size()));
        label = {};
    } while (!rest.empty());
}

void TextPrinter::begin(const std::string& verb, const std::string& argument) {
    line(output_, argument.empty() ? verb : verb + " " + argument);
}

void TextPrinter::note(const std::string& sentence) { line(output_, "  " + sentence); }

bool TextPrinter::showsProgress() const { return obeysEscapes(errors_); }

void TextPrinter::progress(const std::string& sentence) {
    put(errors_, "\r\x1b[K" + sentence);  // replaces the previous one
}

void TextPrinter::call(const std::string& text) { line(output_, "  " + text); }

Screen TextPrinter::screen() const {
    Screen screen;
    winsize size{};
    if (::ioctl(::fileno(output_), TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {  // 0: unknown to the terminal
        screen.width = size.ws_col;
    }
    screen.inColour = obeysEscapes(output_) && valueOf("NO_COLOR").empty();
    return screen;
}

void TextPrinter::text(const std::string& lines) { put(output_, lines); }

void TextPrinter::sample(const std::string& text, const nlohmann::ordered_json&, bool isOnly) {
    const bool isReplacing = obeysEscapes(output_) && !isOnly;  // replaces the previous sample
    put(output_, (isReplacing ? "\x1b[H\x1b[2J" : "") + text);
}

void TextPrinter::result(const Result& result) {
    std::size_t width = 0;
    for (const Field& field : result.fields) {
        width = std::max(width, field.label.size());
    }
    for (const Field& field : result.fields) {
        if (!field.label.empty()) {
            value(field, width);
        }
    }
    switch (result.outcome) {
        case Outcome::ok:
            break;
        case Outcome::warning:
            line(output_, "  warning: " + result.message);
            break;
        case Outcome::failed:
            line(errors_, fmt::format("halvexctl: {}: {}", result.verb, result.message));
            break;
        case Outcome::skipped:
            line(errors_, fmt::format("halvexctl: not carried out: {}{}{}", result.verb,
                                      result.argument.empty() ? "" : " ", result.argument));
            break;
    }
}

}  // namespace halvexctl
