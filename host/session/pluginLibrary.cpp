// Loads a timekeeper library like a host: dlopen and the twelve functions.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/session/pluginLibrary.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <filesystem>
#include <system_error>

namespace halvexctl {
namespace {

constexpr const char* kFileName = "libzuHalvexTimekeeper.so";

template <typename Function>
void find(void* handle, const std::string& path, const char* name, Function& function) {
    function = reinterpret_cast<Function>(::dlsym(handle, name));
    if (function == nullptr) {
        throw PluginError(fmt::format("{} is not a timekeeper: it lacks {}", path, name));
    }
}

PluginFunctions findAll(void* handle, const std::string& path) {
    PluginFunctions functions;
    find(handle, path, "zuqxmtk_getAPIVersion", functions.getAPIVersion);
    find(handle, path, "zuqxmtk_getName", functions.getName);
    find(handle, path, "zuqxmtk_isSeeded", functions.isSeeded);
    find(handle, path, "zuqxmtk_getMinCorrectionPerSecond", functions.getMinCorrectionPerSecond);
    find(handle, path, "zuqxmtk_getMaxCorrectionPerSecond", functions.getMaxCorrectionPerSecond);
    find(handle, path, "zuqxmtk_setCorrectionPerSecond", functions.setCorrectionPerSecond);
    find(handle, path, "zuqxmtk_getCorrectionPerSecond", functions.getCorrectionPerSecond);
    find(handle, path, "zuqxmtk_snapTime", functions.snapTime);
    find(handle, path, "zuqxmtk_getTime", functions.getTime);
    find(handle, path, "zuqxmtk_applyMetaData", functions.applyMetaData);
    find(handle, path, "zuqxmtk_initialize", functions.initialize);
    find(handle, path, "zuqxmtk_finalize", functions.finalize);
    return functions;
}

}  // namespace

PluginLibrary::PluginLibrary(const std::string& path)
    : handle_(::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)), path_(path) {
    if (handle_ == nullptr) {
        const char* reason = ::dlerror();
        throw PluginError(fmt::format("cannot load {}: {}", path, reason == nullptr ? "unknown reason" : reason));
    }
    try {
        functions_ = findAll(handle_, path_);
    } catch (...) {
        ::dlclose(handle_);
        throw;
    }
}

PluginLibrary::~PluginLibrary() { ::dlclose(handle_); }

std::string defaultPluginPath() {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error) {
        const std::filesystem::path beside = program.parent_path().parent_path() / "lib" / kFileName;
        if (std::filesystem::exists(beside, error)) {
            return beside.string();
        }
    }
    return kFileName;
}

}  // namespace halvexctl
