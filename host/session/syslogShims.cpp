// Replaces syslog(3) in the program: the loaded library's log lines pass through here to the real one.
//
// A program's symbols precede those of every library, so the unmodified library calls these. Lines are forwarded
// unchanged; while a session is recorded they are recorded as well.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <dlfcn.h>
#include <syslog.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "host/record/logLines.h"

namespace {

constexpr std::size_t kLongestLine = 4096;

using WriteLine = void (*)(int priority, const char* format, va_list arguments);

WriteLine findNext() noexcept {
    WriteLine next = nullptr;
    // POSIX's way of converting an object pointer to a function pointer.
    *reinterpret_cast<void**>(&next) = ::dlsym(RTLD_NEXT, "vsyslog");
    return next;
}

const WriteLine nextWriteLine = findNext();

void passOn(int priority, const char* format, va_list arguments) noexcept {
    const int error = errno;  // %m formats the caller's errno
    if (halvexctl::areLogLinesKept()) {
        std::array<char, kLongestLine> line{};
        va_list again;
        va_copy(again, arguments);
        std::vsnprintf(line.data(), line.size(), format, again);
        va_end(again);
        halvexctl::keepLogLine(priority, line.data());
        errno = error;
    }
    if (nextWriteLine != nullptr) {
        nextWriteLine(priority, format, arguments);
    }
    errno = error;
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

void vsyslog(int priority, const char* format, va_list arguments) { passOn(priority, format, arguments); }

void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    passOn(priority, format, arguments);
    va_end(arguments);
}

// Called by fortified programs instead; the C library's own names.
// NOLINTBEGIN(bugprone-reserved-identifier)
void __syslog_chk(int priority, int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    passOn(priority, format, arguments);
    va_end(arguments);
}

void __vsyslog_chk(int priority, int, const char* format, va_list arguments) { passOn(priority, format, arguments); }
// NOLINTEND(bugprone-reserved-identifier)
}
#pragma GCC visibility pop
