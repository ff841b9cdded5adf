// The options of the tool itself, which stand before and between the verbs.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <span>
#include <string_view>

namespace halvexctl {

/// An option of the tool or of one verb. An argument's name says what a shell offers for it, see completion.cpp.
struct OptionRow {
    std::string_view name;  ///< With its dashes.
    char letter;            ///< Of the short form; 0: none.
    std::string_view argument;
    std::string_view help;
};

std::span<const OptionRow> toolOptions();

}  // namespace halvexctl
