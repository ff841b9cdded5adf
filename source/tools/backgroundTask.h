// Starts a task on a thread of its own that no signal of the host's reaches.
#pragma once

#include <signal.h>

#include <future>
#include <utility>

namespace halvexTimekeeper {

/// Blocks every signal of the calling thread while it lives, and restores the mask it found. A thread started meanwhile
/// inherits the blocked mask for good. Threads: bound to the thread that made it. Failure: none; a signal between the two
/// calls stays pending and arrives afterwards.
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

/// Runs `task` at once on a new thread, all signals blocked. The future keeps what the task throws, and its destructor
/// waits for the task. Throws std::system_error when no thread can be started.
template <typename Task>
std::future<void> startBackgroundTask(Task&& task) {
    const SignalsBlocked signalsBlocked;
    return std::async(std::launch::async, std::forward<Task>(task));
}

}  // namespace halvexTimekeeper
