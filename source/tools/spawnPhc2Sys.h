// Runs phc2sys, which synchronises the system clock to a PTP hardware clock.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <spawn.h>

#include <functional>
#include <memory>
#include <string>

namespace halvexTimekeeper {

/// One child process. Owns the child from launch to destruction. Threads: thread-bound. Failure: launch throws
/// zuplaterr_osFault and leaves no child; a kill that fails is ignored.
class SpawnPhc2Sys {
public:
    using PosixSpawn = std::function<int(pid_t* pid, const char* path, const posix_spawn_file_actions_t* fileActions,
                                         const posix_spawnattr_t* attributes, char* const argv[], char* const envp[])>;

    /// Starts phc2sys with `source` as its option -s.
    static std::unique_ptr<SpawnPhc2Sys> launch(const std::string& source,
                                                const PosixSpawn& posix_spawn = ::posix_spawn);

    SpawnPhc2Sys(const SpawnPhc2Sys&) = delete;
    SpawnPhc2Sys& operator=(const SpawnPhc2Sys&) = delete;
    virtual ~SpawnPhc2Sys();

private:
    SpawnPhc2Sys() = default;

    pid_t pid_ = 0;  ///< 0: no child.
};

}  // namespace halvexTimekeeper
