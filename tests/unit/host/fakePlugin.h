// A stand-in for the timekeeper library: keeps a clock, a correction and a journal, and fails on request.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/support/standard.h"

namespace fakeplugin {

/// A planned failure: the `call`-th call of `function` from now on fails with `code` and `json`.
struct Failure {
    std::string function;
    int call = 1;
    std::int32_t code = 0;
    std::string json;
};

/// Accessible through the library's own symbol `fakePlugin_state`. The clock follows CLOCK_MONOTONIC_RAW at `ratePpb`
/// and is stepped by snapTime, which loses `stepLossNs`. A status below 0 stops a call, as in the real library.
struct State {
    bool initialized = false;
    bool dropsSteps = false;  ///< Like busy devices: no error and no step.
    std::int64_t offsetNs = 1'700'000'000'000'000'000;
    std::int64_t stepLossNs = 0;
    std::int64_t ratePpb = 0;
    std::int32_t correctionPpb = 0;
    std::int32_t readBackErrorPpb = 0;
    std::string metadata;
    std::vector<std::string> journal;  ///< "getTime", "snapTime 1500000", ...
    std::vector<Failure> failures;
};

using StateFunction = State* (*)();
inline constexpr const char* kStateFunction = "fakePlugin_state";

/// Environment variables for a program that loads the library: "FUNCTION:CALL:CODE,..." and the journal's file.
inline constexpr const char* kFailuresVariable = "FAKE_PLUGIN_FAILURES";
inline constexpr const char* kJournalVariable = "FAKE_PLUGIN_JOURNAL";

}  // namespace fakeplugin
