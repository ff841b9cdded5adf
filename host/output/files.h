// Reads and writes all user files.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace halvexctl {

/// Reads up to `largest` bytes, from standard input if `path` is "-". Empty if the file cannot be opened or read; see
/// errno. Reentrant.
std::optional<std::string> readFile(const std::string& path, std::size_t largest = SIZE_MAX);

/// Files that replaceFile() may replace and AppendedFile may continue: those that begin with `beginning`, called `name`
/// in error messages ("a report").
struct Replaceable {
    std::string_view beginning;
    std::string_view name;
};

/// Writes a new file beside the one that `path` leads to and renames it once it is on disk: readers see the old or the
/// new text, even after a crash. Replaces only a replaceable, empty or missing file. Throws std::system_error, or
/// std::runtime_error for a refusal, and then leaves the old file unchanged.
void replaceFile(const std::string& path, std::string_view text, Replaceable replaceable);

/// A file for appending; add() returns once the text is written. A line torn by a full disk or a crash is ended first.
/// Threads: thread-bound. Failure: std::system_error, or std::runtime_error if the file is not of `kind`.
class AppendedFile {
public:
    AppendedFile(const std::string& path, Replaceable kind);
    ~AppendedFile();
    AppendedFile(const AppendedFile&) = delete;
    AppendedFile& operator=(const AppendedFile&) = delete;

    void add(std::string_view text);
    void finish();  ///< Waits until the data is on disk, if the file supports it.

private:
    void continueBehind(Replaceable kind);

    std::string path_;
    int fd_;
};

}  // namespace halvexctl
