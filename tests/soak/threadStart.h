// Makes thread creation fail: a library between the shims and the C library that asks the soak first.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace soak {

/// `refusal` returns the errno for a thread that must not start, else 0. Null: all start.
void askBeforeEachThread(int (*refusal)());

}  // namespace soak
