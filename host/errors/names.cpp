// The error codes of the timekeeper and the names its error information carries for them.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/errors/names.h"

#include <array>
#include <utility>

namespace halvexctl {
namespace {

constexpr std::array<std::pair<std::int32_t, std::string_view>, 9> kNames{{
    {-52000, "zuplaterr_memoryFull"},
    {-52002, "zuplaterr_featureUnsupported"},
    {-52003, "zuplaterr_softwareFaultPLATInternalUseOnly"},
    {-52005, "zuplaterr_invalidParameter"},
    {-52006, "zuplaterr_resourceNotFound"},
    {-52007, "zuplaterr_operationTimedOut"},
    {-52008, "zuplaterr_osFault"},
    {-52010, "zuplaterr_resourceNotInitialized"},
    {-52024, "zuplaterr_communicationsFault"},
}};

}  // namespace

std::string_view errorName(std::int32_t code) {
    for (const auto& [known, name] : kNames) {
        if (known == code) {
            return name;
        }
    }
    return {};
}

std::optional<std::int32_t> errorCodeOf(std::string_view name) {
    for (const auto& [code, known] : kNames) {
        if (known == name) {
            return code;
        }
    }
    return std::nullopt;
}

}  // namespace halvexctl
