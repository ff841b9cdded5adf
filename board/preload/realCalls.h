// The C library functions behind the shims, looked up on first use.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <dlfcn.h>
#include <atomic>

namespace halvexboard {

/// One C library function, as the next object in search order defines it. Constant-initialised and looked up without
/// allocating, because shims are called before any constructor runs. Threads: thread-safe. Failure: an undefined name
/// ends the process, like a missing symbol.
template <typename Function>
class RealCall {
public:
    /// `version` is needed where the library keeps an older function of another layout under the same name.
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

/// Declares the C library's own NAME as `real_NAME`, with the type from its header.
#define HALVEXBOARD_REAL(NAME) \
    inline constinit halvexboard::RealCall<decltype(::NAME)> real_##NAME { #NAME }

/// Marks a function that replaces one of the C library: exported whatever the default visibility.
#define HALVEXBOARD_SHIM extern "C" __attribute__((visibility("default")))
