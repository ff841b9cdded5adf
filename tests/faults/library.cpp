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

/// Makes a call of a host and journals what it sees: the status, and the output if there is one.
template <typename Call, typename Output = int>
std::int32_t make(SimulatedController& controller, const char* name, Call&& call, const Output* output = nullptr) {
    StatusHolder status;
    errno = 0;
    {
        const InsideLibrary inside;
        call(status.get());
    }
    controller.note(reported(name, status) + (output != nullptr ? " " + std::to_string(*output) : ""));
    return status->code;
}

}  // namespace

Library::Library(SimulatedController& controller) : controller_(controller) { answerFrom(&controller); }

Library::~Library() { answerFrom(nullptr); }

void Library::initialize() {
    const auto call = [](zuerr_Status* status) {
        zuqxmtk_initialize(status);
        if (status->code == 0) awaitMonitorIdle();
    };
    isThreadRunning_ = make(controller_, "zuqxmtk_initialize", call) == 0;
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
    std::uint64_t time = kUntouchedTime;
    const auto call = [&](zuerr_Status* status) { zuqxmtk_getTime(&time, status); };
    make(controller_, "zuqxmtk_getTime", call, &time);
}

void Library::getLimits() {
    std::int32_t limit = 0;
    const auto getLowest = [&](zuerr_Status* status) { limit = zuqxmtk_getMinCorrectionPerSecond(status); };
    const auto getHighest = [&](zuerr_Status* status) { limit = zuqxmtk_getMaxCorrectionPerSecond(status); };
    make(controller_, "zuqxmtk_getMinCorrectionPerSecond", getLowest, &limit);
    make(controller_, "zuqxmtk_getMaxCorrectionPerSecond", getHighest, &limit);
}

void Library::getCorrection() {
    std::int32_t correction = kUntouchedCorrection;
    const auto call = [&](zuerr_Status* status) { zuqxmtk_getCorrectionPerSecond(&correction, status); };
    make(controller_, "zuqxmtk_getCorrectionPerSecond", call, &correction);
}

void Library::setCorrection(std::int32_t ppb) {
    const auto call = [=](zuerr_Status* status) { zuqxmtk_setCorrectionPerSecond(ppb, status); };
    make(controller_, "zuqxmtk_setCorrectionPerSecond", call);
}

void Library::snapTime(std::int64_t offsetNs) {
    holdNewThreads();  // so that the host's results precede the alignment's calls in the journal
    make(controller_, "zuqxmtk_snapTime", [=](zuerr_Status* status) { zuqxmtk_snapTime(offsetNs, status); });
    releaseNewThreads();
}

void Library::applyMetaData(bool isPtp) { applyText(isPtp ? kPtpDocument : "{}"); }

void Library::applyText(const char* metadata) {
    holdMonitor();
    make(controller_, "zuqxmtk_applyMetaData", [=](zuerr_Status* status) { zuqxmtk_applyMetaData(metadata, status); });
    if (releaseMonitor()) awaitMonitorIdle();
}

void Library::tick() {
    if (!isThreadRunning_) return;
    endMonitorPeriod();
    awaitMonitorIdle();
}

}  // namespace faults
