// Replaces an entry of a call table for the lifetime of a guard.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/support/standard.h"

namespace testsupport {

/// Which calls of an entry fail, and their errno; all others go to the previous function.
struct CallFailure {
    int firstFailing;  ///< Counted from 1.
    bool forEver;
    int error;

    bool hits(int call) const { return forEver ? call >= firstFailing : call == firstFailing; }
};

/// Only the Nth call fails.
inline CallFailure failNth(int nth, int error) { return {nth, false, error}; }

/// The Nth call and all later ones fail.
inline CallFailure failFrom(int nth, int error) { return {nth, true, error}; }

template <typename Signature>
class OsCallGuard;

/// Restores the entry at scope exit: `OsCallGuard fail{osCalls().ioctl, failNth(3, EIO)};`. Guards of one entry nest. A
/// failing call returns -1 with errno set and does nothing. Threads: made and destroyed while no other thread calls.
template <typename Result, typename... Arguments>
class OsCallGuard<Result(Arguments...)> {
public:
    using Entry = std::function<Result(Arguments...)>;

    OsCallGuard(Entry& entry, Entry replacement) : entry_(entry), saved_(std::exchange(entry, nullptr)) {
        if (!replacement) return;
        entry_ = [this, replacement = std::move(replacement)](Arguments... arguments) {
            ++calls_;
            return replacement(arguments...);
        };
    }
    OsCallGuard(Entry& entry, CallFailure failure) : entry_(entry), saved_(std::exchange(entry, nullptr)) {
        entry_ = [this, failure](Arguments... arguments) -> Result {
            if (!failure.hits(++calls_)) return saved_(arguments...);
            ++failures_;
            errno = failure.error;
            return static_cast<Result>(-1);
        };
    }
    ~OsCallGuard() { entry_ = std::move(saved_); }
    OsCallGuard(const OsCallGuard&) = delete;
    OsCallGuard& operator=(const OsCallGuard&) = delete;

    int getCallCount() const { return calls_; }
    bool hasFailedACall() const { return failures_ > 0; }  ///< False ends a sweep over every N.

private:
    Entry& entry_;
    Entry saved_;
    std::atomic<int> calls_ = 0;
    std::atomic<int> failures_ = 0;
};

template <typename Result, typename... Arguments, typename Replacement>
OsCallGuard(std::function<Result(Arguments...)>&, Replacement) -> OsCallGuard<Result(Arguments...)>;

}  // namespace testsupport
