// A leaf mutex for short critical sections: acquire nothing while holding it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/tools/leafMutex.h"

namespace halvexTimekeeper {

/// Acquires in the contended state: others may still wait.
void LeafMutex::waitUntilHeld() noexcept {
    while (state_.exchange(kWanted) != kFree) state_.wait(kWanted);
}

void LeafMutex::wakeOne() noexcept { state_.notify_one(); }

}  // namespace halvexTimekeeper
