// Passes method calls to a driver through the descriptor of its device node.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <sys/ioctl.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "zuplat/protons/driver/linuxU/iInterfaceProxy.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000 {

/// The ioctl argument of every method call, as the drivers read it.
struct IoctlArgs {
    std::uint64_t inAddress;
    std::uint64_t outAddress;
    std::uint32_t inSize;   ///< In bytes.
    std::uint32_t outSize;  ///< In bytes.
    std::uint64_t bytesReturned;
};

static_assert(sizeof(IoctlArgs) == 32);
static_assert(offsetof(IoctlArgs, inAddress) == 0);
static_assert(offsetof(IoctlArgs, outAddress) == 8);
static_assert(offsetof(IoctlArgs, inSize) == 16);
static_assert(offsetof(IoctlArgs, outSize) == 20);
static_assert(offsetof(IoctlArgs, bytesReturned) == 24);

/// Owns one descriptor, -1 while closed; 0 is an ordinary descriptor. Threads: the caller serialises calls. Failure: a
/// failed system call reports the code of its errno; a call on a closed proxy uses descriptor -1 and reports the
/// resulting error.
class tDeviceInterfaceProxy : public virtual iInterfaceProxy {
public:
    tDeviceInterfaceProxy() noexcept = default;
    tDeviceInterfaceProxy(const tDeviceInterfaceProxy&) = delete;
    tDeviceInterfaceProxy& operator=(const tDeviceInterfaceProxy&) = delete;
    ~tDeviceInterfaceProxy() override;

    bool close() noexcept override;
    std::uint32_t ioctl(std::uint32_t request, const void* inBuffer, std::uint32_t inSize, void* outBuffer,
                        std::uint32_t outSize, PlatStatus* status) noexcept override;
    std::int32_t read(void* buffer, std::size_t length, PlatStatus* status) noexcept override;
    std::int32_t write(const void* buffer, std::size_t length, PlatStatus* status) noexcept override;
    void* map(std::uint16_t pageIndex, std::size_t length, MapAccess access, Mapping* mapping,
              PlatStatus* status) noexcept override;
    void unmap(Mapping* mapping) noexcept override;
    bool isOpen() const noexcept override;
    void open(const PathBuffer& path, PlatStatus* status) noexcept override;
    void open(const char* path, PlatStatus* status) noexcept override;

private:
    [[gnu::cold]] static void reportFailedIoctl(PlatStatus* status, int error) noexcept;

    std::int32_t descriptor_ = -1;
};

// Inline: an extra return after a system call is mispredicted (docs/performance.md).
inline std::uint32_t tDeviceInterfaceProxy::ioctl(std::uint32_t request, const void* inBuffer, std::uint32_t inSize,
                                                  void* outBuffer, std::uint32_t outSize, PlatStatus* status) noexcept {
    if (status->hasError()) return 0;
    IoctlArgs args{reinterpret_cast<std::uintptr_t>(inBuffer), reinterpret_cast<std::uintptr_t>(outBuffer), inSize,
                   outSize, 0};
    if (::ioctl(descriptor_, request, &args) == -1) {
        const int error = errno;
        reportFailedIoctl(status, error);
    }
    return static_cast<std::uint32_t>(args.bytesReturned);
}

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000
