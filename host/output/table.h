// Rows of text in aligned columns under a heading, as wide as the screen.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace halvexctl {

/// Where text is shown.
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
    std::vector<std::string> cells;  ///< One for each column.
    bool isAlarm = false;            ///< Red, where there is colour.
};

/// Each line begins with two spaces. Columns beyond the screen's width continue below, in every row and in the heading;
/// the last one wraps its words. Reentrant.
std::string tableText(std::span<const Column> columns, std::span<const Row> rows, const Screen& screen);

/// Cuts between words; a longer word is cut itself. At least one line. Reentrant.
std::vector<std::string> wordWrapped(std::string_view text, std::size_t width);

}  // namespace halvexctl
