// Identifiers under which the drivers publish their interfaces.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>

namespace nHALVEXTIMEKEEPER_18_1 {

enum class InterfaceKind : std::size_t { horlixFerrox, horlixFpga };

inline constexpr const char* kInterfaceIdentifiers[] = {"nZUHORLIXFERROX000_HorlixFerrox",
                                                        "nZUHORLIXFPGA000_HorlixFpga"};

constexpr const char* interfaceIdentifier(InterfaceKind kind) noexcept {
    return kInterfaceIdentifiers[static_cast<std::size_t>(kind)];
}

}  // namespace nHALVEXTIMEKEEPER_18_1
