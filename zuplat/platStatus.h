// The platform layer's status record.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>
#include <cstdint>

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000 {

/// The outcome of a platform operation: the first error wins, a warning yields to an error. Owns nothing. Threads:
/// thread-bound. Failure: none. The descriptive fields are written only if the declared size covers the whole record.
struct PlatStatus {
    static constexpr std::size_t kComponentCapacity = 10;
    static constexpr std::size_t kFileCapacity = 101;
    static constexpr std::size_t kExtraWords = 10;

    std::uint64_t structureSize;
    std::int64_t code;  ///< 0: success; below: error; above: warning.
    char component[kComponentCapacity];
    char file[kFileCapacity];
    std::uint64_t line;
    std::uint64_t extra[kExtraWords];  ///< Terminated by a zero word.

    /// A full-size record with code 0 and empty fields. Writes only the first byte or word of each field: a record is
    /// made for every driver call.
    PlatStatus() noexcept : structureSize(sizeof(PlatStatus)), code(0), line(0) {
        component[0] = '\0';
        file[0] = '\0';
        extra[0] = 0;
    }

    bool hasError() const noexcept { return code < 0; }
    bool isFullSize() const noexcept;
};

static_assert(sizeof(PlatStatus) == 216);
static_assert(offsetof(PlatStatus, code) == 8);
static_assert(offsetof(PlatStatus, component) == 16);
static_assert(offsetof(PlatStatus, file) == 26);
static_assert(offsetof(PlatStatus, line) == 128);
static_assert(offsetof(PlatStatus, extra) == 136);

inline bool PlatStatus::isFullSize() const noexcept { return structureSize >= sizeof(PlatStatus); }

/// The component in every report; a record keeps its first nine characters.
inline constexpr const char* kComponent = "halvexTimekeeper";

/// Sets a code by precedence and, if it is set in a full-size record, its location. Returns whether it was set.
bool setCode(PlatStatus* status, std::int64_t code, const char* component, const char* file,
             std::uint64_t line) noexcept;

/// Sets the code of `from` in `into`, with its location and extra words.
void mergeStatus(PlatStatus* into, const PlatStatus& from) noexcept;

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000
