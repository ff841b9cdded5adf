// One method call to a driver: request number, buffers and status propagation.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>
#include <cstdint>

#include "zuplat/platStatus.h"
#include "zuplat/protons/driver/linuxU/tDeviceInterfaceProxy.h"

namespace nHALVEXTIMEKEEPER_18_1 {

/// The direction bits of a request number.
enum class Direction : std::uint32_t { read = 2, readWrite = 3 };

/// Builds a request number from direction, argument size, type letter and method number.
constexpr std::uint32_t makeRequest(Direction direction, std::uint32_t method) noexcept {
    constexpr std::uint32_t kDirectionShift = 30;
    constexpr std::uint32_t kSizeShift = 16;
    constexpr std::uint32_t kTypeShift = 8;
    constexpr std::uint32_t kTypeLetter = 'u';
    constexpr std::uint32_t kSize = sizeof(nZUPLAT000::IoctlArgs);
    return static_cast<std::uint32_t>(direction) << kDirectionShift | kSize << kSizeShift | kTypeLetter << kTypeShift |
           method;
}

/// A buffer without a value: holds the caller's status code on entry, the driver's on return.
struct StatusBuffer {
    std::int32_t statusCode;
};

static_assert(sizeof(StatusBuffer) == 4);

/// A buffer with a value: the argument on entry, the result on return.
struct ValueBuffer {
    std::uint64_t value;
    std::int32_t statusCode;
    std::uint32_t padding;
};

static_assert(sizeof(ValueBuffer) == 16);
static_assert(offsetof(ValueBuffer, value) == 0);
static_assert(offsetof(ValueBuffer, statusCode) == 8);

/// One driver method: its request and the source location reported with the driver's status.
struct DriverMethod {
    std::uint32_t request;
    const char* file;
    std::uint64_t line;
};

/// The code passed to the driver: the low 32 bits of the caller's status.
inline std::int32_t callerStatusCode(const nZUPLAT000::PlatStatus& status) noexcept {
    return static_cast<std::int32_t>(status.code);
}

/// Calls the driver with a fresh transport status. A transport error is merged into the caller's status, otherwise the
/// driver's code is. The caller's status must hold no error. Returns whether `out` is valid.
template <typename Proxy, typename In, typename Out>
[[gnu::always_inline]] inline bool callDriver(Proxy& proxy, const DriverMethod& method, const In& in, Out& out,
                                              nZUPLAT000::PlatStatus* status) noexcept {
    nZUPLAT000::PlatStatus transportStatus;
    proxy.ioctl(method.request, &in, sizeof in, &out, sizeof out, &transportStatus);
    if (transportStatus.hasError()) {
        nZUPLAT000::mergeStatus(status, transportStatus);
        return false;
    }
    if (out.statusCode != 0) {
        nZUPLAT000::setCode(status, out.statusCode, nZUPLAT000::kComponent, method.file, method.line);
    }
    return true;
}

/// A method without argument or result. Returns the caller's error, or whether the status changed.
template <typename Proxy>
std::int64_t callPlain(Proxy& proxy, const DriverMethod& method, nZUPLAT000::PlatStatus* status) noexcept {
    if (status->hasError()) return status->code;
    const std::int64_t formerCode = status->code;
    const StatusBuffer in{callerStatusCode(*status)};
    StatusBuffer out{};
    callDriver(proxy, method, in, out, status);
    return status->code != formerCode;
}

/// A method with one argument. Returns the caller's error, or whether the status changed.
template <typename Proxy>
std::int64_t callWithArgument(Proxy& proxy, const DriverMethod& method, std::uint64_t argument,
                              nZUPLAT000::PlatStatus* status) noexcept {
    if (status->hasError()) return status->code;
    const std::int64_t formerCode = status->code;
    const ValueBuffer in{argument, callerStatusCode(*status), 0};
    StatusBuffer out{};
    callDriver(proxy, method, in, out, status);
    return status->code != formerCode;
}

/// A method with a result, stored whenever the transport succeeded, whatever the driver reports. Returns the caller's
/// error, or whether the status changed. Inlined: every time reading takes this path.
template <typename Proxy>
[[gnu::always_inline]] inline std::int64_t callForResult(Proxy& proxy, const DriverMethod& method,
                                                         std::uint64_t* result,
                                                         nZUPLAT000::PlatStatus* status) noexcept {
    if (status->hasError()) return status->code;
    const std::int64_t formerCode = status->code;
    const StatusBuffer in{callerStatusCode(*status)};
    ValueBuffer out{};
    if (callDriver(proxy, method, in, out, status)) *result = out.value;
    return status->code != formerCode;
}

}  // namespace nHALVEXTIMEKEEPER_18_1
