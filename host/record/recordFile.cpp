// The file of a record: what happened in a session, a line of JSON each.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/record/recordFile.h"

#include <fmt/format.h>

#include <cerrno>
#include <system_error>

namespace halvexctl {
namespace {

[[noreturn]] void failFor(const std::string& path, int error) {
    throw std::system_error(error, std::generic_category(), path);
}

}  // namespace

RecordFile::RecordFile(const std::string& path) : path_(path), file_(std::fopen(path.c_str(), "ae")) {
    if (file_ == nullptr) {
        failFor(path, errno);
    }
}

RecordFile::~RecordFile() { std::fclose(file_); }

void RecordFile::add(const nlohmann::ordered_json& line) {
    // Bytes that are no UTF-8 may come from a driver's texts; they must not cost the line.
    const std::string text = line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
    const std::size_t written = std::fwrite(text.data(), 1, text.size(), file_);
    if (written != text.size() || std::fflush(file_) != 0) {
        failFor(path_, errno);
    }
}

}  // namespace halvexctl
