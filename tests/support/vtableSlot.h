// The slot of a virtual function: slot orders are part of the interfaces.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/support/standard.h"

namespace testsupport {

/// Counted from 0; a virtual destructor takes two slots. For the Linux x86-64 ABI, where a pointer to a virtual member
/// function is 1 plus its offset in the table.
template <typename MemberFunction>
std::size_t vtableSlot(MemberFunction function) {
    std::size_t offsetPlusOne = 0;
    static_assert(sizeof function >= sizeof offsetPlusOne);
    std::memcpy(&offsetPlusOne, &function, sizeof offsetPlusOne);
    return (offsetPlusOne - 1) / sizeof(void*);
}

}  // namespace testsupport
