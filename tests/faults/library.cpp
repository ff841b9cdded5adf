// The library itself as the subject of a sweep.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/faults/library.h"

#include "include/zuqxmtk.h"
#include "tests/faults/interposition.h"
#include "tests/support/statusHolder.h"

namespace faults {
namespace {

using testsupport::StatusHolder;

std::string reported(const char* name, StatusHolder& status) {
    std::string line = std::string(name) + " code " + std::to_string(status->code) + " ";
    if (status->json != nullptr && !testsupport::isBufferLaidOut(*status.get())) line += "(buffer out of shape) ";
    return line + (status->json != nullptr ? status->json : "null");
}

}  // namespace

Library::Library(SimulatedController& controller) : controller_(controller) { answerFrom(&controller); }

Library::~Library() { answerFrom(nullptr); }

void Library::initialize() {
    StatusHolder status;
    errno = 0;
    const std::string line = [&] {
        const InsideLibrary inside;
        zuqxmtk_initialize(status.get());
        if (status->code == 0) awaitMonitorIdle();
        return std::string();
    }();
    isThreadRunning_ = status->code == 0;
    controller_.note(reported("zuqxmtk_initialize", status) + line);
}

void Library::finalize() {
    errno = 0;
    {
        const InsideLibrary inside;
        zuqxmtk_finalize();
    }
    isThreadRunning_ = false;
    controller_.note("zuqxmtk_finalize");
}

void Library::getTime() {
    StatusHolder status;
    std::uint64_t time = kUntouchedTime;
    errno = 0;
    {
        const InsideLibrary inside;
        zuqxmtk_getTime(&time, status.get());
    }
    controller_.note(reported("zuqxmtk_getTime", status) + " " + std::to_string(time));
}

void Library::getLimits() {
    StatusHolder low, high;
    const std::int32_t lowest = zuqxmtk_getMinCorrectionPerSecond(low.get());
    controller_.note(reported("zuqxmtk_getMinCorrectionPerSecond", low) + " " + std::to_string(lowest));
    const std::int32_t highest = zuqxmtk_getMaxCorrectionPerSecond(high.get());
    controller_.note(reported("zuqxmtk_getMaxCorrectionPerSecond", high) + " " + std::to_string(highest));
}

void Library::getCorrection() {
    StatusHolder status;
    std::int32_t correction = kUntouchedCorrection;
    errno = 0;
    {
        const InsideLibrary inside;
        zuqxmtk_getCorrectionPerSecond(&correction, status.get());
    }
    controller_.note(reported("zuqxmtk_getCorrectionPerSecond", status) + " " + std::to_string(correction));
}

void Library::setCorrection(std::int32_t ppb) {
    StatusHolder status;
    errno = 0;
    {
        const InsideLibrary inside;
        zuqxmtk_setCorrectionPerSecond(ppb, status.get());
    }
    controller_.note(reported("zuqxmtk_setCorrectionPerSecond", status));
}

void Library::snapTime(std::int64_t offsetNs) {
    StatusHolder status;
    errno = 0;
    holdNewThreads();  // so that the host's results precede the alignment's calls in the journal
    {
        const InsideLibrary inside;
        zuqxmtk_snapTime(offsetNs, status.get());
    }
    controller_.note(reported("zuqxmtk_snapTime", status));
    releaseNewThreads();
}

void Library::applyMetaData(bool isPtp) { applyText(isPtp ? kPtpDocument : "{}"); }

void Library::applyText(const char* metadata) {
    StatusHolder status;
    errno = 0;
    holdMonitor();
    {
        const InsideLibrary inside;
        zuqxmtk_applyMetaData(metadata, status.get());
    }
    controller_.note(reported("zuqxmtk_applyMetaData", status));
    if (releaseMonitor()) awaitMonitorIdle();
}

void Library::tick() {
    if (!isThreadRunning_) return;
    endMonitorPeriod();
    awaitMonitorIdle();
}

}  // namespace faults
