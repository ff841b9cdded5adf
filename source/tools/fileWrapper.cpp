// One open attribute file of a kernel driver.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/tools/fileWrapper.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "source/tools/errnoText.h"
#include "zuerr/codes.h"
#include "zuerr/exception.h"

namespace halvexTimekeeper {
namespace {

constexpr zuerr::ErrorSite kOpenFailed{zuerr::zuplaterr_resourceNotFound, "fileWrapper", 20};
constexpr zuerr::ErrorSite kSeekFailed{zuerr::zuplaterr_communicationsFault, "fileWrapper", 44};
constexpr zuerr::ErrorSite kReadFailed{zuerr::zuplaterr_communicationsFault, "fileWrapper", 62};
constexpr zuerr::ErrorSite kWriteFailed{zuerr::zuplaterr_communicationsFault, "fileWrapper", 106};

[[noreturn]] void raiseForFile(const zuerr::ErrorSite& site, const char* whatFailed, const std::string& path,
                               int error) {
    zuerr::raise(site, {whatFailed, path, ". Error: ", ErrnoText(error)});
}

}  // namespace

FileWrapper::FileWrapper(const char* path, std::uint32_t flags) : path_(path) {
    fd_ = ::open(path, static_cast<int>(flags));
    const int error = errno;
    if (fd_ < 0) raiseForFile(kOpenFailed, "Failed to open: ", path_, error);
}

FileWrapper::FileWrapper(const std::string& path, std::uint32_t flags) : FileWrapper(path.c_str(), flags) {}

FileWrapper::~FileWrapper() {
    // Kept on purpose: descriptor 0 is never closed.
    if (fd_ > 0) ::close(fd_);
}

void FileWrapper::raiseReadFailed() const {
    const int error = errno;
    raiseForFile(kReadFailed, "Error reading file: ", path_, error);
}

void FileWrapper::raiseSeekFailed() const {
    const int error = errno;
    raiseForFile(kSeekFailed, "Error resetting offset in file: ", path_, error);
}

void FileWrapper::raiseWriteFailed() const {
    // Kept on purpose: without attempts the error reports whatever errno held before.
    const int error = errno;
    raiseForFile(kWriteFailed, "Error writing file: ", path_, error);
}

}  // namespace halvexTimekeeper
