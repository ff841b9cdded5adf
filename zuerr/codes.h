// The library's error codes and their names in error information.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <array>
#include <cstdint>
#include <utility>

namespace zuerr {

inline constexpr std::int32_t zuplaterr_memoryFull = -52000;
inline constexpr std::int32_t zuplaterr_featureUnsupported = -52002;
inline constexpr std::int32_t zuplaterr_softwareFaultPLATInternalUseOnly = -52003;
inline constexpr std::int32_t zuplaterr_invalidParameter = -52005;
inline constexpr std::int32_t zuplaterr_resourceNotFound = -52006;
inline constexpr std::int32_t zuplaterr_operationTimedOut = -52007;
inline constexpr std::int32_t zuplaterr_osFault = -52008;
inline constexpr std::int32_t zuplaterr_resourceNotInitialized = -52010;
inline constexpr std::int32_t zuplaterr_communicationsFault = -52024;

// Codes that error information never names; these names are internal.
inline constexpr std::int32_t kWrongType = -52004;
inline constexpr std::int32_t kOperationInProgress = -52011;
inline constexpr std::int32_t kRangeExceeded = -52012;
inline constexpr std::int32_t kAlreadyInUse = -52013;
inline constexpr std::int32_t kOwnerDied = -52014;
inline constexpr std::int32_t kLockUnavailable = -52015;
inline constexpr std::int32_t kBufferTooSmall = -52019;
inline constexpr std::int32_t kIdentifierRemoved = -52020;
inline constexpr std::int32_t kConnectionAborted = -52023;
inline constexpr std::int32_t kInterrupted = -52025;
inline constexpr std::int32_t kAccessDenied = -52026;
inline constexpr std::int32_t kBusy = -52031;

inline constexpr std::array<std::pair<std::int32_t, const char*>, 9> kConstants{{
    {zuplaterr_memoryFull, "zuplaterr_memoryFull"},
    {zuplaterr_featureUnsupported, "zuplaterr_featureUnsupported"},
    {zuplaterr_softwareFaultPLATInternalUseOnly, "zuplaterr_softwareFaultPLATInternalUseOnly"},
    {zuplaterr_invalidParameter, "zuplaterr_invalidParameter"},
    {zuplaterr_resourceNotFound, "zuplaterr_resourceNotFound"},
    {zuplaterr_operationTimedOut, "zuplaterr_operationTimedOut"},
    {zuplaterr_osFault, "zuplaterr_osFault"},
    {zuplaterr_resourceNotInitialized, "zuplaterr_resourceNotInitialized"},
    {zuplaterr_communicationsFault, "zuplaterr_communicationsFault"},
}};

/// The name of a code in error information, or null if it has none.
constexpr const char* constantOf(std::int32_t code) noexcept {
    for (const auto& [known, name] : kConstants) {
        if (known == code) return name;
    }
    return nullptr;
}

}  // namespace zuerr
