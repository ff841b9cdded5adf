// The frame around every exported call: whose status it honours, what fails it, and how a failure is reported.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cxxabi.h>

#include <string>
#include <type_traits>

#include "source/zuHalvexTimekeeper/pluginState.h"
#include "zuerr/exception.h"

namespace halvexTimekeeper {

/// Turns the exception in flight into `status` and one line of syslog.
void reportCurrentException(const char* exportName, zuerr_Status& status) noexcept;

/// Throws zuplaterr_invalidParameter: the caller gave no room for the result.
[[noreturn, gnu::cold]] void throwNoOutput();

/// Copies a name with its NUL. A null destination is reported to syslog, for its caller has no status.
void copyName(const std::string& name, char* destination);

template <typename Operation>
auto callReported(const char* exportName, zuerr_Status* status, Operation operation) -> std::invoke_result_t<Operation>;

/// For a caller without a status. Out of line, so that the frame of all others can be inlined; operations travel by
/// value, so that none needs a place in memory.
template <typename Operation>
[[gnu::cold, gnu::noinline]] auto callWithOwnStatus(const char* exportName, Operation operation)
    -> std::invoke_result_t<Operation> {
    zuerr::ExceptionBase own;
    return callReported(exportName, &own.getStatus(), operation);
}

/// Runs `operation`, unless the status already holds an error, and reports what it throws. A null status stands for a
/// fresh one of the library's own. Returns the operation's result, or a zero when it did not run to its end.
template <typename Operation>
[[gnu::always_inline]] inline auto callReported(const char* exportName, zuerr_Status* status, Operation operation)
    -> std::invoke_result_t<Operation> {
    using Result = std::invoke_result_t<Operation>;
    if (status == nullptr) return callWithOwnStatus(exportName, operation);
    if (status->code < 0) return Result();
    try {
        return operation();
    } catch (const abi::__forced_unwind&) {
        throw;  // the host cancels this thread, which must go on unwinding
    } catch (...) {
        reportCurrentException(exportName, *status);
    }
    return Result();
}

/// A call that reaches the timekeeper: an error that the monitoring thread met fails it first, then the lack of a
/// timekeeper.
template <typename Operation>
auto callFramed(const char* exportName, zuerr_Status* status, Operation operation)
    -> std::invoke_result_t<Operation, TimekeeperInterface&> {
    return callReported(exportName, status, [operation] {
        throwIfMonitorFailed();
        return operation(checkInitialized());
    });
}

/// The same for a call whose result goes to `output`, which is written on success only.
template <typename Output, typename Operation>
void callFramedInto(const char* exportName, Output* output, zuerr_Status* status, Operation operation) {
    callFramed(exportName, status, [output, operation](TimekeeperInterface& timekeeper) {
        if (output == nullptr) throwNoOutput();
        *output = operation(timekeeper);
    });
}

}  // namespace halvexTimekeeper
