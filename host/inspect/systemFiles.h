// Reads small files and directories of the system.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace halvexctl {

/// The first line without its newline; empty if the file cannot be read. Reentrant.
std::optional<std::string> readFirstLine(const std::string& path);

/// Names in the directory, sorted, without "." and ".."; none if it cannot be listed.
std::vector<std::string> namesIn(const std::string& directory);

bool isThere(const std::string& path);
bool isReadable(const std::string& path);
bool isReadableAndWritable(const std::string& path);
bool isExecutable(const std::string& path);

/// Target of a symbolic link; empty if it is not a link or unreadable.
std::string linkTarget(const std::string& path);

}  // namespace halvexctl
