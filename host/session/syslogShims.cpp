// The program's own syslog(3): what the loaded library logs passes here on its way to the real one.
//
// A program's symbols come before those of every library, so the library's calls arrive here without being changed. The
// line is passed on as it is; only while a session is recorded is it kept as well.
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
    // POSIX's way from an object pointer to a function.
    *reinterpret_cast<void**>(&next) = ::dlsym(RTLD_NEXT, "vsyslog");
    return next;
}

const WriteLine nextWriteLine = findNext();

void passOn(int priority, const char* format, va_list arguments) noexcept {
    const int error = errno;  // %m is that of the caller
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

// What fortified programs call in their place: the C library's own names.
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
