// Files that are read or written as a whole.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace halvexctl {

/// Stops behind `largest` bytes. Nothing when it cannot be opened or read; errno says why. Reentrant.
std::optional<std::string> readFile(const std::string& path, std::size_t largest = SIZE_MAX);

/// Writes all of it into a new file beside `path`, which then takes its place: readers see the old or the new text.
/// Throws std::system_error.
void replaceFile(const std::string& path, const std::string& text);

}  // namespace halvexctl
