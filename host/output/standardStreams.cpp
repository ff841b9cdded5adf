// Standard output and standard error, with error tracking.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/output/standardStreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace halvexctl {
namespace {

int firstOutputError = 0;

}  // namespace

void holdStandardStreams() noexcept {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(fd, F_GETFD) < 0) {
            // The lowest free number is this one; child processes inherit it for the same reason.
            ::open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

void put(std::FILE* stream, std::string_view text) noexcept {
    const bool isWritten = std::fwrite(text.data(), 1, text.size(), stream) == text.size() && std::fflush(stream) == 0;
    const int error = errno;
    if (!isWritten && stream == stdout && firstOutputError == 0) {
        firstOutputError = error;
    }
}

int outputError() noexcept { return firstOutputError; }

}  // namespace halvexctl
