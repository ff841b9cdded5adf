// The threads and open descriptors of this process, as the kernel lists them.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <sys/types.h>

#include "tests/support/standard.h"

namespace testsupport {

/// Calls `action` with every numeric entry of `directory` in /proc. Aborts if there is none.
template <typename Action>
void forEachNumber(const char* directory, Action action) {
    DIR* const stream = opendir(directory);
    if (stream == nullptr) std::abort();
    while (const dirent* entry = readdir(stream)) {
        if (entry->d_name[0] >= '0' && entry->d_name[0] <= '9') action(std::atoi(entry->d_name), dirfd(stream));
    }
    closedir(stream);
}

/// Calls `action` with every open descriptor of this process except the listing's own.
template <typename Action>
void forEachDescriptor(Action action) {
    forEachNumber("/proc/self/fd", [&action](int fd, int own) {
        if (fd != own) action(fd);
    });
}

inline int countOpenDescriptors() {
    int count = 0;
    forEachDescriptor([&count](int) { ++count; });
    return count;
}

struct ThreadState {
    char letter = 0;  ///< 'S': sleeping.
    unsigned flags = 0;

    /// Set before pthread_join() returns; the kernel may list the thread for a while afterwards.
    bool isExiting() const {
        constexpr unsigned kExiting = 0x4;  // PF_EXITING of the kernel
        return (flags & kExiting) != 0;
    }
};

/// Empty for a thread that the kernel no longer lists.
inline std::optional<ThreadState> threadState(pid_t thread) {
    std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text;
    std::getline(stat, text);
    const std::size_t nameEnd = text.rfind(')');
    if (nameEnd == std::string::npos) return std::nullopt;
    std::istringstream fields(text.substr(nameEnd + 1));
    ThreadState state;
    std::string ignored;
    fields >> state.letter;
    for (int field = 4; field < 9; ++field) fields >> ignored;
    fields >> state.flags;
    return fields ? std::optional(state) : std::nullopt;
}

/// Whether a thread of this process sleeps in the kernel. False for a thread that has ended.
inline bool isAsleep(pid_t thread) {
    const auto state = threadState(thread);
    return state && state->letter == 'S';
}

/// Running threads of this process. Exact for joined threads: they are already exiting.
inline int countThreads() {
    int count = 0;
    forEachNumber("/proc/self/task", [&count](int thread, int) {
        const auto state = threadState(thread);
        if (state && !state->isExiting()) ++count;
    });
    return count;
}

}  // namespace testsupport
