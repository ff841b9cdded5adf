// The functions of the C library behind the shims, looked up when first needed.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <dlfcn.h>
#include <atomic>

namespace halvexboard {

/// One function of the C library as the next object in search order defines it. Constant-initialised and looked up
/// without allocating, because shims are called before any constructor ran. Threads: thread-safe. Failure: a name that
/// nothing defines ends the process, as a missing symbol would.
template <typename Function>
class RealCall {
public:
    /// `version` is given where the library keeps an older function of another layout under the same name.
    constexpr explicit RealCall(const char* name, const char* version = nullptr) noexcept
        : name_(name), version_(version) {}

    template <typename... Arguments>
    auto operator()(Arguments... arguments) noexcept(false) {
        return address()(arguments...);
    }

    Function* address() noexcept {
        void* found = address_.load(std::memory_order_acquire);
        if (found == nullptr) {
            found = version_ != nullptr ? dlvsym(RTLD_NEXT, name_, version_) : dlsym(RTLD_NEXT, name_);
            if (found == nullptr) found = dlsym(RTLD_NEXT, name_);
            if (found == nullptr) __builtin_trap();
            address_.store(found, std::memory_order_release);
        }
        return reinterpret_cast<Function*>(found);
    }

    bool exists() noexcept { return dlsym(RTLD_NEXT, name_) != nullptr; }

private:
    const char* name_;
    const char* version_;
    std::atomic<void*> address_{nullptr};
};

}  // namespace halvexboard

/// Declares the C library's own NAME as `real_NAME`, of the type its header gives it.
#define HALVEXBOARD_REAL(NAME) \
    inline constinit halvexboard::RealCall<decltype(::NAME)> real_##NAME { #NAME }

/// Marks a function that stands in for one of the C library: seen by the dynamic linker whatever the default
/// visibility.
#define HALVEXBOARD_SHIM extern "C" __attribute__((visibility("default")))
