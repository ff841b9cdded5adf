// The built library, loaded like in a host, and its twelve functions.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "bench/loadedPlugin.h"

#include <dlfcn.h>

#include <stdexcept>
#include <string>

#include "zuerr/status.h"

namespace halvexbench {
namespace {

template <typename Function>
void find(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (function == nullptr) throw std::runtime_error(std::string("halvexbench: the library lacks ") + name);
}

}  // namespace

Plugin loadPlugin(const char* path) {
    void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) throw std::runtime_error(std::string("halvexbench: ") + dlerror());
    Plugin plugin;
    find(library, "zuqxmtk_getAPIVersion", plugin.getAPIVersion);
    find(library, "zuqxmtk_getName", plugin.getName);
    find(library, "zuqxmtk_isSeeded", plugin.isSeeded);
    find(library, "zuqxmtk_getMinCorrectionPerSecond", plugin.getMinCorrectionPerSecond);
    find(library, "zuqxmtk_getMaxCorrectionPerSecond", plugin.getMaxCorrectionPerSecond);
    find(library, "zuqxmtk_setCorrectionPerSecond", plugin.setCorrectionPerSecond);
    find(library, "zuqxmtk_getCorrectionPerSecond", plugin.getCorrectionPerSecond);
    find(library, "zuqxmtk_snapTime", plugin.snapTime);
    find(library, "zuqxmtk_getTime", plugin.getTime);
    find(library, "zuqxmtk_applyMetaData", plugin.applyMetaData);
    find(library, "zuqxmtk_initialize", plugin.initialize);
    find(library, "zuqxmtk_finalize", plugin.finalize);
    return plugin;
}

void initializeOrThrow(const Plugin& plugin) {
    zuerr_Status status = zuerr::makeStatus();
    plugin.initialize(&status);
    if (status.code < 0) throw std::runtime_error(std::string("halvexbench: ") + zuerr::jsonOrNull(status));
}

}  // namespace halvexbench
