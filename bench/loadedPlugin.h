// The built library, loaded as a host loads it, and its twelve functions.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "include/zuqxmtk.h"

namespace halvexbench {

struct Plugin {
    decltype(&zuqxmtk_getAPIVersion) getAPIVersion;
    decltype(&zuqxmtk_getName) getName;
    decltype(&zuqxmtk_isSeeded) isSeeded;
    decltype(&zuqxmtk_getMinCorrectionPerSecond) getMinCorrectionPerSecond;
    decltype(&zuqxmtk_getMaxCorrectionPerSecond) getMaxCorrectionPerSecond;
    decltype(&zuqxmtk_setCorrectionPerSecond) setCorrectionPerSecond;
    decltype(&zuqxmtk_getCorrectionPerSecond) getCorrectionPerSecond;
    decltype(&zuqxmtk_snapTime) snapTime;
    decltype(&zuqxmtk_getTime) getTime;
    decltype(&zuqxmtk_applyMetaData) applyMetaData;
    decltype(&zuqxmtk_initialize) initialize;
    decltype(&zuqxmtk_finalize) finalize;
};

/// Throws std::runtime_error when the library cannot be loaded or lacks a function. It stays loaded.
Plugin loadPlugin(const char* path);

/// The library's own functions, if it is initialised: throws std::runtime_error with what it reported otherwise.
void initializeOrThrow(const Plugin& plugin);

}  // namespace halvexbench
