// Files that are written as a whole.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

namespace halvexctl {

/// Writes all of it into a new file beside `path`, which then takes its place: readers see the old or the new text.
/// Throws std::system_error.
void replaceFile(const std::string& path, const std::string& text);

}  // namespace halvexctl
