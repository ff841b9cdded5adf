// What every driver interface offers beside its own methods.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>
#include <cstdint>

#include "zuplat/pathBuffer.h"
#include "zuplat/platStatus.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000 {

/// Device memory that is mapped into this process.
struct Mapping {
    void* address = nullptr;  ///< Null when nothing is mapped.
    std::size_t length = 0;   ///< In bytes.
};

enum class MapAccess : std::uint32_t { readOnly = 0, readWrite = 1 };

/// The way to one driver interface. Threads: calls are serialised by the caller. Failure: reported in the status;
/// nothing throws, and except for close, unmap and isOpen nothing is done when the status already holds an error. Slot
/// order is part of the contract.
class iInterfaceProxy {
public:
    virtual ~iInterfaceProxy() = default;

    /// Returns whether an open descriptor was closed without an error; the proxy is closed in any case.
    virtual bool close() noexcept = 0;

    /// Calls one method of the driver. Returns the number of bytes that the driver says it returned.
    virtual std::uint32_t ioctl(std::uint32_t request, const void* inBuffer, std::uint32_t inSize, void* outBuffer,
                                std::uint32_t outSize, PlatStatus* status) noexcept = 0;

    /// One read or write; returns the count of bytes, -1 when it failed.
    virtual std::int32_t read(void* buffer, std::size_t length, PlatStatus* status) noexcept = 0;
    virtual std::int32_t write(const void* buffer, std::size_t length, PlatStatus* status) noexcept = 0;

    /// Maps `length` bytes of the device's memory, shared, from page `pageIndex` on. Returns the address, null when it
    /// failed.
    virtual void* map(std::uint16_t pageIndex, std::size_t length, MapAccess access, Mapping* mapping,
                      PlatStatus* status) noexcept = 0;
    virtual void unmap(Mapping* mapping) noexcept = 0;

    virtual bool isOpen() const noexcept = 0;

    /// Forwards to the one below.
    virtual void open(const PathBuffer& path, PlatStatus* status) noexcept = 0;

    /// Opens a device node. The proxy must be closed.
    virtual void open(const char* path, PlatStatus* status) noexcept = 0;
};

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000
