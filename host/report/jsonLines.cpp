// The lines of a file, each a JSON object.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/report/jsonLines.h"

#include <cerrno>
#include <fstream>
#include <system_error>

namespace halvexctl {
namespace {

std::string lastName(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace

Source readJsonLines(const std::string& path, const std::function<void(const nlohmann::json& line)>& take) {
    Source source;
    source.name = lastName(path);
    std::ifstream file(path, std::ios::binary);
    if (!file.is_open()) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    for (std::string line; std::getline(file, line);) {
        ++source.lines;
        try {
            const nlohmann::json object = nlohmann::json::parse(line);
            take(object);
        } catch (const nlohmann::json::exception&) {
            ++source.unreadLines;
        }
    }
    return source;
}

}  // namespace halvexctl
