// Reads a file of JSON objects, one per line.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/report/sources.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "host/output/files.h"

namespace halvexctl {
namespace {

std::string lastName(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

/// A trace uses "raw_ns", a record "rawNs".
void refuseOtherKind(const std::string& path, LinesOf kind, const nlohmann::json& line) {
    if (kind == LinesOf::record && line.contains("raw_ns")) {
        throw std::runtime_error(fmt::format("{} is a simulated board's trace: --trace {}", path, path));
    }
    if (kind == LinesOf::trace && line.contains("rawNs")) {
        throw std::runtime_error(fmt::format("{} is a record: --from {}", path, path));
    }
}

}  // namespace

InputText readInput(const std::string& path) {
    const std::string name = path == "-" ? "standard input" : path;
    std::optional<std::string> text = readFile(path);
    if (!text) {
        throw std::system_error(errno, std::generic_category(), fmt::format("cannot read {}", name));
    }
    return {name, std::move(*text)};
}

Source readJsonLines(const InputText& input, LinesOf kind,
                     const std::function<void(const nlohmann::json& line)>& take) {
    const std::string& path = input.name;
    Source source;
    source.kind = kind == LinesOf::record ? "record" : "trace";
    source.name = lastName(path);
    for (std::string_view rest = input.text; !rest.empty();) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        if (line.empty()) {
            continue;  // behind the last line of a killed program
        }
        ++source.lines;
        try {
            const nlohmann::json object = nlohmann::json::parse(line);
            refuseOtherKind(path, kind, object);
            take(object);
        } catch (const nlohmann::json::exception&) {
            ++source.unreadLines;
        }
    }
    if (source.lines == source.unreadLines) {
        throw std::runtime_error(fmt::format("{} has no line of a {}", path, source.kind));
    }
    return source;
}

}  // namespace halvexctl
