// The twelve calls of this host: all share one status, and each is reported before and after.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

#include "host/session/hostStatus.h"
#include "host/session/pluginLibrary.h"

namespace halvexctl {

/// A failed call: with a status below 0 or, for functions without a status, with an exception.
class CallFailure : public std::runtime_error {
public:
    CallFailure(std::string function, std::optional<std::int32_t> code, std::string information, bool wasHeldBefore);

    const std::string& function() const noexcept { return function_; }
    std::optional<std::int32_t> code() const noexcept { return code_; }       ///< Empty: an unknown exception.
    const std::string& information() const noexcept { return information_; }  ///< JSON text, or empty.
    /// The status already held the error, so the library did nothing.
    bool wasHeldBefore() const noexcept { return wasHeldBefore_; }

private:
    std::string function_;
    std::optional<std::int32_t> code_;
    std::string information_;
    bool wasHeldBefore_;
};

/// A completed call, for a record.
struct CallReport {
    std::string function, arguments;
    std::string result;  ///< As shown by the echo.
    std::int32_t code = 0;
    std::string information;  ///< JSON text of an error or warning, or empty.
    std::int64_t beganRawNs = 0, endedRawNs = 0;
};

/// Makes the calls. Borrows the library; owns the status. Threads: thread-bound. Failure: CallFailure; a warning stays
/// in the status and does not stop later calls.
class HostCalls {
public:
    using Echo = std::function<void(const std::string& line)>;
    using Listener = std::function<void(const CallReport& report)>;

    HostCalls(const PluginFunctions& functions, Echo echo) : functions_(functions), echo_(std::move(echo)) {}

    std::uint32_t getApiVersion();
    std::string getName();
    bool isSeeded();
    std::int32_t getMinCorrectionPpb();
    std::int32_t getMaxCorrectionPpb();
    void setCorrectionPpb(std::int32_t correctionPpb);
    std::int32_t getCorrectionPpb();
    void snapTime(std::int64_t offsetNs);
    std::uint64_t getTimeNs();
    void applyMetaData(const std::string& document);
    void initialize();
    void finalize();

    /// Reads the time for a measurement of the tool's own, with a separate status. Its error is not lost: the next call
    /// with a status is skipped and fails with it, as it would have without the measurement.
    std::uint64_t measureTimeNs();

    /// Reports each call to `listener` once it returns; measurement loops are not reported unless one fails.
    void listen(Listener listener) { listener_ = std::move(listener); }

    const HostStatus& status() const noexcept { return status_; }
    std::uint64_t count() const noexcept { return count_; }  ///< Calls made so far.
    void clearStatus();

    /// Suppresses reports for a scope; for measurement loops, which report one line.
    class Quiet {
    public:
        explicit Quiet(HostCalls& calls) : calls_(calls), before_(calls.quiet_) { calls_.quiet_ = true; }
        ~Quiet() { calls_.quiet_ = before_; }
        Quiet(const Quiet&) = delete;
        Quiet& operator=(const Quiet&) = delete;

    private:
        HostCalls& calls_;
        bool before_;
    };
    void tell(const std::string& line);

private:
    template <typename Call>
    void callWithStatus(const char* function, const std::string& arguments, Call call);
    template <typename Call>
    void callWithoutStatus(const char* function, Call call);
    void tellResult(const std::string& text);
    void report(const CallReport& report);

    const PluginFunctions& functions_;
    Echo echo_;
    Listener listener_;
    HostStatus status_;
    HostStatus measuringStatus_;
    bool errorIsKept_ = false;  ///< An error of a measurement is pending for the next call.
    bool quiet_ = false;
    std::uint64_t count_ = 0;
};

}  // namespace halvexctl
