// The C library functions behind the shims, looked up on first use.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <dlfcn.h>
#include <sys/types.h>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>

namespace halvexboard {

/// A name as a template argument.
template <std::size_t size>
struct SymbolName {
    char text[size];
    consteval SymbolName(const char (&name)[size]) : text() { std::copy_n(name, size, text); }
};

/// One C library function, as the next object in search order defines it. Constant-initialised and looked up without
/// allocating, because shims are called before any constructor runs. Threads: thread-safe. Failure: an undefined name
/// ends the process, like a missing symbol.
template <typename Function>
class RealCall {
public:
    /// A version is needed where the library keeps an older function of another layout under the same name.
    constexpr RealCall(const char* name, const char* version) noexcept : name_(name), version_(version) {}

    template <typename... Arguments>
    auto operator()(Arguments... arguments) noexcept(false) {
        return address()(arguments...);
    }

    Function* address() noexcept {
        void* found = address_.load(std::memory_order_acquire);
        if (found == nullptr) {
            found = version_[0] != '\0' ? dlvsym(RTLD_NEXT, name_, version_) : dlsym(RTLD_NEXT, name_);
            if (found == nullptr) found = dlsym(RTLD_NEXT, name_);
            if (found == nullptr) __builtin_trap();
            address_.store(found, std::memory_order_release);
        }
        return reinterpret_cast<Function*>(found);
    }

private:
    const char* name_;
    const char* version_;
    std::atomic<void*> address_{nullptr};
};

template <typename Function, SymbolName name, SymbolName version = "">
inline constinit RealCall<Function> realCall{name.text, version.text};

/// Fails as most functions of the C library do.
inline int refuse(int error) noexcept {
    errno = error;
    return -1;
}

}  // namespace halvexboard

/// The C library's own NAME, with the type from its header.
#define REAL(NAME) (halvexboard::realCall<decltype(::NAME), #NAME>)
/// Of a condition variable: the older functions of these names use another layout.
#define REAL_CONDITION(NAME) (halvexboard::realCall<decltype(::NAME), #NAME, "GLIBC_2.3.2">)

/// Marks a function that replaces one of the C library: exported whatever the default visibility.
#define HALVEXBOARD_SHIM extern "C" __attribute__((visibility("default")))

/// NAME, which here does just what OTHER of this file does. Types of 64 bits have two spellings.
#define HALVEXBOARD_TWIN(NAME, OTHER) \
    extern "C" __attribute__((visibility("default"), alias(#OTHER))) decltype(::NAME) NAME
static_assert(sizeof(off_t) == sizeof(off64_t), "one function serves both spellings");
