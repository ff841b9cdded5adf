// Finds the instances of a driver interface and the paths of their device nodes.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <glob.h>

#include "zuplat/pathBuffer.h"
#include "zuplat/platStatus.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000 {

/// A cursor over the instances of one interface. Owns the glob result, from startEnumeration to releaseEnumeration.
/// Threads: thread-bound. Failure: the operations below report it in the status and never throw.
struct InterfaceIterator {
    glob_t found{};
    char** cursor = nullptr;  ///< At end when null or at a null entry.
};

/// Finds the instances of `interfaceIdentifier`, ordered by path; finding none is not an error. Runs even if the status
/// holds an error. Reports -52003 if the search itself fails. The iterator must be new or released.
void startEnumeration(InterfaceIterator* iterator, const char* interfaceIdentifier, PlatStatus* status) noexcept;

/// Whether the cursor is past the last instance.
bool isAtEnd(const InterfaceIterator& iterator) noexcept;

/// Frees the result of startEnumeration; may be called again.
void releaseEnumeration(InterfaceIterator* iterator) noexcept;

/// Reads the device-node path of the current instance, byte for byte. Does nothing if the status holds an error; the
/// iterator must otherwise not be at its end. Reports -52006, -52024 or -52019 like readInterfaceFile and then leaves
/// the buffer unchanged.
void readInterfacePath(const InterfaceIterator& iterator, PathBuffer* pathBuffer, PlatStatus* status) noexcept;

/// Releases an enumeration at scope exit. Owns nothing. Threads: as the iterator. Failure: none.
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
