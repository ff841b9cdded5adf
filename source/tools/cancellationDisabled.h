// Keeps the calling thread from being cancelled for the length of a scope.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <pthread.h>

namespace halvexTimekeeper {

/// A cancellation that arrives meanwhile, or was there before, stays pending; the state it found is restored. Threads:
/// bound to the thread that made it. Failure: none.
class CancellationDisabled {
public:
    CancellationDisabled() noexcept { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former_); }
    ~CancellationDisabled() { pthread_setcancelstate(former_, nullptr); }
    CancellationDisabled(const CancellationDisabled&) = delete;
    CancellationDisabled& operator=(const CancellationDisabled&) = delete;

private:
    int former_;
};

}  // namespace halvexTimekeeper
