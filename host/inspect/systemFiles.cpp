// Reads small files and directories of the system.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/inspect/systemFiles.h"

#include <dirent.h>
#include <unistd.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <string_view>
#include <system_error>

#include "host/output/files.h"

namespace halvexctl {
namespace {

constexpr std::size_t kLargestFile = 65'536;

using Directory = std::unique_ptr<DIR, decltype([](DIR* directory) { ::closedir(directory); })>;

void explain(const std::string& path, int error, std::string* why) {
    if (why != nullptr && error != 0 && error != ENOENT && error != ENOTDIR) {
        *why = fmt::format("{} cannot be read: {}", path, std::generic_category().message(error));
    }
}

}  // namespace

std::optional<std::string> readFirstLine(const std::string& path, std::string* why) {
    std::optional<std::string> text = readFile(path, kLargestFile);
    if (text) {
        text->erase(std::min(text->find('\n'), text->size()));
    } else {
        explain(path, errno, why);
    }
    return text;
}

std::vector<std::string> namesIn(const std::string& directory, std::string* why) {
    std::vector<std::string> names;
    errno = 0;
    const Directory opened(::opendir(directory.c_str()));
    while (const dirent* entry = opened ? ::readdir(opened.get()) : nullptr) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            names.emplace_back(name);
        }
    }
    explain(directory, errno, why);
    std::sort(names.begin(), names.end());
    return names;
}

bool isThere(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

bool isReadable(const std::string& path) { return ::access(path.c_str(), R_OK) == 0; }

bool isReadableAndWritable(const std::string& path) { return ::access(path.c_str(), R_OK | W_OK) == 0; }

bool isExecutable(const std::string& path) { return ::access(path.c_str(), X_OK) == 0; }

std::string linkTarget(const std::string& path) {
    std::array<char, 512> target;
    const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
    return length < 0 ? std::string() : std::string(target.data(), static_cast<std::size_t>(length));
}

}  // namespace halvexctl
