// Runs tasks on threads of their own that no signal of the host's reaches.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <pthread.h>
#include <signal.h>

#include <exception>
#include <functional>
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

/// One task, to be run again and again, each time on a new thread with all signals blocked. What std::async would do,
/// without its allocations and with half its system calls. Owns the thread; its destructor waits for it, and loses its
/// error. Threads: one at a time. Failure: throws std::system_error when no thread can be started, std::bad_alloc when
/// it cannot be made.
class BackgroundTask {
public:
    explicit BackgroundTask(std::function<void()> task);
    ~BackgroundTask();
    BackgroundTask(const BackgroundTask&) = delete;
    BackgroundTask& operator=(const BackgroundTask&) = delete;

    /// Only when the last run has been finished.
    void start();
    /// Waits for the run that was started, if any, and throws what it threw.
    void finish();

private:
    static void* run(void* self);
    void join();

    std::function<void()> task_;
    pthread_attr_t attributes_;
    pthread_t thread_{};
    bool isStarted_ = false;
    std::exception_ptr error_;  ///< Written by the thread, read after it has ended.
};

}  // namespace halvexTimekeeper
