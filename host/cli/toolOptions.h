// Options of the tool itself, before and between the verbs.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <span>
#include <string_view>

namespace halvexctl {

/// An option of the tool or of one verb. The argument's name determines its completion, see completion.cpp.
struct OptionRow {
    std::string_view name;  ///< Including the dashes.
    char letter;            ///< Short form; 0: none.
    std::string_view argument;
    std::string_view help;
};

std::span<const OptionRow> toolOptions();

}  // namespace halvexctl
