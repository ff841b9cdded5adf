// The twelve calls of this host: all share one status, and each is reported before and after.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/session/hostCalls.h"

#include <fmt/format.h>

#include <array>
#include <utility>

#include "host/clocks/rawClock.h"
#include "host/errors/information.h"
#include "host/output/units.h"

namespace halvexctl {
namespace {

// The name function has no length argument; this is more than any timekeeper's name needs.
constexpr std::size_t kNameBytes = 4096;

std::string failureText(const std::string& function, std::optional<std::int32_t> code, const std::string& information) {
    const char* kind = code ? "failed" : "threw";
    return fmt::format("{} {}: {}", function, kind, describeError(code, information));
}

}  // namespace

CallFailure::CallFailure(std::string function, std::optional<std::int32_t> code, std::string information,
                         bool wasHeldBefore)
    : std::runtime_error(failureText(function, code, information)),
      function_(std::move(function)),
      code_(code),
      information_(std::move(information)),
      wasHeldBefore_(wasHeldBefore) {}

void HostCalls::tell(const std::string& line) {
    if (echo_ && !quiet_) {
        echo_(line);
    }
}

void HostCalls::report(const CallReport& made) {
    if (listener_ && (!quiet_ || made.code < 0)) {
        CallReport over = made;
        over.endedRawNs = rawTimeNs();
        listener_(over);
    }
}

void HostCalls::tellResult(const std::string& text) { tell("<- " + text); }

template <typename Call>
void HostCalls::callWithStatus(const char* function, const std::string& arguments, Call call) {
    tell(fmt::format("-> {}({})", function, arguments));
    ++count_;
    CallReport made{function, arguments, "", 0, "", listener_ ? rawTimeNs() : 0, 0};
    const bool isHandedOn = std::exchange(errorIsKept_, false);
    const std::int32_t codeBefore = isHandedOn ? 0 : status_.code();
    const std::string result = isHandedOn ? std::string() : call(status_.get());
    made.code = status_.code();
    made.information = made.code == 0 ? std::string() : status_.information();
    const bool heldBefore = codeBefore < 0;
    const bool warnsAnew = made.code > 0 && codeBefore == 0;
    made.result = heldBefore      ? fmt::format("nothing done: the status already holds {}", made.code)
                  : made.code < 0 ? fmt::format("FAIL({},{})", made.code, made.information)
                  : warnsAnew     ? fmt::format("WARN({},{}) {}", made.code, made.information, result)
                                  : result;
    tellResult(made.result);
    report(made);
    if (made.code < 0) {
        throw CallFailure(function, made.code, made.information, heldBefore);
    }
}

template <typename Call>
void HostCalls::callWithoutStatus(const char* function, Call call) {
    tell(fmt::format("-> {}()", function));
    ++count_;
    CallReport made{function, "", "", 0, "", listener_ ? rawTimeNs() : 0, 0};
    try {
        made.result = call();
    } catch (const std::exception& exception) {
        made.information = exception.what();
        made.result = fmt::format("exception {}", made.information);
        const std::optional<std::int32_t> code = codeInInformation(made.information);
        made.code = code.value_or(-1);
        tellResult(made.result);
        report(made);
        throw CallFailure(function, code, made.information, false);
    }
    tellResult(made.result);
    report(made);
}

std::uint32_t HostCalls::getApiVersion() {
    std::uint32_t version = 0;
    callWithoutStatus("zuqxmtk_getAPIVersion", [&] {
        version = functions_.getAPIVersion();
        return fmt::format("{}", version);
    });
    return version;
}

std::string HostCalls::getName() {
    std::array<char, kNameBytes> name{};
    callWithoutStatus("zuqxmtk_getName", [&] {
        functions_.getName(name.data());
        return fmt::format("\"{}\"", name.data());
    });
    return name.data();
}

bool HostCalls::isSeeded() {
    bool seeded = false;
    callWithoutStatus("zuqxmtk_isSeeded", [&] {
        seeded = functions_.isSeeded();
        return fmt::format("{}", seeded);
    });
    return seeded;
}

std::int32_t HostCalls::getMinCorrectionPpb() {
    std::int32_t correctionPpb = 0;
    callWithStatus("zuqxmtk_getMinCorrectionPerSecond", "", [&](zuerr_Status* status) {
        correctionPpb = functions_.getMinCorrectionPerSecond(status);
        return fmt::format("{} ppb", correctionPpb);
    });
    return correctionPpb;
}

std::int32_t HostCalls::getMaxCorrectionPpb() {
    std::int32_t correctionPpb = 0;
    callWithStatus("zuqxmtk_getMaxCorrectionPerSecond", "", [&](zuerr_Status* status) {
        correctionPpb = functions_.getMaxCorrectionPerSecond(status);
        return fmt::format("{} ppb", correctionPpb);
    });
    return correctionPpb;
}

void HostCalls::setCorrectionPpb(std::int32_t correctionPpb) {
    callWithStatus("zuqxmtk_setCorrectionPerSecond", fmt::format("{:+} ppb", correctionPpb), [&](zuerr_Status* status) {
        functions_.setCorrectionPerSecond(correctionPpb, status);
        return std::string("done");
    });
}

std::int32_t HostCalls::getCorrectionPpb() {
    std::int32_t correctionPpb = 0;
    callWithStatus("zuqxmtk_getCorrectionPerSecond", "", [&](zuerr_Status* status) {
        functions_.getCorrectionPerSecond(&correctionPpb, status);
        return fmt::format("{} ppb", correctionPpb);
    });
    return correctionPpb;
}

void HostCalls::snapTime(std::int64_t offsetNs) {
    callWithStatus("zuqxmtk_snapTime", fmt::format("{:+} ns", offsetNs), [&](zuerr_Status* status) {
        functions_.snapTime(offsetNs, status);
        return std::string("done");
    });
}

std::uint64_t HostCalls::getTimeNs() {
    QxmTimestamp timeNs = 0;
    callWithStatus("zuqxmtk_getTime", "", [&](zuerr_Status* status) {
        functions_.getTime(&timeNs, status);
        return fmt::format("{} ns", timeNs);
    });
    return timeNs;
}

std::uint64_t HostCalls::measureTimeNs() {
    QxmTimestamp timeNs = 0;
    functions_.getTime(&timeNs, measuringStatus_.get());
    const std::int32_t code = measuringStatus_.code();
    if (code >= 0) {
        return timeNs;
    }
    const std::string information = measuringStatus_.information();
    if (status_.code() >= 0) {
        status_.swap(measuringStatus_);
        errorIsKept_ = true;
        tell(fmt::format("-- a measurement failed with FAIL({},{}); the next call will fail with it", code,
                         information));
    }
    measuringStatus_.clear();
    throw CallFailure("zuqxmtk_getTime", code, information, false);
}

void HostCalls::applyMetaData(const std::string& document) {
    callWithStatus("zuqxmtk_applyMetaData", fmt::format("{} bytes", document.size()), [&](zuerr_Status* status) {
        functions_.applyMetaData(document.c_str(), status);
        return std::string("done");
    });
}

void HostCalls::initialize() {
    callWithStatus("zuqxmtk_initialize", "", [&](zuerr_Status* status) {
        functions_.initialize(status);
        return std::string("done");
    });
}

void HostCalls::finalize() {
    callWithoutStatus("zuqxmtk_finalize", [&] {
        functions_.finalize();
        return std::string("done");
    });
}

void HostCalls::clearStatus() {
    tell(fmt::format("-- the host resets its status, which held {}", status_.code()));
    status_.clear();
    errorIsKept_ = false;
}

}  // namespace halvexctl
