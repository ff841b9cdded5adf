// The file of a record: what happened in a session, a line of JSON each.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

namespace halvexctl {

/// Appends lines; each is out when add() returns. Owns the file. Threads: thread-bound. Failure: std::system_error.
class RecordFile {
public:
    explicit RecordFile(const std::string& path);
    ~RecordFile();
    RecordFile(const RecordFile&) = delete;
    RecordFile& operator=(const RecordFile&) = delete;

    const std::string& path() const { return path_; }
    void add(const nlohmann::ordered_json& line);

private:
    std::string path_;
    std::FILE* file_;
};

}  // namespace halvexctl
