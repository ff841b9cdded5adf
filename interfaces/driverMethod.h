// One method call to a driver: request number, buffers, and how its status reaches the caller.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "zuplat/platStatus.h"
#include "zuplat/protons/driver/linuxU/tDeviceInterfaceProxy.h"

namespace nHALVEXTIMEKEEPER_18_1 {

/// The direction bits of a request number.
enum class Direction : std::uint32_t { read = 2, readWrite = 3 };

/// The request number of one method: direction, size of the argument, type letter and method number.
constexpr std::uint32_t makeRequest(Direction direction, std::uint32_t method) noexcept {
    constexpr std::uint32_t kDirectionShift = 30;
    constexpr std::uint32_t kSizeShift = 16;
    constexpr std::uint32_t kTypeShift = 8;
    constexpr std::uint32_t kTypeLetter = 'u';
    constexpr std::uint32_t kSize = sizeof(nZUPLAT000::IoctlArgs);
    return static_cast<std::uint32_t>(direction) << kDirectionShift | kSize << kSizeShift | kTypeLetter << kTypeShift |
           method;
}

/// A buffer without a value: towards the driver the caller's status code, from the driver its own.
struct StatusBuffer {
    std::int32_t statusCode;
};

static_assert(sizeof(StatusBuffer) == 4);

/// A buffer with a value: an argument towards the driver, a result from it.
struct ValueBuffer {
    std::uint64_t value;
    std::int32_t statusCode;
    std::uint32_t padding;
};

static_assert(sizeof(ValueBuffer) == 16);
static_assert(offsetof(ValueBuffer, value) == 0);
static_assert(offsetof(ValueBuffer, statusCode) == 8);

/// A method as its proxy knows it: the request and the location that the driver's status is reported with.
struct DriverMethod {
    std::uint32_t request;
    const char* file;
    std::uint64_t line;
};

struct MethodOutcome {
    bool hasReachedDriver;
    bool hasChangedStatus;
};

/// What the driver receives of the caller's status: the low 32 bits of its code.
inline std::int32_t callerStatusCode(const nZUPLAT000::PlatStatus& status) noexcept {
    return static_cast<std::int32_t>(status.code);
}

/// What the transport met becomes the caller's status.
[[gnu::cold, gnu::noinline]] inline void mergeFailedCall(nZUPLAT000::PlatStatus* status, int error) noexcept {
    nZUPLAT000::PlatStatus transportStatus;
    nZUPLAT000::tDeviceInterfaceProxy::reportFailedCall(&transportStatus, error);
    nZUPLAT000::mergeStatus(status, transportStatus);
}

/// Makes the call and hands the status on: that of a failed transport as it is, else the driver's code. The caller's
/// status holds no error. Nothing but the buffers is written that a call without a failure does not need.
template <typename Proxy, typename In, typename Out>
[[gnu::always_inline]] inline MethodOutcome callDriver(Proxy& proxy, const DriverMethod& method, const In& in, Out& out,
                                                       nZUPLAT000::PlatStatus* status) noexcept {
    nZUPLAT000::IoctlArgs args{reinterpret_cast<std::uintptr_t>(&in), reinterpret_cast<std::uintptr_t>(&out), sizeof in,
                               sizeof out, 0};
    if (!proxy.makeCall(method.request, args)) {
        const int error = errno;
        mergeFailedCall(status, error);
        return {.hasReachedDriver = false, .hasChangedStatus = true};
    }
    if (out.statusCode == 0) return {.hasReachedDriver = true, .hasChangedStatus = false};  // no code to set
    const bool isTaken = nZUPLAT000::setCode(status, out.statusCode, nZUPLAT000::kComponent, method.file, method.line);
    return {.hasReachedDriver = true, .hasChangedStatus = isTaken};
}

/// A method without argument and result. Returns the caller's error, or whether the status was changed.
template <typename Proxy>
std::int64_t callPlain(Proxy& proxy, const DriverMethod& method, nZUPLAT000::PlatStatus* status) noexcept {
    if (status->hasError()) return status->code;
    const StatusBuffer in{callerStatusCode(*status)};
    StatusBuffer out{};
    return callDriver(proxy, method, in, out, status).hasChangedStatus;
}

/// A method with one argument. Returns the caller's error, or whether the status was changed.
template <typename Proxy>
std::int64_t callWithArgument(Proxy& proxy, const DriverMethod& method, std::uint64_t argument,
                              nZUPLAT000::PlatStatus* status) noexcept {
    if (status->hasError()) return status->code;
    const ValueBuffer in{argument, callerStatusCode(*status), 0};
    StatusBuffer out{};
    return callDriver(proxy, method, in, out, status).hasChangedStatus;
}

/// A method with a result, which is stored when the driver was reached, whatever it then reports. Returns the caller's
/// error, or whether the status was changed. Inlined, because every reading of a time comes this way.
template <typename Proxy>
[[gnu::always_inline]] inline std::int64_t callForResult(Proxy& proxy, const DriverMethod& method,
                                                         std::uint64_t* result,
                                                         nZUPLAT000::PlatStatus* status) noexcept {
    if (status->hasError()) return status->code;
    const StatusBuffer in{callerStatusCode(*status)};
    ValueBuffer out{};
    const MethodOutcome outcome = callDriver(proxy, method, in, out, status);
    if (outcome.hasReachedDriver) *result = out.value;
    return outcome.hasChangedStatus;
}

}  // namespace nHALVEXTIMEKEEPER_18_1
