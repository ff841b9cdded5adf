// Starting a thread can fail: a library between the shims and the C library, which asks the soak first.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace soak {

/// `refusal` gives the errno of a thread that is not to start, 0 for one that is. Null: all start.
void askBeforeEachThread(int (*refusal)());

}  // namespace soak
