// A mutex for a few instructions' work, beneath which no other lock is taken.
#include "source/tools/leafMutex.h"

namespace halvexTimekeeper {

/// Takes it as wanted, for this thread cannot know whether others still wait.
void LeafMutex::waitUntilHeld() noexcept {
    while (state_.exchange(kWanted) != kFree) state_.wait(kWanted);
}

void LeafMutex::wakeOne() noexcept { state_.notify_one(); }

}  // namespace halvexTimekeeper
