// Attribute file contents and directory entry names: the oscillator's offset, name and client directory, the path of a
// driver's node, and the vendor of a network interface.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

#include "fuzz/expectation.h"
#include "source/tools/linuxFunctionHelpers.h"
#include "source/zuHalvexTimekeeper/i210EpochDeviceFactory.h"
#include "source/zuHalvexTimekeeper/si514FreqSteeringDevice.h"
#include "zuerr/exception.h"
#include "zuplat/protons/enumeration/linuxU/linuxDevEnumHelper.h"

namespace {

using namespace halvexTimekeeper;
using nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PathBuffer;
using nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PlatStatus;
using nHALVEXTIMEKEEPER_18_1::nZUPLAT000::readInterfaceFile;

constexpr int kFileDescriptor = 1'000'000;
constexpr const char* kInterfaceFile = "interfacePath";
bool isAnswering = false;
std::string content;       ///< Contents of every file while the target answers.
std::string entryName;     ///< The only entry of every directory.
std::size_t position = 0;  ///< Position in the open file.
bool isEntryRead = false;
char theDirectory;
char theStream;

/// Serves the attribute files for a scope.
struct Answering {
    Answering() { isAnswering = true; }
    ~Answering() { isAnswering = false; }
};

/// A client's entry name: strtol's number, a hyphen, strtol's hexadecimal number.
bool isClient(const std::string& name) {
    const char* at = name.c_str();
    char* end = nullptr;
    const long bus = strtol(at, &end, 10);
    if (*end != '-') return false;
    const long address = strtol(end + 1, &end, 16);
    return *end == '\0' && bus >= 0 && address >= 0;
}

void checkOscillator() {
    const Answering answering;
    try {
        Si514FreqSteeringDevice device(62000, -62000);
        EXPECT(isClient(entryName));
        EXPECT(device.getName() == std::string(content.substr(0, 128).c_str()));
        const std::string text(content.substr(0, 32).c_str());
        char* end = nullptr;
        errno = 0;
        const double value = std::strtod(text.c_str(), &end);
        const bool isOutOfRange = errno == ERANGE;
        const double rounded = std::round(value);
        try {
            const std::int32_t ppb = device.getCorrectionPerSecond();
            EXPECT(end != text.c_str() && !isOutOfRange);
            EXPECT(static_cast<double>(ppb) == rounded);
        } catch (const std::invalid_argument&) {
            EXPECT(end == text.c_str());
        } catch (const std::out_of_range&) {
            EXPECT(isOutOfRange || !(rounded >= -2147483648.0 && rounded <= 2147483647.0));
        }
    } catch (const zuerr::Exception& error) {
        EXPECT(error.getCode() == -52006);
        EXPECT(!isClient(entryName));
    }
}

void checkInterfacePath() {
    const Answering answering;
    PathBuffer buffer;
    const PathBuffer before = buffer;
    PlatStatus status;
    readInterfaceFile(kInterfaceFile, &buffer, &status);
    if (content.size() > 255) {
        EXPECT(status.code == -52019);
        EXPECT(buffer.length == before.length);
    } else {
        EXPECT(status.code == 0);
        EXPECT(buffer.length == content.size() + 1);
        EXPECT(std::memcmp(buffer.text, content.c_str(), content.size() + 1) == 0);
    }
}

/// Vendor and device file have the same contents here, which cannot match both: discovery finds nothing, without an
/// error.
void checkDiscovery() {
    const Answering answering;
    EXPECT(findUsableI210Interfaces().empty());
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
    if (!isAnswering || !std::string_view(path).starts_with("/sys/")) {
        return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, 0644));
    }
    position = 0;
    return kFileDescriptor;
}

int __open_2(const char* path, int flags) { return open(path, flags); }

ssize_t read(int fd, void* buffer, size_t length) {
    if (fd != kFileDescriptor) return syscall(SYS_read, fd, buffer, length);
    const std::size_t count = std::min(length, content.size() - std::min(position, content.size()));
    if (count > 0) std::memcpy(buffer, content.data() + position, count);
    position += count;
    return static_cast<ssize_t>(count);
}

ssize_t __read_chk(int fd, void* buffer, size_t length, size_t) { return read(fd, buffer, length); }

off_t lseek(int fd, off_t offset, int whence) noexcept {
    if (fd != kFileDescriptor) return syscall(SYS_lseek, fd, offset, whence);
    position = static_cast<std::size_t>(offset);
    return offset;
}

int close(int fd) { return fd == kFileDescriptor ? 0 : static_cast<int>(syscall(SYS_close, fd)); }

FILE* fopen(const char* path, const char* mode) {
    static const auto real = reinterpret_cast<FILE* (*)(const char*, const char*)>(dlsym(RTLD_NEXT, "fopen"));
    if (!isAnswering || std::string_view(path) != kInterfaceFile)
        return real(path, mode);  // lets the fuzzer save its findings
    position = 0;
    return reinterpret_cast<FILE*>(&theStream);
}

size_t fread(void* buffer, size_t size, size_t count, FILE* stream) {
    static const auto real = reinterpret_cast<size_t (*)(void*, size_t, size_t, FILE*)>(dlsym(RTLD_NEXT, "fread"));
    if (stream != reinterpret_cast<FILE*>(&theStream)) return real(buffer, size, count, stream);
    return static_cast<size_t>(read(kFileDescriptor, buffer, size * count)) / size;
}

size_t __fread_chk(void* buffer, size_t, size_t size, size_t count, FILE* stream) {
    return fread(buffer, size, count, stream);
}

int ferror(FILE* stream) noexcept {
    static const auto real = reinterpret_cast<int (*)(FILE*)>(dlsym(RTLD_NEXT, "ferror"));
    return stream == reinterpret_cast<FILE*>(&theStream) ? 0 : real(stream);
}

int fclose(FILE* stream) {
    static const auto real = reinterpret_cast<int (*)(FILE*)>(dlsym(RTLD_NEXT, "fclose"));
    return stream == reinterpret_cast<FILE*>(&theStream) ? 0 : real(stream);
}

DIR* opendir(const char* path) {
    static const auto real = reinterpret_cast<DIR* (*)(const char*)>(dlsym(RTLD_NEXT, "opendir"));
    if (!isAnswering || !std::string_view(path).starts_with("/sys/")) return real(path);
    isEntryRead = false;
    return reinterpret_cast<DIR*>(&theDirectory);
}

struct dirent* readdir(DIR* directory) {
    static const auto real = reinterpret_cast<struct dirent* (*)(DIR*)>(dlsym(RTLD_NEXT, "readdir"));
    if (directory != reinterpret_cast<DIR*>(&theDirectory)) return real(directory);
    static struct dirent entry;
    if (isEntryRead) return nullptr;
    isEntryRead = true;
    entry.d_type = DT_LNK;
    entry.d_name[entryName.copy(entry.d_name, sizeof entry.d_name - 1)] = '\0';
    return &entry;
}

int closedir(DIR* directory) {
    static const auto real = reinterpret_cast<int (*)(DIR*)>(dlsym(RTLD_NEXT, "closedir"));
    return directory == reinterpret_cast<DIR*>(&theDirectory) ? 0 : real(directory);
}

void syslog(int, const char*, ...) {}
void __syslog_chk(int, int, const char*, ...) {}

}  // extern "C"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::size_t end =
        std::min(input.find('\0'), input.size());  // an entry's name, a NUL, and the files' contents
    entryName = input.substr(0, std::min<std::size_t>(end, 200));
    content = input.substr(std::min(end + 1, input.size()));
    checkOscillator();
    checkInterfacePath();
    checkDiscovery();
    return 0;
}
