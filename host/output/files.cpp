// Reads and writes all user files.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/output/files.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

namespace halvexctl {
namespace {

constexpr mode_t kNewFileMode = 0666;  ///< Minus the umask.

[[noreturn]] void failFor(const std::string& path, int error) {
    throw std::system_error(error, std::generic_category(), fmt::format("cannot write {}", path));
}

/// Returns 0 if everything was written, else the error.
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

/// Returns 0 or the error. Ignores files that cannot be synced.
int sync(int fd) {
    const int error = ::fsync(fd) == 0 ? 0 : errno;
    return error == EINVAL || error == EROFS ? 0 : error;
}

/// The file that `path` leads to, so that symbolic links survive.
std::string behindLinks(const std::string& path) {
    std::error_code error;
    std::string target = std::filesystem::canonical(path, error).string();
    if (!error) {
        return target;
    }
    if (error != std::errc::no_such_file_or_directory || std::filesystem::is_symlink(path)) {
        failFor(path, error.value());
    }
    return path;
}

/// The mode for the new file; empty if there is no old file. Throws if the old one must not be replaced.
std::optional<mode_t> modeOfReplaceable(const std::string& path, Replaceable replaceable) {
    struct stat old {};
    if (::stat(path.c_str(), &old) != 0) {
        return std::nullopt;
    }
    const bool isFile = S_ISREG(old.st_mode);
    const std::optional<std::string> text = isFile ? readFile(path, replaceable.beginning.size()) : std::string();
    if (!text) {
        failFor(path, errno);
    }
    if (!isFile || !(text->empty() || text->starts_with(replaceable.beginning))) {
        throw std::runtime_error(fmt::format("{} is not {} and stays as it is", path, replaceable.name));
    }
    return old.st_mode & ALLPERMS;
}

/// Returns 0 or the error.
int writeNew(const std::string& path, std::string_view text, std::optional<mode_t> mode) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kNewFileMode);
    if (fd < 0) {
        return errno;
    }
    int error = mode && ::fchmod(fd, *mode) != 0 ? errno : writeAll(fd, text);
    if (error == 0) {
        error = sync(fd);
    }
    if (::close(fd) != 0 && error == 0) {
        error = errno;
    }
    return error;
}

}  // namespace

std::optional<std::string> readFile(const std::string& path, std::size_t largest) {
    const int fd = path == "-" ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0) : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
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

void replaceFile(const std::string& path, std::string_view text, Replaceable replaceable) {
    const std::string target = behindLinks(path);
    const std::optional<mode_t> mode = modeOfReplaceable(target, replaceable);
    const std::string aside = fmt::format("{}.{}.new", target, ::getpid());
    ::unlink(aside.c_str());  // left by a killed process with this pid
    int error = writeNew(aside, text, mode);
    if (error == 0 && std::rename(aside.c_str(), target.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        ::unlink(aside.c_str());
        failFor(path, error);
    }
}

AppendedFile::AppendedFile(const std::string& path, Replaceable kind)
    : path_(path), fd_(::open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, kNewFileMode)) {
    if (fd_ < 0) {
        failFor(path, errno);
    }
    try {
        continueBehind(kind);
    } catch (...) {
        ::close(fd_);
        throw;
    }
}

void AppendedFile::continueBehind(Replaceable kind) {
    struct stat old {};
    if (::fstat(fd_, &old) != 0 || !S_ISREG(old.st_mode) || old.st_size == 0) {
        return;
    }
    std::string beginning(kind.beginning.size(), '\0');
    char last = 0;
    const ssize_t count = ::pread(fd_, beginning.data(), beginning.size(), 0);
    if (count < 0 || ::pread(fd_, &last, 1, old.st_size - 1) < 0) {
        failFor(path_, errno);
    }
    beginning.resize(static_cast<std::size_t>(count));
    if (!kind.beginning.starts_with(beginning)) {
        throw std::runtime_error(fmt::format("{} is not {} and stays as it is", path_, kind.name));
    }
    if (last != '\n') {
        add("\n");
    }
}

AppendedFile::~AppendedFile() { ::close(fd_); }

void AppendedFile::add(std::string_view text) {
    if (const int error = writeAll(fd_, text); error != 0) {
        failFor(path_, error);
    }
}

void AppendedFile::finish() {
    if (const int error = sync(fd_); error != 0) {
        failFor(path_, error);
    }
}

}  // namespace halvexctl
