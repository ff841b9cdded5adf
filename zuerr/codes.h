// The error codes of the library and the names that error information carries for them.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>

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

// Codes that error information never names; the names are this library's own.
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

}  // namespace zuerr
