// The subject of a sweep: the library itself, or the account of what it must do.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/faults/simulatedController.h"

namespace faults {

/// Each operation journals its visible results at the controller. Threads: one.
class Subject {
public:
    virtual ~Subject() = default;
    virtual void initialize() = 0;
    virtual void finalize() = 0;
    virtual void getTime() = 0;
    virtual void snapTime(std::int64_t offsetNs) = 0;
    virtual void setCorrection(std::int32_t ppb) = 0;
    virtual void getCorrection() = 0;
    virtual void getLimits() = 0;
    virtual void applyMetaData(bool isPtp) = 0;  ///< kPtpDocument, or "{}"; returns once the thread has passed it on.
    virtual void tick() = 0;                     ///< Ends the 2 s: one pass of the monitoring thread, if it runs.
};

/// Selects a PTP reference: offset 250 and UTC offset 37 reach the FPGA.
inline constexpr const char* kPtpDocument =
    R"({"selectedTRInstID":"ptp0","selectedTROffset":"250","TRs":{"ptp0":{"name":"gm","type":"IEEE 1588-2008",)"
    R"("protocolData":{"utcOffset":37}}}})";
inline constexpr std::uint64_t kUntouchedTime = 0xA5A5A5A5A5A5A5A5;
inline constexpr std::int32_t kUntouchedCorrection = 0x5A5A5A5A;

}  // namespace faults
