// Attribute file contents and directory entry names: the oscillator's offset, name and client directory, the path of a
// driver's node, and the vendor of a network interface.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "fuzz/expectation.h"
#include "fuzz/servedFiles.h"
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

constexpr const char* kInterfaceFile = "interfacePath";
std::string content;    ///< Contents of every file.
std::string entryName;  ///< The only entry of every directory.
bool isEntryRead = false;

struct dirent* readTheEntry(DIR*) {
    static struct dirent entry;
    if (isEntryRead) return nullptr;
    isEntryRead = true;
    entry.d_type = DT_LNK;
    entry.d_name[entryName.copy(entry.d_name, sizeof entry.d_name - 1)] = '\0';
    return &entry;
}

/// Serves the attribute files for a scope.
class Answering {
public:
    Answering() {
        testsupport::LibcHooks& hooks = testsupport::libcHooks();
        hooks.fopen = [](const char* path, const char* mode) {
            static const auto real = reinterpret_cast<FILE* (*)(const char*, const char*)>(dlsym(RTLD_NEXT, "fopen"));
            if (std::string_view(path) != kInterfaceFile) return real(path, mode);
            return fmemopen(content.data(), content.size(), "r");
        };
        hooks.opendir = [](const char*) {
            static const auto real = reinterpret_cast<DIR* (*)(const char*)>(dlsym(RTLD_NEXT, "opendir"));
            isEntryRead = false;
            return real("/");
        };
        hooks.readdir = readTheEntry;
    }

private:
    ServedFiles files_{[](std::string_view path) { return path.starts_with("/sys/") ? &content : nullptr; }};
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
void checkDiscovery() { EXPECT(findUsableI210Interfaces().empty()); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::size_t end =
        std::min(input.find('\0'), input.size());  // an entry's name, a NUL, and the files' contents
    entryName = input.substr(0, std::min<std::size_t>(end, 200));
    content = input.substr(std::min(end + 1, input.size()));
    const Answering answering;
    checkOscillator();
    checkInterfacePath();
    checkDiscovery();
    return 0;
}
