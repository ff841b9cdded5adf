// Reads small files and directories of the system.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/inspect/systemFiles.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

#include "host/output/files.h"

namespace halvexctl {
namespace {

constexpr std::size_t kLargestFile = 65'536;

using Directory = std::unique_ptr<DIR, decltype([](DIR* directory) { ::closedir(directory); })>;

}  // namespace

std::optional<std::string> readFirstLine(const std::string& path) {
    std::optional<std::string> text = readFile(path, kLargestFile);
    if (text) {
        text->erase(std::min(text->find('\n'), text->size()));
    }
    return text;
}

std::vector<std::string> namesIn(const std::string& directory) {
    std::vector<std::string> names;
    const Directory opened(::opendir(directory.c_str()));
    while (const dirent* entry = opened ? ::readdir(opened.get()) : nullptr) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            names.emplace_back(name);
        }
    }
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
