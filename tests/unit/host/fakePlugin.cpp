// A stand-in for the timekeeper library: keeps a clock, a correction and a journal, and fails on request.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/unit/host/fakePlugin.h"

#include "zuqxmtk.h"

#define FAKE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

using fakeplugin::Failure;
using fakeplugin::State;

constexpr const char* kNotInitialized =
    R"({"error_constant":"zuplaterr_resourceNotInitialized","file":"fake","line":160})";

State makeState() {
    State state;
    const char* failures = std::getenv(fakeplugin::kFailuresVariable);
    std::istringstream list(failures == nullptr ? "" : failures);
    for (std::string item; std::getline(list, item, ',');) {
        std::istringstream parts(item);
        Failure failure;
        char colon = ':';
        std::getline(parts, failure.function, ':');
        parts >> failure.call >> colon >> failure.code;
        failure.json = R"({"error_constant":"fake"})";
        state.failures.push_back(failure);
    }
    return state;
}

State& state() {
    static State instance = makeState();
    return instance;
}

void record(const std::string& call) {
    state().journal.push_back(call);
    if (const char* path = std::getenv(fakeplugin::kJournalVariable)) {
        std::ofstream(path, std::ios::app) << call << '\n';
    }
}

void report(zuerr_Status* status, std::int32_t code, const std::string& json) {
    status->code = code;
    if (status->reallocJson(status, static_cast<std::uint32_t>(json.size()) + 2)) {
        std::memset(status->json, 0, status->capacity - 1);
        std::memcpy(status->json, json.data(), json.size());
    }
}

/// Journals the call; returns false if it must stop with the error in `status`.
bool enter(const char* function, const std::string& call, zuerr_Status* status, bool needsInitialized = true) {
    record(call);
    if (status->code < 0) {
        return false;
    }
    for (Failure& failure : state().failures) {
        if (failure.function == function && --failure.call == 0) {
            report(status, failure.code, failure.json);
            return failure.code > 0;
        }
    }
    if (needsInitialized && !state().initialized) {
        report(status, -52010, kNotInitialized);
        return false;
    }
    return true;
}

std::int64_t rawNs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &now);
    return now.tv_sec * 1'000'000'000 + now.tv_nsec;
}

const std::int64_t loadedRawNs = rawNs();

void requireInitialized() {
    if (!state().initialized) {
        throw std::runtime_error(kNotInitialized);
    }
}

}  // namespace

FAKE_EXPORT State* fakePlugin_state() { return &state(); }

FAKE_EXPORT uint32_t zuqxmtk_getAPIVersion(void) {
    record("getAPIVersion");
    return 2;
}

FAKE_EXPORT void zuqxmtk_getName(char* name) {
    record("getName");
    requireInitialized();
    std::strcpy(name, "FakeTimekeeper");
}

FAKE_EXPORT bool zuqxmtk_isSeeded(void) {
    record("isSeeded");
    requireInitialized();
    return true;
}

FAKE_EXPORT int32_t zuqxmtk_getMinCorrectionPerSecond(zuerr_Status* status) {
    return enter("getMin", "getMin", status) ? -62000 : 0;
}

FAKE_EXPORT int32_t zuqxmtk_getMaxCorrectionPerSecond(zuerr_Status* status) {
    return enter("getMax", "getMax", status) ? 62000 : 0;
}

FAKE_EXPORT void zuqxmtk_setCorrectionPerSecond(int32_t correction, zuerr_Status* status) {
    if (enter("setCorrection", "setCorrection " + std::to_string(correction), status)) {
        state().correctionPpb = correction;
    }
}

FAKE_EXPORT void zuqxmtk_getCorrectionPerSecond(int32_t* correction, zuerr_Status* status) {
    if (enter("getCorrection", "getCorrection", status)) {
        *correction = state().correctionPpb + state().readBackErrorPpb;
    }
}

FAKE_EXPORT void zuqxmtk_snapTime(int64_t offset, zuerr_Status* status) {
    if (enter("snapTime", "snapTime " + std::to_string(offset), status) && !state().dropsSteps) {
        state().offsetNs += offset / 200 * 200 - state().stepLossNs;
    }
}

FAKE_EXPORT void zuqxmtk_getTime(QxmTimestamp* time, zuerr_Status* status) {
    if (enter("getTime", "getTime", status)) {
        const std::int64_t raw = rawNs();
        const std::int64_t elapsedUs = (raw - loadedRawNs) / 1'000;
        *time = static_cast<QxmTimestamp>(state().offsetNs + raw + elapsedUs * state().ratePpb / 1'000'000);
    }
}

FAKE_EXPORT void zuqxmtk_applyMetaData(const char* metadata, zuerr_Status* status) {
    if (enter("applyMetaData", "applyMetaData", status)) {
        state().metadata = metadata;
    }
}

FAKE_EXPORT void zuqxmtk_initialize(zuerr_Status* status) {
    if (enter("initialize", "initialize", status, false)) {
        state().initialized = true;
    }
}

FAKE_EXPORT void zuqxmtk_finalize(void) {
    record("finalize");
    state().initialized = false;
}
