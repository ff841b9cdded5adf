// Operations common to all driver interfaces.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>
#include <cstdint>

#include "zuplat/pathBuffer.h"
#include "zuplat/platStatus.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000 {

/// Device memory mapped into this process.
struct Mapping {
    void* address = nullptr;  ///< Null when nothing is mapped.
    std::size_t length = 0;   ///< In bytes.
};

enum class MapAccess : std::uint32_t { readOnly = 0, readWrite = 1 };

/// Access to one driver interface. Threads: the caller serialises calls. Failure: reported in the status; nothing
/// throws, and all but close, unmap and isOpen do nothing if the status already holds an error. Slot order is part of
/// the contract.
class iInterfaceProxy {
public:
    virtual ~iInterfaceProxy() = default;

    /// Returns whether an open descriptor was closed without error; the proxy is closed in any case.
    virtual bool close() noexcept = 0;

    /// Calls one method of the driver. Returns the number of bytes that the driver reports as returned.
    virtual std::uint32_t ioctl(std::uint32_t request, const void* inBuffer, std::uint32_t inSize, void* outBuffer,
                                std::uint32_t outSize, PlatStatus* status) noexcept = 0;

    /// One read or write. Returns the number of bytes, or -1 on failure.
    virtual std::int32_t read(void* buffer, std::size_t length, PlatStatus* status) noexcept = 0;
    virtual std::int32_t write(const void* buffer, std::size_t length, PlatStatus* status) noexcept = 0;

    /// Maps `length` bytes of device memory, shared, starting at page `pageIndex`. Returns the address, or null on
    /// failure.
    virtual void* map(std::uint16_t pageIndex, std::size_t length, MapAccess access, Mapping* mapping,
                      PlatStatus* status) noexcept = 0;
    virtual void unmap(Mapping* mapping) noexcept = 0;

    virtual bool isOpen() const noexcept = 0;

    /// Forwards to the overload below.
    virtual void open(const PathBuffer& path, PlatStatus* status) noexcept = 0;

    /// Opens a device node. The proxy must be closed.
    virtual void open(const char* path, PlatStatus* status) noexcept = 0;
};

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000
