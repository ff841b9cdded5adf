// The one place that reads and writes files of the user's.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace halvexctl {

/// Stops behind `largest` bytes. Nothing when it cannot be opened or read; errno says why. Reentrant.
std::optional<std::string> readFile(const std::string& path, std::size_t largest = SIZE_MAX);

/// What replaceFile() may replace: files that begin with `beginning`, called `name` in a refusal ("a report").
struct Replaceable {
    std::string_view beginning;
    std::string_view name;
};

/// Writes all of it into a new file beside the one that `path` leads to and puts it in its place once it is on the
/// disk: readers see the old or the new text, also after a crash. Replaces only what is replaceable, an empty file or
/// nothing. Throws std::system_error, or std::runtime_error as a refusal; the old file is untouched then.
void replaceFile(const std::string& path, std::string_view text, Replaceable replaceable);

/// A file to which text is appended; it is out when add() returns. Threads: thread-bound. Failure: std::system_error.
class AppendedFile {
public:
    explicit AppendedFile(const std::string& path);
    ~AppendedFile();
    AppendedFile(const AppendedFile&) = delete;
    AppendedFile& operator=(const AppendedFile&) = delete;

    void add(std::string_view text);
    void finish();  ///< Waits for the disk, as far as the file has one.

private:
    std::string path_;
    int fd_;
};

}  // namespace halvexctl
