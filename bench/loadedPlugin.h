// The built library, loaded like in a host, and its twelve functions.
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

/// Throws std::runtime_error if the library cannot be loaded or lacks a function. Never unloads it.
Plugin loadPlugin(const char* path);

/// Initialises the library; throws std::runtime_error with its error on failure.
void initializeOrThrow(const Plugin& plugin);

}  // namespace halvexbench
