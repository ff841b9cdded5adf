// Runs tasks on threads of their own that receive no signals of the host.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <signal.h>

#include <future>
#include <utility>

#include "source/tools/cancellationDisabled.h"

namespace halvexTimekeeper {

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

/// Runs `task` at once on a new thread that receives no signals and is never cancelled. The future keeps what the task
/// throws, and its destructor waits for the task. Throws std::system_error if no thread can be started.
template <typename Task>
std::future<void> startBackgroundTask(Task&& task) {
    const SignalsBlocked signalsBlocked;
    return std::async(std::launch::async, [task = std::forward<Task>(task)]() mutable {
        const CancellationDisabled cancellationDisabled;
        task();
    });
}

}  // namespace halvexTimekeeper
