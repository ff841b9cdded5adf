// Finds the instances of a driver interface and the paths of their device nodes.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <glob.h>

#include "zuplat/pathBuffer.h"
#include "zuplat/platStatus.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000 {

/// A cursor over the instances of one interface. Owns what glob found, from startEnumeration to releaseEnumeration.
/// Threads: bound to the thread that made it. Failure: reported in the status of the operations below, which never
/// throw.
struct InterfaceIterator {
    glob_t found{};
    char** cursor = nullptr;  ///< At end when null or at a null entry.
};

/// Finds the instances of `interfaceIdentifier`, in the order of their paths; finding none is not an error. Runs
/// whatever the status holds. Reports -52003 when the search itself fails. The iterator must be new or released.
void startEnumeration(InterfaceIterator* iterator, const char* interfaceIdentifier, PlatStatus* status) noexcept;

/// Whether there is no instance, or no further one.
bool isAtEnd(const InterfaceIterator& iterator) noexcept;

/// Gives back what startEnumeration found; may be called again.
void releaseEnumeration(InterfaceIterator* iterator) noexcept;

/// Reads the device-node path of the current instance, byte for byte. Does nothing when the status holds an error; else
/// the iterator must not be at its end. Reports -52006, -52024 or -52019 as readInterfaceFile does, and leaves the
/// buffer as it was.
void readInterfacePath(const InterfaceIterator& iterator, PathBuffer* pathBuffer, PlatStatus* status) noexcept;

/// Releases an enumeration on every way out. Owns nothing. Threads: as the iterator. Failure: none.
class EnumerationGuard {
public:
    explicit EnumerationGuard(InterfaceIterator& iterator) noexcept : iterator_(iterator) {}
    ~EnumerationGuard() { releaseEnumeration(&iterator_); }
    EnumerationGuard(const EnumerationGuard&) = delete;
    EnumerationGuard& operator=(const EnumerationGuard&) = delete;

private:
    InterfaceIterator& iterator_;
};

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000
