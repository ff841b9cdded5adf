// Runs tasks on threads of their own that no signal of the host's reaches.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/tools/backgroundTask.h"

#include <new>
#include <system_error>

namespace halvexTimekeeper {

BackgroundTask::BackgroundTask(std::function<void()> task) : task_(std::move(task)) {
    pthread_attr_init(&attributes_);
    sigset_t all;
    sigfillset(&all);
    if (pthread_attr_setsigmask_np(&attributes_, &all) != 0) throw std::bad_alloc();
}

BackgroundTask::~BackgroundTask() {
    const CancellationDisabled cancellationDisabled;  // nobody may leave a destructor by unwinding
    join();
    pthread_attr_destroy(&attributes_);
}

void BackgroundTask::start() {
    const int error = pthread_create(&thread_, &attributes_, run, this);
    if (error != 0) throw std::system_error(error, std::generic_category());
    isStarted_ = true;
}

void BackgroundTask::finish() {
    join();
    if (error_) std::rethrow_exception(std::exchange(error_, nullptr));
}

void* BackgroundTask::run(void* self) {
    const CancellationDisabled cancellationDisabled;
    auto& background = *static_cast<BackgroundTask*>(self);
    try {
        background.task_();
    } catch (...) {
        background.error_ = std::current_exception();
    }
    return nullptr;
}

/// A thread that is cancelled while it waits here unwinds; the run is then still to be waited for.
void BackgroundTask::join() {
    if (!isStarted_) return;
    pthread_join(thread_, nullptr);
    isStarted_ = false;
}

}  // namespace halvexTimekeeper
