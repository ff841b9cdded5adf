// The Si514 oscillator, steered through the attributes of its kernel driver.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/si514FreqSteeringDevice.h"

#include <dirent.h>
#include <fcntl.h>
#include <locale.h>
#include <stdlib.h>
#include <syslog.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string_view>

#include "source/tools/decimalText.h"
#include "source/tools/errnoText.h"
#include "zuerr/codes.h"
#include "zuerr/exception.h"

namespace halvexTimekeeper {
namespace {

constexpr zuerr::ErrorSite kOutOfRange{zuerr::zuplaterr_invalidParameter, "si514FreqSteeringDevice", 77};
constexpr zuerr::ErrorSite kNoDirectory{zuerr::zuplaterr_resourceNotFound, "si514FreqSteeringDevice", 102};
constexpr zuerr::ErrorSite kNoClient{zuerr::zuplaterr_resourceNotFound, "si514FreqSteeringDevice", 140};

constexpr const char* kDriverDirectory = "/sys/bus/i2c/drivers/si514";
constexpr std::size_t kNameCapacity = 128;
constexpr std::size_t kOffsetTextCapacity = 32;
constexpr std::uint32_t kWriteAttempts = 5;

/// Numbers in attributes use a decimal point in any locale of the host. Made at load, never freed.
const locale_t kCLocale = newlocale(LC_ALL_MASK, "C", nullptr);

using Directory = std::unique_ptr<DIR, decltype([](DIR* directory) { closedir(directory); })>;

/// An I2C client as named by its directory entry: "bus-address", decimal and hexadecimal.
struct I2cClient {
    bool isClient;
    long bus;
    long address;
};

// Kept on purpose: strtol decides, so "-" alone, signs and leading blanks also name clients.
I2cClient parseClient(const char* entryName) noexcept {
    char* end = nullptr;
    const long bus = strtol(entryName, &end, 10);
    if (*end != '-') return {};
    const long address = strtol(end + 1, &end, 16);
    return {*end == '\0', bus, address};
}

std::string findModulePath() {
    const Directory directory(opendir(kDriverDirectory));
    const int error = errno;
    if (!directory) {
        zuerr::raise(kNoDirectory,
                     {"si514: unable to open handle to directory: ", kDriverDirectory, ". Errno: ", ErrnoText(error)});
    }
    while (const dirent* entry = readdir(directory.get())) {
        if (entry->d_type != DT_LNK && entry->d_type != DT_DIR) continue;
        const I2cClient client = parseClient(entry->d_name);
        if (!client.isClient) continue;
        // Kept on purpose: the first client decides, even if a later one would be valid.
        if (client.bus < 0 || client.address < 0) break;
        return std::string(kDriverDirectory) + "/" + entry->d_name + "/";
    }
    zuerr::raise(kNoClient, {"si514: unable to find si514 module on the system."});
}

std::string findAndLogModulePath() {
    std::string path = findModulePath();
    // Kept on purpose: LOG_ERR, although nothing is wrong.
    syslog(LOG_ERR, "smbusPath: %s", path.c_str());
    return path;
}

// Kept on purpose: no trimming, a newline is part of the name.
std::string readDeviceName(const std::string& modulePath) {
    FileWrapper file(modulePath + "name", O_RDONLY);
    std::array<char, kNameCapacity> text{};
    file.read(text.data(), text.size());
    return {text.data(), strnlen(text.data(), text.size())};
}

constexpr std::string_view kFraction = ".000000";
constexpr std::size_t kWholeCapacity = std::numeric_limits<std::int32_t>::digits10 + 2;
using OffsetText = char[kWholeCapacity + kFraction.size()];

/// Formats like %f in the C locale, about 30 times faster: digits backwards, before a constant fraction. The result
/// points into `text`.
std::string_view writePpb(std::int32_t ppb, OffsetText& text) noexcept {
    kFraction.copy(text + kWholeCapacity, kFraction.size());
    char* first = text + kWholeCapacity;
    auto rest = ppb < 0 ? 0U - static_cast<std::uint32_t>(ppb) : static_cast<std::uint32_t>(ppb);
    do {
        *--first = static_cast<char>('0' + rest % 10);
        rest /= 10;
    } while (rest > 0);
    if (ppb < 0) *--first = '-';
    return {first, static_cast<std::size_t>(std::end(text) - first)};
}

// Kept on purpose: the maximum is printed first.
[[noreturn, gnu::cold, gnu::noinline]] void raiseOutOfRange(std::int32_t correctionPpb, std::int64_t limitPpb) {
    zuerr::raise(kOutOfRange,
                 {"si514: requested ppb value ", DecimalText(correctionPpb), " is beyond the supported range: [",
                  DecimalText(limitPpb), ", ", DecimalText(-limitPpb), "]"});
}

/// Parses `text` with strtod in the C locale and rounds halves away from zero.
std::int32_t parsePpb(const char* text) {
    const int callersError = errno;
    errno = 0;
    char* end = nullptr;
    const double ppb = strtod_l(text, &end, kCLocale);
    const int error = errno;
    errno = callersError;
    if (end == text) throw std::invalid_argument("stod");
    const double rounded = std::round(ppb);
    const bool fits = rounded >= std::numeric_limits<std::int32_t>::min() &&
                      rounded <= std::numeric_limits<std::int32_t>::max();  // false for NaN
    if (error == ERANGE || !fits) throw std::out_of_range("stod");
    return static_cast<std::int32_t>(rounded);
}

}  // namespace

Si514FreqSteeringDevice::Si514FreqSteeringDevice(std::int32_t maxPpb, std::int32_t minPpb)
    : modulePath_(findAndLogModulePath()),
      name_(readDeviceName(modulePath_)),
      maxPpb_(maxPpb),
      minPpb_(minPpb),
      ppbFile_(modulePath_ + "ppb_offset", O_RDWR) {}

const std::string& Si514FreqSteeringDevice::getName() const { return name_; }

std::int32_t Si514FreqSteeringDevice::getMaxCorrectionPerSecond() { return maxPpb_; }

std::int32_t Si514FreqSteeringDevice::getMinCorrectionPerSecond() { return minPpb_; }

std::int32_t Si514FreqSteeringDevice::getCorrectionPerSecond() {
    std::array<char, kOffsetTextCapacity + 1> text{};  // the last byte terminates a text that fills the rest
    {
        const locks::LockGuard lock(mutex_);
        ppbFile_.resetOffset();
        ppbFile_.read(text.data(), text.size() - 1);
    }
    return parsePpb(text.data());
}

void Si514FreqSteeringDevice::setCorrectionPerSecond(std::int32_t correctionPpb) {
    // Kept on purpose: the maximum limits both directions, the minimum none.
    const std::int64_t limitPpb = maxPpb_;
    if (std::abs(std::int64_t{correctionPpb}) > limitPpb) raiseOutOfRange(correctionPpb, limitPpb);
    OffsetText buffer;
    const std::string_view text = writePpb(correctionPpb, buffer);
    const locks::LockGuard lock(mutex_);
    ppbFile_.write(text.data(), text.size(), false, kWriteAttempts);
}

}  // namespace halvexTimekeeper
