// Shims: waiting for signals. Those of processes on the board come in virtual time.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <pthread.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>

#include "board/preload/boardCore.h"
#include "board/preload/realCalls.h"
#include "board/preload/waiting.h"

using namespace halvexboard;

namespace {

bool isPending(const sigset_t& wanted) noexcept {
    sigset_t common;
    return sigpending(&common) == 0 && sigandset(&common, &common, &wanted) == 0 && sigisemptyset(&common) == 0;
}

/// One of the calls that take a signal out of a set of blocked ones. `wait` takes whether to wait.
template <typename Wait>
int takeSignal(const sigset_t& wanted, Deadline deadline, Wait wait) noexcept {
    if (!canLook()) {
        const ExternalCall external;
        return wait(true);
    }
    const WaitResult result = lookUntil(deadline, [&] { return isPending(wanted); });
    return result == WaitResult::interrupted ? refuse(EINTR) : wait(false);
}

}  // namespace

HALVEXBOARD_SHIM int sigtimedwait(const sigset_t* wanted, siginfo_t* info, const timespec* span) {
    pthread_testcancel();
    const bool isTimed = span != nullptr && isValid(*span) && span->tv_sec >= 0;
    return takeSignal(*wanted, isTimed && isActive() ? deadlineAfter(toNs(*span)) : Deadline::never(), [&](bool waits) {
        constexpr timespec kNoWait{0, 0};
        return REAL(sigtimedwait)(wanted, info, waits ? span : &kNoWait);
    });
}

HALVEXBOARD_SHIM int sigwaitinfo(const sigset_t* wanted, siginfo_t* info) {
    return sigtimedwait(wanted, info, nullptr);
}

HALVEXBOARD_SHIM int sigwait(const sigset_t* wanted, int* signal) {
    int taken = 0;
    do taken = sigtimedwait(wanted, nullptr, nullptr);
    while (taken < 0 && errno == EINTR);
    if (taken < 0) return errno;
    *signal = taken;
    return 0;
}

HALVEXBOARD_SHIM int sigsuspend(const sigset_t* mask) {
    pthread_testcancel();
    sigset_t wanted;
    sigemptyset(&wanted);
    for (int signal = 1; signal < NSIG; ++signal)
        if (sigismember(mask, signal) == 0) sigaddset(&wanted, signal);
    return takeSignal(wanted, Deadline::never(), [&](bool) { return REAL(sigsuspend)(mask); });
}

HALVEXBOARD_SHIM int pause() {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return sigsuspend(&mask);
}
