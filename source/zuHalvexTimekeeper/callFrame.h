// The frame around every exported call: checks the status, reports exceptions.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cxxabi.h>

#include <string>
#include <type_traits>

#include "source/zuHalvexTimekeeper/pluginState.h"
#include "zuerr/exception.h"

namespace halvexTimekeeper {

/// Reports the exception in flight in `status` and in one line to syslog.
void reportCurrentException(const char* exportName, zuerr_Status& status) noexcept;

/// Throws zuplaterr_invalidParameter: the output pointer is null.
[[noreturn, gnu::cold]] void throwNoOutput();

/// Copies a name with its NUL. A null destination is reported to syslog, the caller has no status.
void copyName(const std::string& name, char* destination);

template <typename Operation>
auto callReported(const char* exportName, zuerr_Status* status, Operation operation) -> std::invoke_result_t<Operation>;

/// For calls with a null status. Out of line, so that the frame of all others is inlined; operations are passed by
/// value, so that none is spilled to memory.
template <typename Operation>
[[gnu::cold, gnu::noinline]] auto callWithOwnStatus(const char* exportName, Operation operation)
    -> std::invoke_result_t<Operation> {
    zuerr::ExceptionBase own;
    return callReported(exportName, &own.getStatus(), operation);
}

/// Runs `operation` unless the status already holds an error, and reports what it throws. A null status stands for a
/// fresh internal one. Returns the operation's result, or zero if it did not complete.
template <typename Operation>
[[gnu::always_inline]] inline auto callReported(const char* exportName, zuerr_Status* status, Operation operation)
    -> std::invoke_result_t<Operation> {
    using Result = std::invoke_result_t<Operation>;
    if (status == nullptr) return callWithOwnStatus(exportName, operation);
    if (status->code < 0) return Result();
    try {
        return operation();
    } catch (const abi::__forced_unwind&) {
        throw;  // the thread is being cancelled: unwinding must continue
    } catch (...) {
        reportCurrentException(exportName, *status);
    }
    return Result();
}

/// A call that needs the timekeeper. Checks in order: pending monitor error, then initialisation.
template <typename Operation>
auto callFramed(const char* exportName, zuerr_Status* status, Operation operation)
    -> std::invoke_result_t<Operation, TimekeeperInterface&> {
    return callReported(exportName, status, [operation] {
        throwIfMonitorFailed();
        return operation(checkInitialized());
    });
}

/// The same for a call with an output, which is written on success only.
template <typename Output, typename Operation>
void callFramedInto(const char* exportName, Output* output, zuerr_Status* status, Operation operation) {
    callFramed(exportName, status, [output, operation](TimekeeperInterface& timekeeper) {
        if (output == nullptr) throwNoOutput();
        *output = operation(timekeeper);
    });
}

}  // namespace halvexTimekeeper
