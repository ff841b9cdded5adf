// Small files and directories of the system.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace halvexctl {

/// The first line without its end; nothing when the file cannot be read. Reentrant.
std::optional<std::string> readFirstLine(const std::string& path);

/// Names in the directory, sorted, without "." and ".."; none when it cannot be listed.
std::vector<std::string> namesIn(const std::string& directory);

bool isThere(const std::string& path);
bool isReadableAndWritable(const std::string& path);
bool isExecutable(const std::string& path);

/// Where a symbolic link leads; empty when it is none or may not be read.
std::string linkTarget(const std::string& path);

}  // namespace halvexctl
