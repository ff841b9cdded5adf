// Reports to the service manager that started this program.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

namespace halvexctl {

/// Sends assignments such as "READY=1", one a line, as sd_notify(3) describes; without NOTIFY_SOCKET nothing.
/// Failure: std::system_error.
void notifyServiceManager(const std::string& assignments);

}  // namespace halvexctl
