// Facts about the controller, gathered without changing anything; evaluated elsewhere.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/inspect/controllerFacts.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <linux/capability.h>
#include <sys/timex.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <sstream>

#include "host/inspect/systemFiles.h"
#include "host/output/files.h"
#include "host/output/units.h"

namespace halvexctl {
namespace {

constexpr const char* kNetworkDirectory = "/sys/class/net/";
constexpr const char* kSi514Directory = "/sys/bus/i2c/drivers/si514";
constexpr const char* kDriverRoot = "/proc/driver/zu/";
constexpr std::string_view kFerroxIdentifier = "nZUHORLIXFERROX000_HorlixFerrox";
constexpr std::string_view kFpgaIdentifier = "nZUHORLIXFPGA000_HorlixFpga";
constexpr std::int32_t kPinsNeeded = 4;

bool isNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

void gatherClock(InterfaceFacts& facts) {
    facts.node = fmt::format("/dev/ptp{}", *facts.ptpIndex);
    facts.nodeIsThere = isThere(facts.node);
    facts.nodeIsAllowed = isReadableAndWritable(facts.node);
    const std::string virtualClocks = fmt::format("/sys/class/ptp/ptp{}/n_vclocks", *facts.ptpIndex);
    if (const auto count = readFirstLine(virtualClocks)) {
        facts.virtualClocks = leadingNumber<std::int32_t>(*count);
    } else if (!isThere(virtualClocks)) {
        facts.virtualClocks = 0;  // a kernel before 5.14 knows none
    }
    PtpClock clock(facts.node);
    facts.capabilities = clock.capabilities();
    const std::int32_t pins = facts.capabilities ? facts.capabilities->pins : 0;
    for (std::int32_t index = 0; index < pins; ++index) {
        if (const auto pin = clock.pin(static_cast<std::uint32_t>(index))) {
            facts.pins.push_back(*pin);
        }
    }
    if (facts.error.empty()) {
        facts.error = clock.errorText();
    }
}

InterfaceFacts gatherInterface(const std::string& name) {
    InterfaceFacts facts;
    facts.name = name;
    facts.vendor = readFirstLine(kNetworkDirectory + name + "/device/vendor", &facts.error).value_or("");
    facts.device = readFirstLine(kNetworkDirectory + name + "/device/device", &facts.error).value_or("");
    facts.isUp = isInterfaceUp(name);
    facts.ptpIndex = ptpIndexOf(name);
    if (facts.ptpIndex.value_or(-1) >= 0) {
        gatherClock(facts);
    }
    return facts;
}

DriverFacts gatherDriver(std::string_view identifier) {
    DriverFacts facts;
    for (const std::string& driver : namesIn(kDriverRoot, &facts.error)) {
        const std::string interfaces = kDriverRoot + driver + "/deviceInterfaces";
        for (const std::string& instance : namesIn(interfaces, &facts.error)) {
            if (facts.directory.empty() && instance.starts_with(std::string(identifier) + "\\")) {
                facts.directory = interfaces + "/" + instance;
            }
        }
    }
    if (!facts.directory.empty()) {
        facts.error.clear();
        facts.node = readFirstLine(facts.directory + "/interfacePath", &facts.error).value_or("");
        facts.nodeIsThere = !facts.node.empty() && isThere(facts.node);
        facts.nodeIsAllowed = facts.nodeIsThere && isReadableAndWritable(facts.node);
    }
    return facts;
}

/// "0-0055": bus and address.
bool isI2cClient(std::string_view name) {
    const std::size_t dash = name.find('-');
    return dash != std::string_view::npos && isNumber(name.substr(0, dash)) && dash + 1 < name.size() &&
           name.find_first_not_of("0123456789abcdefABCDEF", dash + 1) == std::string_view::npos;
}

std::string si514Client(std::string* why = nullptr) {
    const std::vector<std::string> names = namesIn(kSi514Directory, why);
    const auto client = std::find_if(names.begin(), names.end(), isI2cClient);
    return client == names.end() ? std::string() : *client;
}

Si514Facts gatherSi514() {
    Si514Facts facts;
    facts.driverIsThere = isThere(kSi514Directory);
    facts.client = si514Client(&facts.error);
    if (!facts.client.empty()) {
        const std::string directory = fmt::format("{}/{}/", kSi514Directory, facts.client);
        facts.name = readFirstLine(directory + "name", &facts.error).value_or("");
        facts.offsetText = readFirstLine(directory + "ppb_offset");
        facts.offsetIsThere = isThere(directory + "ppb_offset");
        facts.offsetIsAllowed = isReadableAndWritable(directory + "ppb_offset");
    }
    return facts;
}

std::string shown(const ProcessFacts& process) { return fmt::format("{} ({})", process.name, process.pid); }

void gatherState(ProcessFacts& process) {
    const std::string status = readFirstLine(fmt::format("/proc/{}/stat", process.pid)).value_or("");
    const std::size_t end = status.rfind(") ");  // a name may contain any character
    if (end == std::string::npos) {
        return;
    }
    std::istringstream words(status.substr(end + 2));
    char state = 0;
    words >> state >> process.parentPid;
    process.hasEnded = state == 'Z';
    std::string passedOver;
    for (int field = 5; field < 22; ++field) {
        words >> passedOver;
    }
    words >> process.startTicks;
}

bool isOpenForWriting(const ProcessFacts& process, const std::string& descriptor) {
    const std::string text = readFile(fmt::format("/proc/{}/fdinfo/{}", process.pid, descriptor)).value_or("");
    static constexpr std::string_view kLabel = "flags:\t";
    const std::size_t at = text.find(kLabel);
    const auto flags = at == std::string::npos
                           ? std::nullopt
                           : leadingNumber<unsigned>(std::string_view(text).substr(at + kLabel.size()), 8);
    return flags && (*flags & O_ACCMODE) != O_RDONLY;
}

bool ownsClocks(const ProcessFacts& process) {
    if (process.hasEnded || process.pid == ::getpid() || process.parentPid == ::getpid()) {
        return false;
    }
    const std::string descriptors = fmt::format("/proc/{}/fd", process.pid);
    const std::vector<std::string> names = namesIn(descriptors);
    return process.name == kPhc2SysName || std::ranges::any_of(names, [&](const std::string& name) {
               return linkTarget(descriptors + "/" + name).starts_with("/dev/ptp") && isOpenForWriting(process, name);
           });
}

/// Finds other processes that have a clock open; false when this user may not see the files of all of them.
bool gatherUsers(std::vector<InterfaceFacts>& interfaces, const std::vector<ProcessFacts>& processes) {
    bool areAllVisible = true;
    for (const ProcessFacts& process : processes) {
        if (process.pid == ::getpid()) {
            continue;
        }
        const std::string descriptors = fmt::format("/proc/{}/fd", process.pid);
        areAllVisible = areAllVisible && (isReadable(descriptors) || !isThere(descriptors));
        for (const std::string& descriptor : namesIn(descriptors)) {
            const std::string target = linkTarget(descriptors + "/" + descriptor);
            for (InterfaceFacts& interface : interfaces) {
                const std::string user = shown(process);
                const bool isUser = !interface.node.empty() && target == interface.node;
                if (isUser && (interface.users.empty() || interface.users.back() != user)) {
                    interface.users.push_back(user);
                }
            }
        }
    }
    return areAllVisible;
}

std::optional<bool> gatherTimeCapability() {
    const std::string status = readFile("/proc/self/status").value_or("");
    static constexpr std::string_view kLabel = "CapEff:\t";
    const std::size_t at = status.find(kLabel);
    const auto mask = at == std::string::npos
                          ? std::nullopt
                          : leadingNumber<std::uint64_t>(std::string_view(status).substr(at + kLabel.size()), 16);
    return mask ? std::optional(((*mask >> CAP_SYS_TIME) & 1) != 0) : std::nullopt;
}

}  // namespace

Choice choiceOf(const InterfaceFacts& facts) {
    if (!facts.isI210()) {
        return {false, false,
                !facts.error.empty()   ? facts.error
                : facts.vendor.empty() ? "no PCI device"
                                       : "not an I210 (0x8086:0x1533)"};
    }
    if (!facts.ptpIndex) {
        return {false, true, "its PTP clock cannot be asked for"};
    }
    if (*facts.ptpIndex < 0) {
        return {false, false, "has no PTP clock"};
    }
    if (!facts.nodeIsThere || !facts.nodeIsAllowed || !facts.capabilities) {
        return {false, true,
                !facts.nodeIsThere     ? facts.node + " is missing"
                : !facts.nodeIsAllowed ? facts.node + " may not be read and written"
                                       : facts.error};
    }
    const PtpCapabilities& can = *facts.capabilities;
    if (can.stampChannels < 1 || can.periodicOutputs < 1 || can.pins < kPinsNeeded) {
        return {false, false,
                fmt::format("has {} time-stamp channels, {} outputs and {} pins; 1, 1 and {} are needed",
                            can.stampChannels, can.periodicOutputs, can.pins, kPinsNeeded)};
    }
    return {true, false, facts.isUp.value_or(false) ? "usable" : "usable; aligned once it is up"};
}

std::vector<InterfaceFacts> gatherInterfaces(std::string* why) {
    std::vector<InterfaceFacts> interfaces;
    for (const std::string& name : namesIn(kNetworkDirectory, why)) {
        interfaces.push_back(gatherInterface(name));
    }
    return interfaces;
}

std::vector<ProcessFacts> gatherProcesses(std::string_view wanted) {
    std::vector<ProcessFacts> processes;
    for (const std::string& name : namesIn("/proc")) {
        const auto pid = isNumber(name) ? leadingNumber<std::int32_t>(name) : std::nullopt;
        if (const auto process = pid ? gatherProcess(*pid, wanted) : std::nullopt) {
            processes.push_back(*process);
        }
    }
    return processes;
}

std::optional<ProcessFacts> gatherProcess(std::int32_t pid, std::string_view wanted) {
    const auto name = readFirstLine(fmt::format("/proc/{}/comm", pid));
    if (!name || (!wanted.empty() && *name != wanted)) {
        return std::nullopt;
    }
    ProcessFacts process{pid, *name};
    gatherState(process);
    return process;
}

std::int64_t ageNs(const ProcessFacts& process) {
    timespec now{};
    const bool isKnown = process.startTicks > 0 && ::clock_gettime(CLOCK_BOOTTIME, &now) == 0;
    const std::int64_t ageS = now.tv_sec - process.startTicks / ::sysconf(_SC_CLK_TCK);
    return isKnown ? std::max<std::int64_t>(ageS, 0) * kNsPerSecond : 0;
}

std::vector<std::string> clockOwners() {
    std::vector<std::string> owners;
    for (const ProcessFacts& process : gatherProcesses()) {
        if (ownsClocks(process)) {
            owners.push_back(shown(process));
        }
    }
    return owners;
}

bool areAllProcessesVisible() { return readFirstLine("/proc/1/comm").has_value(); }

KernelClockFacts readKernelClock() {
    timex state{};
    const int result = ::adjtimex(&state);
    if (result < 0) {
        return {};
    }
    constexpr double kFrequencyUnitsPerPpb = 65.536;  // 2^16 of them are 1 ppm
    constexpr std::int64_t kNsPerUs = 1'000;
    return {true, (state.status & STA_UNSYNC) == 0, state.maxerror * kNsPerUs, state.tai,
            static_cast<double>(state.freq) / kFrequencyUnitsPerPpb};
}

std::optional<double> readSteeringPpb() {
    const std::string client = si514Client();
    const auto text =
        client.empty() ? std::nullopt : readFirstLine(fmt::format("{}/{}/ppb_offset", kSi514Directory, client));
    return text ? leadingNumber<double>(*text) : std::nullopt;
}

ControllerFacts gatherFacts() {
    ControllerFacts facts;
    facts.interfaces = gatherInterfaces(&facts.interfacesError);
    facts.ferrox = gatherDriver(kFerroxIdentifier);
    facts.fpga = gatherDriver(kFpgaIdentifier);
    facts.si514 = gatherSi514();
    facts.phc2sysIsThere = isThere(kPhc2SysPath);
    facts.phc2sysIsExecutable = isExecutable(kPhc2SysPath);
    facts.processes = gatherProcesses();
    facts.allProcessesAreVisible = areAllProcessesVisible();
    facts.allDescriptorsAreVisible = gatherUsers(facts.interfaces, facts.processes) && facts.allProcessesAreVisible;
    facts.maySetTime = gatherTimeCapability();
    facts.kernelClock = readKernelClock();
    return facts;
}

}  // namespace halvexctl
