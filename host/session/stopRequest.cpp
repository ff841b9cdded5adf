// Stop requests by SIGINT, SIGTERM or a closed output, so that the library is always finalised.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/session/stopRequest.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace halvexctl {
namespace {

constexpr std::array<int, 4> kSignals{SIGINT, SIGTERM, SIGHUP, SIGPIPE};

// Signal handlers can only use objects like these.
volatile sig_atomic_t stopRequested = 0;
std::array<int, 2> wakePipe{-1, -1};
std::array<struct sigaction, kSignals.size()> formerActions;

void remember(int) {
    const int savedErrno = errno;
    stopRequested = 1;
    const char byte = 's';
    // A full pipe is already readable, which suffices.
    [[maybe_unused]] const ssize_t written = ::write(wakePipe[1], &byte, 1);
    errno = savedErrno;
}

}  // namespace

StopRequest::StopRequest() {
    if (::pipe2(wakePipe.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        const int error = errno;
        throw std::system_error(error, std::generic_category(), "pipe2");
    }
    stopRequested = 0;
    struct sigaction action {};
    action.sa_handler = &remember;  // a handler, not SIG_IGN: children get the default actions
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        ::sigaction(kSignals[i], &action, &formerActions[i]);
        if (formerActions[i].sa_handler == SIG_IGN && (kSignals[i] == SIGHUP || kSignals[i] == SIGINT)) {
            ::sigaction(kSignals[i], &formerActions[i], nullptr);  // nohup, or a shell's background
        }
    }
}

StopRequest::~StopRequest() {
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        ::sigaction(kSignals[i], &formerActions[i], nullptr);
    }
    ::close(wakePipe[0]);
    ::close(wakePipe[1]);
    wakePipe = {-1, -1};
}

bool StopRequest::isMade() noexcept { return stopRequested != 0; }

int StopRequest::descriptor() const noexcept { return wakePipe[0]; }

}  // namespace halvexctl
