// Loads a timekeeper library like a host: dlopen and the twelve functions.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <stdexcept>
#include <string>

#include "zuqxmtk.h"

namespace halvexctl {

/// The library cannot be loaded, or lacks a function; the text names both.
class PluginError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The library's twelve functions.
struct PluginFunctions {
    decltype(&zuqxmtk_getAPIVersion) getAPIVersion = nullptr;
    decltype(&zuqxmtk_getName) getName = nullptr;
    decltype(&zuqxmtk_isSeeded) isSeeded = nullptr;
    decltype(&zuqxmtk_getMinCorrectionPerSecond) getMinCorrectionPerSecond = nullptr;
    decltype(&zuqxmtk_getMaxCorrectionPerSecond) getMaxCorrectionPerSecond = nullptr;
    decltype(&zuqxmtk_setCorrectionPerSecond) setCorrectionPerSecond = nullptr;
    decltype(&zuqxmtk_getCorrectionPerSecond) getCorrectionPerSecond = nullptr;
    decltype(&zuqxmtk_snapTime) snapTime = nullptr;
    decltype(&zuqxmtk_getTime) getTime = nullptr;
    decltype(&zuqxmtk_applyMetaData) applyMetaData = nullptr;
    decltype(&zuqxmtk_initialize) initialize = nullptr;
    decltype(&zuqxmtk_finalize) finalize = nullptr;
};

/// One loaded library. Owns the handle and unloads it at the end. Threads: reentrant once made. Failure: PluginError.
class PluginLibrary {
public:
    explicit PluginLibrary(const std::string& path);
    ~PluginLibrary();
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;

    const PluginFunctions& functions() const noexcept { return functions_; }
    const std::string& path() const noexcept { return path_; }

private:
    void* handle_;
    std::string path_;
    PluginFunctions functions_;
};

/// `../lib/libzuHalvexTimekeeper.so` relative to this program's file if it exists, else the bare name, which the loader
/// searches in its path.
std::string defaultPluginPath();

}  // namespace halvexctl
