// Common part of every replaced C library function: leaves the library for one call and keeps errno.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/faults/allocationFaults.h"
#include "tests/faults/interposition.h"

namespace faults {

extern constinit std::atomic<SimulatedController*> current;
extern constinit std::atomic<bool> areThreadsFree;

/// Leaves the library for one call of the controller; keeps errno if the answer has no error.
class Outside {
public:
    Outside() : wasInside_(std::exchange(isInsideLibrary, false)), error_(errno) {}
    ~Outside() {
        isInsideLibrary = wasInside_;
        errno = error_;
    }
    Outside(const Outside&) = delete;
    Outside& operator=(const Outside&) = delete;

    long finish(const Answer& answer) {
        if (answer.error != 0) error_ = answer.error;
        return answer.value;
    }

private:
    bool wasInside_;
    int error_;
};

/// A cancellation point of the C library; also acts on a cancellation that arrives during the call.
template <typename Call>
long cancellable(Call&& call) {
    pthread_testcancel();
    const long value = Outside().finish(call());
    pthread_testcancel();
    return value;
}

/// The real function of this name.
template <typename Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

inline long systemCall(long number, long a, long b = 0, long c = 0, long d = 0, long e = 0) {
    return ::syscall(number, a, b, c, d, e);
}

template <typename Pointer>
long address(Pointer* pointer) {
    return reinterpret_cast<long>(pointer);
}

}  // namespace faults
