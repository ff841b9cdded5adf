// Converts a platform status into an exception.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/tools/platStatusException.h"

#include <exception>

#include "zuerr/status.h"

namespace halvexTimekeeper {

using nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PlatStatus;

void throwIfPlatformFailed(const PlatStatus& platStatus) {
    if (!platStatus.hasError() || std::uncaught_exceptions() > 0) return;

    zuerr_Status status = zuerr::makeStatus();
    if (zuerr_setCode(&status, static_cast<std::int32_t>(platStatus.code)) && platStatus.isFullSize()) {
        zuerr::ErrorInformation information(status);
        zuerr::addSite(information, nullptr, platStatus.file, static_cast<std::uint32_t>(platStatus.line),
                       platStatus.component);
    }
    throw zuerr::Exception(status);
}

void raiseDriverError(const PlatStatus& platStatus, const DriverCallSite& site, std::string_view message) {
    // Kept on purpose: the code has no name here; the expression that yields it stands in its place.
    zuerr::raise({static_cast<std::int32_t>(platStatus.code), site.file, site.line}, "status.getCode()", {message});
}

}  // namespace halvexTimekeeper
