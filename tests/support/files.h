// File helpers: reading a file, and scratch directories.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/support/standard.h"

namespace testsupport {

inline std::string fileContents(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

/// The caller removes it.
inline std::filesystem::path makeScratchDirectory() {
    std::string path = (std::filesystem::temp_directory_path() / "halvex-XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no temporary directory");
    return path;
}

/// A directory, removed with its files at scope exit.
class ScratchDirectory {
public:
    ScratchDirectory() = default;
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string operator/(const std::string& name) const { return (path_ / name).string(); }

private:
    const std::filesystem::path path_ = makeScratchDirectory();
};

}  // namespace testsupport
