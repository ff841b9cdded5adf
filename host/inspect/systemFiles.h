// Reads small files and directories of the system.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace halvexctl {

/// The first line without its newline; empty if the file cannot be read: `why` says so, unless it is not there.
/// Reentrant.
std::optional<std::string> readFirstLine(const std::string& path, std::string* why = nullptr);

/// Names in the directory, sorted, without "." and ".."; none if it cannot be listed, with `why` as above.
std::vector<std::string> namesIn(const std::string& directory, std::string* why = nullptr);

bool isThere(const std::string& path);
bool isReadable(const std::string& path);
bool isReadableAndWritable(const std::string& path);
bool isExecutable(const std::string& path);

/// Target of a symbolic link; empty if it is not a link or unreadable.
std::string linkTarget(const std::string& path);

}  // namespace halvexctl
