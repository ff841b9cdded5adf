// Finds the instances of a driver interface and the paths of their device nodes.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuplat/protons/enumeration/linuxU/tDeviceInterfaceIterator.h"

#include <cstdio>

#include "zuerr/codes.h"
#include "zuplat/protons/enumeration/linuxU/linuxDevEnumHelper.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000 {
namespace {

constexpr const char* kFile = "tDeviceInterfaceIterator";
constexpr std::uint64_t kGlobLine = 58;
constexpr std::uint64_t kPathTooLongLine = 92;

constexpr std::size_t kNameCapacity = 4096;

// A directory is named identifier, one backslash, instance; glob needs that backslash escaped.
constexpr const char* kInterfacePattern = "/proc/driver/zu/*/deviceInterfaces/%s\\\\*";

}  // namespace

void startEnumeration(InterfaceIterator* iterator, const char* interfaceIdentifier, PlatStatus* status) noexcept {
    iterator->cursor = nullptr;
    char pattern[kNameCapacity];
    std::snprintf(pattern, sizeof pattern, kInterfacePattern, interfaceIdentifier);

    const int result = glob(pattern, GLOB_ONLYDIR, nullptr, &iterator->found);
    if (result == 0) {
        iterator->cursor = iterator->found.gl_pathv;
    } else if (result != GLOB_NOMATCH) {
        setCode(status, zuerr::zuplaterr_softwareFaultPLATInternalUseOnly, kComponent, kFile, kGlobLine);
    }
}

bool isAtEnd(const InterfaceIterator& iterator) noexcept {
    return iterator.cursor == nullptr || *iterator.cursor == nullptr;
}

void releaseEnumeration(InterfaceIterator* iterator) noexcept {
    iterator->cursor = nullptr;
    globfree(&iterator->found);
}

void readInterfacePath(const InterfaceIterator& iterator, PathBuffer* pathBuffer, PlatStatus* status) noexcept {
    if (status->hasError()) return;
    char fileName[kNameCapacity];
    std::snprintf(fileName, sizeof fileName, "%s/interfacePath", *iterator.cursor);

    const std::size_t size = readInterfaceFile(fileName, pathBuffer, status);
    // Kept on purpose: the error already reported while reading the file is reported again; the first stays.
    if (size >= PathBuffer::kCapacity) {
        setCode(status, zuerr::kBufferTooSmall, kComponent, kFile, kPathTooLongLine);
    }
}

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000
