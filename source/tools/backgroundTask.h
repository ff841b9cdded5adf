// Runs tasks on threads of their own that receive no signals of the host.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <functional>
#include <future>

namespace halvexTimekeeper {

/// Runs `task` at once on a new thread that receives no signals and is never cancelled. The future keeps what the task
/// throws, and its destructor waits for the task. Throws std::system_error if no thread can be started.
std::future<void> startBackgroundTask(std::function<void()> task);

}  // namespace halvexTimekeeper
