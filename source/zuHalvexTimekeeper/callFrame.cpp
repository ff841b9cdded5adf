// The frame around every exported call: checks the status, reports exceptions.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/callFrame.h"

#include <syslog.h>

#include "source/tools/cancellationDisabled.h"
#include "zuerr/codes.h"
#include "zuerr/status.h"
#include "zuerr/tools/exception_errStatus.h"

namespace halvexTimekeeper {
namespace {

constexpr zuerr::ErrorSite kNoOutput{zuerr::zuplaterr_invalidParameter, "halvexTimekeeperPlugin", 168};

}  // namespace

void reportCurrentException(const char* exportName, zuerr_Status& status) noexcept {
    const CancellationDisabled cancellationDisabled;  // syslog and the host's reallocJson may be cancellation points
    zuerr::setStatusFromCurrentException(status);
    syslog(LOG_ERR, "Encountered error in %s: %s(%i,%s)", exportName, zuerr::severityWord(status.code), status.code,
           zuerr::jsonOrNull(status));
}

void throwNoOutput() { raise(kNoOutput, {"The output pointer is null."}); }

void copyName(const std::string& name, char* destination) {
    callReported("zuqxmtk_getName", nullptr, [&name, destination] {
        if (destination == nullptr) throwNoOutput();
        name.copy(destination, name.size());
        destination[name.size()] = '\0';
    });
}

}  // namespace halvexTimekeeper
