// The platform layer's status record.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuplat/platStatus.h"

#include <algorithm>
#include <cstring>

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000 {
namespace {

void storeComponent(PlatStatus& status, const char* component) noexcept {
    const std::size_t length = strnlen(component, PlatStatus::kComponentCapacity - 1);
    std::memcpy(status.component, component, length);
    status.component[length] = '\0';
}

/// A name that is too long keeps its start and end, with two dots in place of the middle.
void storeFile(PlatStatus& status, const char* file) noexcept {
    constexpr std::size_t kLongest = PlatStatus::kFileCapacity - 1;
    constexpr std::size_t kKept = 49;
    const std::size_t length = std::strlen(file);
    if (length <= kLongest) {
        std::memcpy(status.file, file, length + 1);
        return;
    }
    std::memcpy(status.file, file, kKept);
    std::memcpy(status.file + kKept, "..", 2);
    std::memcpy(status.file + kKept + 2, file + length - kKept, kKept + 1);
}

}  // namespace

bool setCode(PlatStatus* status, std::int64_t code, const char* component, const char* file,
             std::uint64_t line) noexcept {
    const bool taken = code != 0 && status->code >= 0 && (status->code == 0 || code < 0);
    if (!taken) return false;
    status->code = code;
    if (!status->isFullSize()) return true;
    storeComponent(*status, component);
    storeFile(*status, file);
    status->line = line;
    status->extra[0] = 0;
    return true;
}

void mergeStatus(PlatStatus* into, const PlatStatus& from) noexcept {
    const bool fromIsFull = from.isFullSize();
    const bool taken = fromIsFull ? setCode(into, from.code, from.component, from.file, from.line)
                                  : setCode(into, from.code, "", "", 0);
    if (!taken || !fromIsFull || !into->isFullSize()) return;
    for (std::size_t word = 0; word < PlatStatus::kExtraWords; ++word) {
        into->extra[word] = from.extra[word];
        if (from.extra[word] == 0) break;
    }
}

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000
