// Disables cancellation of the calling thread for a scope.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <pthread.h>

namespace halvexTimekeeper {

/// Cancellation requests stay pending meanwhile; the previous state is restored. Threads: thread-bound. Failure: none.
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
