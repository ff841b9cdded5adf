// Finds the I210 network interfaces of the system.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/i210EpochDeviceFactory.h"

#include <dirent.h>
#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <utility>

#include "zuerr/codes.h"
#include "zuerr/exception.h"

namespace halvexTimekeeper {
namespace {

constexpr zuerr::ErrorSite kNoDirectory{zuerr::zuplaterr_featureUnsupported, "i210EpochDeviceFactory", 35};

constexpr const char* kNetworkDirectory = "/sys/class/net/";
constexpr std::string_view kIntelVendor = "0x8086";
constexpr std::string_view kI210Device = "0x1533";

using Directory = std::unique_ptr<DIR, decltype([](DIR* directory) { closedir(directory); })>;

/// Whether the first line of a file is exactly `line`. False for an unreadable file, even if `line` is empty.
bool hasFirstLine(const std::string& path, std::string_view line) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    std::array<char, 64> text{};
    std::string_view beginning;
    ssize_t count = 0;
    do {
        count = read(fd, text.data() + beginning.size(), text.size() - beginning.size());
        if (count > 0) beginning = {text.data(), beginning.size() + static_cast<std::size_t>(count)};
    } while (count > 0 && beginning.size() < text.size() && beginning.find('\n') == std::string_view::npos);
    close(fd);
    return count >= 0 && beginning.substr(0, beginning.find('\n')) == line;
}

bool isI210(std::string_view interfaceName) {
    const std::string deviceDirectory = kNetworkDirectory + std::string(interfaceName) + "/device/";
    return hasFirstLine(deviceDirectory + "vendor", kIntelVendor) &&
           hasFirstLine(deviceDirectory + "device", kI210Device);
}

/// Sorted: the result must not depend on directory order.
std::vector<std::string> findCandidateNames() {
    const Directory directory(opendir(kNetworkDirectory));
    if (!directory) zuerr::raise(kNoDirectory, {"Failed to open network devices directory."});
    std::vector<std::string> names;
    while (const dirent* entry = readdir(directory.get())) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..") continue;
        if (isI210(name)) names.emplace_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// The device, or null if the interface cannot take part.
std::shared_ptr<I210EpochDevice> makeDeviceIfUsable(const std::string& interfaceName) {
    try {
        return std::make_shared<I210EpochDevice>(interfaceName);
    } catch (const zuerr::Exception& error) {
        if (error.getCode() != zuerr::zuplaterr_featureUnsupported) throw;
        return nullptr;
    }
}

}  // namespace

std::vector<std::shared_ptr<I210EpochDevice>> findUsableI210Interfaces() {
    std::vector<std::shared_ptr<I210EpochDevice>> devices;
    for (const std::string& name : findCandidateNames()) {
        std::shared_ptr<I210EpochDevice> device = makeDeviceIfUsable(name);
        if (!device) {
            syslog(LOG_WARNING, "*** warning: Interface %s is not usable and will not be synchronized.", name.c_str());
            continue;
        }
        devices.push_back(std::move(device));
        syslog(LOG_INFO, "Interface %s will be synchronized.", name.c_str());
    }
    return devices;
}

}  // namespace halvexTimekeeper
