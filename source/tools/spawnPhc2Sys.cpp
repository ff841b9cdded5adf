// Runs phc2sys, which synchronises the system clock to a PTP hardware clock.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/tools/spawnPhc2Sys.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "source/tools/decimalText.h"
#include "zuerr/codes.h"
#include "zuerr/exception.h"

namespace halvexTimekeeper {
namespace {

constexpr zuerr::ErrorSite kSpawnFailed{zuerr::zuplaterr_osFault, "spawnPhc2Sys", 58};

constexpr const char* kExecutable = "/usr/local/tarnesk/share/Horlix/TimeKeepers/phc2sys";

using ArgumentVector = std::array<char*, 12>;

/// Offset 0 s from the source, log level 4, and an initial step if the clocks differ by more than 1 us.
ArgumentVector makeArguments(const std::string& source) noexcept {
    constexpr std::array kBeforeSource{"phc2sys", "-O", "0", "-l", "4", "-c", "CLOCK_REALTIME", "-F", "0.000001", "-s"};
    static_assert(kBeforeSource.size() + 2 == std::tuple_size_v<ArgumentVector>);

    ArgumentVector arguments{};
    std::size_t slot = 0;
    for (const char* argument : kBeforeSource)
        arguments[slot++] = const_cast<char*>(argument);  // posix_spawn only reads
    arguments[slot] = const_cast<char*>(source.c_str());
    return arguments;
}

}  // namespace

std::unique_ptr<SpawnPhc2Sys> SpawnPhc2Sys::launch(const std::string& source, const PosixSpawn& posix_spawn) {
    // Construct the owner first: from its launch on, the child has an owner that kills it.
    std::unique_ptr<SpawnPhc2Sys> launched(new SpawnPhc2Sys);
    const ArgumentVector arguments = makeArguments(source);
    const int result = posix_spawn(&launched->pid_, kExecutable, nullptr, nullptr, arguments.data(), environ);
    const int error = errno;
    if (result != 0) {
        launched->pid_ = 0;  // after a failed spawn the value is undefined
        // Kept on purpose: the message names errno twice, not the result of posix_spawn.
        zuerr::raise(kSpawnFailed, {"[ SpawnPhc2Sys ] When spawning phc2sys got error: ", DecimalText(error), " - ",
                                    DecimalText(error)});
    }
    return launched;
}

SpawnPhc2Sys::~SpawnPhc2Sys() {
    // Kept on purpose: the child is not reaped; it stays a zombie until the host reaps it.
    if (pid_ != 0) kill(pid_, SIGKILL);
}

}  // namespace halvexTimekeeper
