// Reads a file of JSON objects, one per line.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/report/sources.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
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

using nlohmann::json;

/// Parses an object. Only rates ("steeringPpb") have fractions: other numbers with one are missing from the result,
/// since no integer may hold them.
json parsed(std::string_view line) {
    bool isRate = false;
    return json::parse(line, [&isRate](int, json::parse_event_t event, const json& value) {
        if (event == json::parse_event_t::key) {
            isRate = value.get_ref<const std::string&>().ends_with("Ppb");
        }
        return isRate || !value.is_number_float();
    });
}

/// Instants of the raw clock beyond 73 years would overflow where they are added and subtracted.
bool isInReach(const json& line) {
    constexpr std::int64_t kFarthestNs = INT64_C(1) << 61;
    return std::ranges::all_of(std::array{"rawNs", "endedRawNs", "raw_ns"}, [&line](const char* key) {
        const auto rawNs = line.value(key, std::int64_t{0});
        return rawNs > -kFarthestNs && rawNs < kFarthestNs;
    });
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
            const json object = parsed(line);
            refuseOtherKind(path, kind, object);
            if (isInReach(object)) {
                take(object);
            } else {
                ++source.unreadLines;
            }
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
