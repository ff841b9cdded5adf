// How the stand-in's files and descriptors reach the functions that it replaces.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace halvexbench {

/// Where the fixed paths of the controller are found from now on; null: where they are. `root` stays with the caller.
void redirectTo(const char* root);

}  // namespace halvexbench
