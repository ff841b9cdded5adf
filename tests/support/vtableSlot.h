// The slots of virtual functions: slot orders are part of the interfaces.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/support/test.h"

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

/// Whether these functions take the slots from `first` on, in this order.
template <typename... MemberFunctions>
testing::AssertionResult takeSlotsFrom(std::size_t first, MemberFunctions... functions) {
    auto result = testing::AssertionSuccess();
    for (const std::size_t slot : {vtableSlot(functions)...}) {
        if (slot != first) result = testing::AssertionFailure() << result.message() << slot << " for " << first << "; ";
        ++first;
    }
    return result;
}

}  // namespace testsupport
