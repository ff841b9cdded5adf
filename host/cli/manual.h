// The lists of options and verbs in the manual page, made of their table.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

namespace halvexctl {

std::string manualLists();  ///< In mdoc(7), to stand in halvexctl(1). Reentrant.

}  // namespace halvexctl
