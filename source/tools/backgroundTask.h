// Runs tasks on threads of their own that no signal of the host's reaches.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <signal.h>

#include <future>
#include <utility>

#include "source/tools/cancellationDisabled.h"

namespace halvexTimekeeper {

/// Blocks every signal of the calling thread while it lives, and restores the mask it found. A thread started meanwhile
/// inherits the blocked mask for good. Threads: bound to the thread that made it. Failure: none; a signal between the
/// two calls stays pending and arrives afterwards.
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

/// Runs `task` at once on a new thread that no signal reaches and nobody cancels. The future keeps what the task
/// throws, and its destructor waits for the task. Throws std::system_error when no thread can be started.
template <typename Task>
std::future<void> startBackgroundTask(Task&& task) {
    const SignalsBlocked signalsBlocked;
    return std::async(std::launch::async, [task = std::forward<Task>(task)]() mutable {
        const CancellationDisabled cancellationDisabled;
        task();
    });
}

}  // namespace halvexTimekeeper
