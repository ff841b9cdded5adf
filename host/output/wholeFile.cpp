// Files that are read or written as a whole.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/output/wholeFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <string_view>
#include <system_error>
#include <utility>

namespace halvexctl {
namespace {

[[noreturn]] void failFor(const std::string& path, int error) {
    throw std::system_error(error, std::generic_category(), path);
}

/// The error that stopped it; 0: all is written.
int writeAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(fd, text.data(), text.size());
        const int error = errno;
        if (written < 0 && error != EINTR) {
            return error;
        }
        text.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
    return 0;
}

}  // namespace

std::optional<std::string> readFile(const std::string& path, std::size_t largest) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return std::nullopt;
    }
    std::string text;
    std::array<char, 4096> chunk;
    ssize_t count = 0;
    int error = 0;
    do {
        count = ::read(fd, chunk.data(), chunk.size());
        error = count < 0 ? errno : 0;
        text.append(chunk.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    } while ((count > 0 && text.size() < largest) || error == EINTR);
    ::close(fd);
    errno = error;
    return error != 0 ? std::nullopt : std::optional(std::move(text));
}

void replaceFile(const std::string& path, const std::string& text) {
    const std::string aside = fmt::format("{}.{}.new", path, ::getpid());
    const int fd = ::open(aside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        failFor(aside, errno);
    }
    int error = writeAll(fd, text);
    if (::close(fd) != 0 && error == 0) {
        error = errno;
    }
    if (error == 0 && std::rename(aside.c_str(), path.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        ::unlink(aside.c_str());
        failFor(path, error);
    }
}

}  // namespace halvexctl
