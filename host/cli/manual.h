// Lists of options and verbs for the manual page, generated from their table.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

namespace halvexctl {

std::string manualLists();  ///< In mdoc(7), for halvexctl(1). Reentrant.

}  // namespace halvexctl
