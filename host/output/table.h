// Formats rows of text in aligned columns under a heading, up to the screen's width.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace halvexctl {

/// The output device of a text.
struct Screen {
    bool inColour = false;
    std::size_t width = SIZE_MAX;  ///< In columns.
};

enum class Align { left, right };

struct Column {
    std::string_view heading;
    Align align = Align::left;
};

struct Row {
    std::vector<std::string> cells;  ///< One per column.
    bool isAlarm = false;            ///< Red, if in colour.
};

/// Indents each line by two spaces. Columns beyond the screen's width continue below, in every row and in the heading;
/// the last one wraps between words. Reentrant.
std::string tableText(std::span<const Column> columns, std::span<const Row> rows, const Screen& screen);

/// Wraps between words, and within longer ones. At least one line. Reentrant.
std::vector<std::string> wordWrapped(std::string_view text, std::size_t width);

}  // namespace halvexctl
