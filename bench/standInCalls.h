// Maps the stand-in's files and descriptors to the replaced functions.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace halvexbench {

/// Redirects the controller's fixed paths below `root`, which the caller keeps; null: no redirection.
void redirectTo(const char* root);

}  // namespace halvexbench
