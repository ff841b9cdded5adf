// Passes method calls to a driver through the descriptor of its device node.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuplat/protons/driver/linuxU/tDeviceInterfaceProxy.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

#include "zuplat/protons/driver/linuxU/errnoTable.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000 {
namespace {

constexpr const char* kFile = "tDeviceInterfaceProxy";
constexpr std::uint64_t kOpenLine = 47;
constexpr std::uint64_t kIoctlLine = 71;
constexpr std::uint64_t kReadLine = 88;
constexpr std::uint64_t kWriteLine = 101;
constexpr std::uint64_t kMapLine = 123;

void reportErrno(PlatStatus* status, int error, std::uint64_t line) noexcept {
    setCode(status, codeFromErrno(error), kComponent, kFile, line);
}

}  // namespace

tDeviceInterfaceProxy::~tDeviceInterfaceProxy() { tDeviceInterfaceProxy::close(); }

bool tDeviceInterfaceProxy::close() noexcept {
    if (descriptor_ == -1) return false;
    const int result = ::close(descriptor_);
    descriptor_ = -1;
    return result == 0;
}

void tDeviceInterfaceProxy::reportFailedIoctl(PlatStatus* status, int error) noexcept {
    reportErrno(status, error, kIoctlLine);
}

std::int32_t tDeviceInterfaceProxy::read(void* buffer, std::size_t length, PlatStatus* status) noexcept {
    if (status->hasError()) return 0;
    const ssize_t count = ::read(descriptor_, buffer, length);
    const int error = errno;
    if (count == -1) reportErrno(status, error, kReadLine);
    return static_cast<std::int32_t>(count);
}

std::int32_t tDeviceInterfaceProxy::write(const void* buffer, std::size_t length, PlatStatus* status) noexcept {
    if (status->hasError()) return 0;
    const ssize_t count = ::write(descriptor_, buffer, length);
    const int error = errno;
    if (count == -1) reportErrno(status, error, kWriteLine);
    return static_cast<std::int32_t>(count);
}

void* tDeviceInterfaceProxy::map(std::uint16_t pageIndex, std::size_t length, MapAccess access, Mapping* mapping,
                                 PlatStatus* status) noexcept {
    if (status->hasError()) return nullptr;
    const int protection = access == MapAccess::readWrite ? PROT_READ | PROT_WRITE : PROT_READ;
    const off_t offset = off_t{pageIndex} * sysconf(_SC_PAGESIZE);
    void* const address = ::mmap(nullptr, length, protection, MAP_SHARED, descriptor_, offset);
    const int error = errno;
    if (address == MAP_FAILED) {
        reportErrno(status, error, kMapLine);
        *mapping = {};
        return nullptr;
    }
    *mapping = {address, length};
    return address;
}

void tDeviceInterfaceProxy::unmap(Mapping* mapping) noexcept {
    if (mapping->address == nullptr) return;
    ::munmap(mapping->address, mapping->length);
    mapping->address = nullptr;
}

bool tDeviceInterfaceProxy::isOpen() const noexcept { return descriptor_ != -1; }

void tDeviceInterfaceProxy::open(const PathBuffer& path, PlatStatus* status) noexcept { open(path.text, status); }

void tDeviceInterfaceProxy::open(const char* path, PlatStatus* status) noexcept {
    if (status->hasError()) return;
    descriptor_ = ::open(path, O_RDWR | O_CLOEXEC);
    const int error = errno;
    if (descriptor_ == -1) reportErrno(status, error, kOpenLine);
}

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000
