// The twelve exported functions; each is one statement, the call frame holds all policy.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <cstring>
#include <string>

#include "include/zuqxmtk.h"
#include "source/zuHalvexTimekeeper/callFrame.h"
#include "source/zuHalvexTimekeeper/pluginLifecycle.h"

using halvexTimekeeper::callFramed;
using halvexTimekeeper::callFramedInto;
using halvexTimekeeper::callReported;
using halvexTimekeeper::TimekeeperInterface;

extern "C" {

std::uint32_t zuqxmtk_getAPIVersion(void) { return 2; }

// Kept on purpose: without a status, the exception of an uninitialised timekeeper leaves the function, here and in
// zuqxmtk_isSeeded. A null name is reported to syslog only.
void zuqxmtk_getName(char* name) { halvexTimekeeper::copyName(halvexTimekeeper::checkInitialized().getName(), name); }

bool zuqxmtk_isSeeded(void) { return halvexTimekeeper::checkInitialized().isSeeded(); }

std::int32_t zuqxmtk_getMinCorrectionPerSecond(zuerr_Status* status) {
    return callFramed("zuqxmtk_getMinCorrectionPerSecond", status,
                      [](TimekeeperInterface& timekeeper) { return timekeeper.getMinCorrectionPerSecond(); });
}

std::int32_t zuqxmtk_getMaxCorrectionPerSecond(zuerr_Status* status) {
    return callFramed("zuqxmtk_getMaxCorrectionPerSecond", status,
                      [](TimekeeperInterface& timekeeper) { return timekeeper.getMaxCorrectionPerSecond(); });
}

void zuqxmtk_setCorrectionPerSecond(std::int32_t correction, zuerr_Status* status) {
    callFramed("zuqxmtk_setCorrectionPerSecond", status,
               [correction](TimekeeperInterface& timekeeper) { timekeeper.setCorrectionPerSecond(correction); });
}

void zuqxmtk_getCorrectionPerSecond(std::int32_t* correction, zuerr_Status* status) {
    callFramedInto("zuqxmtk_getCorrectionPerSecond", correction, status,
                   [](TimekeeperInterface& timekeeper) { return timekeeper.getCorrectionPerSecond(); });
}

void zuqxmtk_snapTime(std::int64_t offset, zuerr_Status* status) {
    callFramed("zuqxmtk_snapTime", status, [offset](TimekeeperInterface& timekeeper) { timekeeper.snapTime(offset); });
}

void zuqxmtk_getTime(QxmTimestamp* time, zuerr_Status* status) {
    callFramedInto("zuqxmtk_getTime", time, status,
                   [](TimekeeperInterface& timekeeper) { return timekeeper.getTime(); });
}

void zuqxmtk_applyMetaData(const char* metadata, zuerr_Status* status) {
    callFramed("zuqxmtk_applyMetaData", status, [metadata](TimekeeperInterface& timekeeper) {
        halvexTimekeeper::applyMetaDataAndWake(timekeeper, metadata);
    });
}

void zuqxmtk_initialize(zuerr_Status* status) {
    callReported("zuqxmtk_initialize", status, halvexTimekeeper::initializeTimekeeper);
}

void zuqxmtk_finalize(void) { halvexTimekeeper::finalizeTimekeeper(); }

}  // extern "C"
