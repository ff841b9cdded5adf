// The start of a background task.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/tools/backgroundTask.h"

#include <signal.h>

#include <utility>

#include "source/tools/cancellationDisabled.h"

namespace halvexTimekeeper {
namespace {

/// Blocks all signals of the calling thread for a scope, then restores the previous mask. A thread started meanwhile
/// inherits the blocked mask. Threads: thread-bound. Failure: none; a signal that arrives meanwhile stays pending.
class SignalsBlocked {
public:
    SignalsBlocked() noexcept {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &former_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &former_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t former_;
};

}  // namespace

std::future<void> startBackgroundTask(std::function<void()> task) {
    const SignalsBlocked signalsBlocked;
    return std::async(std::launch::async, [task = std::move(task)] {
        const CancellationDisabled cancellationDisabled;
        task();
    });
}

}  // namespace halvexTimekeeper
