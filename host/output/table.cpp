// Formats rows of text in aligned columns under a heading, up to the screen's width.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/output/table.h"

#include <fmt/format.h>

#include <algorithm>

namespace halvexctl {
namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kIndent = 2;
constexpr std::size_t kIndentBelow = 4;

/// Position of a column: line within the row, and indentation.
struct Place {
    std::size_t line = 0, start = 0, width = 0;
};

std::size_t longestWord(std::string_view text) {
    std::size_t longest = 0;
    while (!text.empty()) {
        const std::size_t length = std::min(text.find(' '), text.size());
        longest = std::max(longest, length);
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    return longest;
}

/// The minimum width of column `index`; for the last one that of its longest word.
std::size_t leastWidth(std::span<const Column> columns, std::span<const Row> rows, std::size_t index) {
    const bool mayWrap = index + 1 == columns.size();
    std::size_t width = columns[index].heading.size();
    for (const Row& row : rows) {
        width = std::max(width, mayWrap ? longestWord(row.cells[index]) : row.cells[index].size());
    }
    return width;
}

std::vector<Place> placesOf(std::span<const Column> columns, std::span<const Row> rows, std::size_t screenWidth) {
    std::vector<Place> places;
    Place next{0, kIndent, 0};
    for (std::size_t i = 0; i < columns.size(); ++i) {
        next.width = leastWidth(columns, rows, i);
        if (i > 0 && next.start + next.width > screenWidth) {
            next = {next.line + 1, kIndentBelow, next.width};
        }
        places.push_back(next);
        next.start += next.width + kGap;
    }
    Place& last = places.back();
    last.width = screenWidth > last.start ? screenWidth - last.start : 1;
    return places;
}

void putAt(std::string& line, const Place& place, Align align, std::string_view text) {
    const std::size_t before = align == Align::right && text.size() < place.width ? place.width - text.size() : 0;
    if (!text.empty()) {
        line.resize(std::max(line.size(), place.start + before), ' ');
        line += text;
    }
}

/// The lines of one row, each with its newline.
std::string rowText(std::span<const Column> columns, std::span<const Place> places, const Row& row,
                    const Screen& screen) {
    std::vector<std::string> lines(places.back().line + 1);
    for (std::size_t i = 0; i + 1 < columns.size(); ++i) {
        putAt(lines[places[i].line], places[i], columns[i].align, row.cells[i]);
    }
    const std::vector<std::string> last = wordWrapped(row.cells.back(), places.back().width);
    lines.resize(places.back().line + last.size());
    for (std::size_t i = 0; i < last.size(); ++i) {
        putAt(lines[places.back().line + i], places.back(), Align::left, last[i]);
    }
    std::string text;
    for (const std::string& line : lines) {
        text += row.isAlarm && screen.inColour ? fmt::format("\x1b[31m{}\x1b[0m\n", line) : line + "\n";
    }
    return text;
}

}  // namespace

std::vector<std::string> wordWrapped(std::string_view text, std::size_t width) {
    std::vector<std::string> lines(1);
    while (!text.empty()) {
        const std::string_view word = text.substr(0, std::min({text.find(' '), text.size(), width}));
        const bool isWhole = word.size() < text.size() && text[word.size()] == ' ';
        text.remove_prefix(word.size() + (isWhole ? 1 : 0));
        if (lines.back().empty()) {
            lines.back() = word;
        } else if (lines.back().size() + 1 + word.size() <= width) {
            lines.back() += ' ' + std::string(word);
        } else {
            lines.emplace_back(word);
        }
    }
    return lines;
}

std::string tableText(std::span<const Column> columns, std::span<const Row> rows, const Screen& screen) {
    const std::vector<Place> places = placesOf(columns, rows, screen.width);
    Row heading;
    for (const Column& column : columns) {
        heading.cells.emplace_back(column.heading);
    }
    std::string text = rowText(columns, places, heading, screen);
    for (const Row& row : rows) {
        text += rowText(columns, places, row, screen);
    }
    return text;
}

}  // namespace halvexctl
