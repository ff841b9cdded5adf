// Serves files from memory to the code under test.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/support/libcHooks.h"

/// For a scope, every file that is opened has the contents that `contentsOf` gives, or is missing (null). The contents
/// must live as long; one file is open at a time. The fuzzer's own files are opened in other ways.
class ServedFiles {
public:
    explicit ServedFiles(std::function<const std::string*(std::string_view path)> contentsOf)
        : contentsOf_(std::move(contentsOf)) {
        testsupport::LibcHooks& hooks = testsupport::libcHooks();
        hooks.open = [this](const char* path, int, mode_t) {
            open_ = contentsOf_(path);
            position_ = 0;
            errno = open_ == nullptr ? ENOENT : 0;
            return open_ == nullptr ? -1 : kFileDescriptor;
        };
        hooks.read = [this](int fd, void* buffer, size_t length) -> ssize_t {
            if (fd != kFileDescriptor) return syscall(SYS_read, fd, buffer, length);
            const std::size_t count =
                open_->copy(static_cast<char*>(buffer), length, std::min(position_, open_->size()));
            position_ += count;
            return static_cast<ssize_t>(count);
        };
        hooks.lseek = [this](int fd, off_t offset, int whence) -> off_t {
            if (fd != kFileDescriptor) return syscall(SYS_lseek, fd, offset, whence);
            position_ = static_cast<std::size_t>(offset);
            return offset;
        };
        hooks.close = [](int fd) { return fd == kFileDescriptor ? 0 : static_cast<int>(syscall(SYS_close, fd)); };
    }

private:
    static constexpr int kFileDescriptor = 1'000'000;

    testsupport::LibcHooksGuard guard_;
    std::function<const std::string*(std::string_view path)> contentsOf_;
    const std::string* open_ = nullptr;
    std::size_t position_ = 0;
};
