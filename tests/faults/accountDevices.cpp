// The required calls of each device of the library.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <linux/ethtool.h>
#include <linux/ptp_clock.h>
#include <net/if.h>

#include "tests/faults/account.h"

namespace faults {
namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;
constexpr const char* kHelpers = "i210EpochHelpers";

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            result += '\\';
            result += c;
        } else if (c == '\n') {
            result += "\\n";
        } else {
            result += c;
        }
    }
    return result + '"';
}

ifreq requestFor(const std::string& interface) {
    ifreq request{};
    std::strncpy(request.ifr_name, interface.c_str(), IFNAMSIZ - 1);
    return request;
}

int clockOf(int fd) { return (~fd << 3) | 3; }

}  // namespace

std::string Caller::errorText() const { return std::strerror(error); }

void fail(std::int32_t code, std::string_view file, int line, std::string_view message, std::string_view constant) {
    static const std::map<std::int32_t, std::string_view> kConstants{
        {kUnsupported, "zuplaterr_featureUnsupported"},
        {kInvalid, "zuplaterr_invalidParameter"},
        {kNotFound, "zuplaterr_resourceNotFound"},
        {kTimedOut, "zuplaterr_operationTimedOut"},
        {kOsFault, "zuplaterr_osFault"},
        {kNotInitialized, "zuplaterr_resourceNotInitialized"},
        {kCommunications, "zuplaterr_communicationsFault"},
    };
    if (constant.empty()) constant = kConstants.at(code);
    throw Error{code, "{\"error_constant\":" + quoted(constant) + ",\"file\":" + quoted(file) +
                          ",\"line\":" + std::to_string(line) +
                          ",\"component\":\"halvexTimekeeper\",\"zuhalvexTimekeeper_debug\":{\"errorInfo\":" +
                          quoted(message) + "}}"};
}

void failForeign(std::string_view what) {
    throw Error{-52003,
                "{\"error_constant\":\"zuplaterr_softwareFaultPLATInternalUseOnly\","
                "\"file\":\"zuerr/tools/exception_errStatus\",\"line\":69,\"component\":\"halvexTimekeeper\","
                "\"std_exception_what\":" +
                    quoted(what) + "}"};
}

// --- I210 -----------------------------------------------------------------------------------------------------------

I210Account::I210Account(Caller& caller, std::string interfaceName) : interface(std::move(interfaceName)) {
    path_ = "/dev/ptp" + std::to_string(findIndex(caller));
    open(caller);
}

int I210Account::findIndex(Caller& caller) const {
    const long fd = caller.take(caller.controller.socket(1, 2, 0));
    if (fd < 0) {
        fail(kCommunications, kHelpers, 53,
             "Failed to open socket while querying phc index for " + interface + ". Got error " + caller.errorText());
    }
    ethtool_ts_info information{};
    information.cmd = 0x41;
    ifreq request = requestFor(interface);
    request.ifr_data = reinterpret_cast<char*>(&information);
    ioctl(caller, static_cast<int>(fd), 0x8946, &request,
          "Failed to execute SIOCETHTOOL ioctl for interface " + interface + ".");
    caller.take(caller.controller.close(static_cast<int>(fd)));
    if (information.phc_index < 0) {
        fail(kUnsupported, kHelpers, 148, interface + " does not have a valid phc index.");
    }
    return information.phc_index;
}

/// A failed request closes the descriptor first and reports the errno left by close().
void I210Account::ioctl(Caller& caller, int fd, unsigned long request, void* argument, std::string_view context) const {
    if (caller.take(caller.controller.ioctl(fd, request, argument)) >= 0) return;
    caller.take(caller.controller.close(fd));
    fail(kCommunications, kHelpers, 28, std::string(context) + "Got error " + caller.errorText());
}

void I210Account::setPin(Caller& caller, std::uint32_t function) const {
    ptp_pin_desc pin{};
    pin.func = function;
    ioctl(caller, fd_, 0x40603D07, &pin, "Couldn't call PTP_PIN_SETFUNC on " + interface + ".");
}

void I210Account::open(Caller& caller) {
    fd_ = static_cast<int>(caller.take(caller.controller.open(path_.c_str(), 2)));
    if (fd_ < 0) {
        fail(kCommunications, kHelpers, 40,
             "Couldn't open session to device " + path_ + ". Got error " + caller.errorText());
    }
    ptp_clock_caps capabilities{};
    ioctl(caller, fd_, 0x80503D01, &capabilities, "Couldn't call PTP_CLOCK_GETCAPS " + interface + ".");
    if (capabilities.n_ext_ts <= 0 || capabilities.n_per_out <= 0 || capabilities.n_pins < 4) {
        fail(kUnsupported, "i210EpochDevice", 167,
             interface + " doesn't support PTP properly (external event time stamping capability).");
    }
    setPin(caller, 0);
    if (caller.take(caller.controller.adjustClock(clockOf(fd_), 2, 0, 0, 0)) < 0) {
        fail(kCommunications, kHelpers, 65,
             "Failed to adjust the frequency on " + interface + ".Got error " + caller.errorText());
    }
}

void I210Account::release(Caller& caller) {
    try {
        setPin(caller, 0);
    } catch (const Error&) {
    }
    if (fd_ > 0) {
        caller.take(caller.controller.close(fd_));
        fd_ = -1;
    }
}

void I210Account::reinitialize(Caller& caller) {
    release(caller);
    open(caller);
}

bool I210Account::isEnabled(Caller& caller) {
    const int fd = static_cast<int>(caller.take(caller.controller.socket(1, 2, 0)));
    if (fd < 0) {
        fail(kCommunications, kHelpers, 53,
             "Failed to open socket while checking if " + interface + " is enabled. Got error " + caller.errorText());
    }
    ifreq request = requestFor(interface);
    ioctl(caller, fd, 0x8913, &request, "Failed to execute SIOCGIFFLAGS ioctl for interface " + interface + ".");
    caller.take(caller.controller.close(fd));
    return (request.ifr_flags & 1) != 0;
}

bool I210Account::hasBeenAligned(Caller& caller) {
    if (!isEnabled(caller)) {
        flag = true;
        return false;
    }
    return flag;
}

/// Whether an event arrived in time.
bool I210Account::waitFor(Caller& caller, long seconds) const {
    const bool canBeWatched = fd_ >= 0;  // the kernel returns EBADF for a negative one
    if (!canBeWatched) caller.error = EBADF;
    const long ready = canBeWatched ? caller.take(caller.controller.select(fd_ + 1, true, seconds, 0)) : -1;
    if (ready < 0) {
        fail(kCommunications, kHelpers, 97, "Failed to monitor " + interface + ". Got error " + caller.errorText());
    }
    return ready > 0;
}

std::uint64_t I210Account::readEvent(Caller& caller) const {
    ptp_extts_event event{};
    if (caller.take(caller.controller.read(fd_, &event, sizeof event)) != 32) {
        fail(kCommunications, kHelpers, 124,
             "Failed to get time stamp on " + interface + ". Got error " + caller.errorText());
    }
    return static_cast<std::uint64_t>(event.t.sec) * kNsPerSecond + event.t.nsec;
}

void I210Account::arm(Caller& caller) {
    while (waitFor(caller, 0)) readEvent(caller);
    setPin(caller, 0);
    setPin(caller, 1);
    ptp_extts_request request{};
    request.flags = 3;
    ioctl(caller, fd_, 0x40103D02, &request, "Unable to submit PTP_EXTTS_REQUEST on " + interface + ".");
}

std::uint64_t I210Account::getEpochTimestamp(Caller& caller) {
    if (!waitFor(caller, 1)) {
        fail(kTimedOut, kHelpers, 107, "Timed out while getting time from " + interface);
    }
    const std::uint64_t time = readEvent(caller);
    setPin(caller, 0);
    return time;
}

void I210Account::adjustTime(Caller& caller, std::int64_t offsetNs) {
    std::int64_t seconds = offsetNs / kNsPerSecond;
    std::int64_t fraction = offsetNs % kNsPerSecond;
    if (fraction < 0) {
        --seconds;
        fraction += kNsPerSecond;
    }
    if (caller.take(caller.controller.adjustClock(clockOf(fd_), 0x2100, 0, seconds, fraction)) < 0) {
        fail(kCommunications, kHelpers, 65,
             "Could not adjust time on " + interface + ".Got error " + caller.errorText());
    }
}

// --- System clock ---------------------------------------------------------------------------------------------------

SystemClockAccount::SystemClockAccount(Caller& caller, const std::string& source) {
    std::vector<std::string> words{"phc2sys",        "-O", "0",        "-l", "4",   "-c",
                                   "CLOCK_REALTIME", "-F", "0.000001", "-s", source};
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const Answer answer =
        caller.controller.spawn(pid_, "/usr/local/tarnesk/share/Horlix/TimeKeepers/phc2sys", arguments.data());
    if (caller.take(answer) == 0) return;
    const std::string number = std::to_string(caller.error);
    fail(kOsFault, "spawnPhc2Sys", 58, "[ SpawnPhc2Sys ] When spawning phc2sys got error: " + number + " - " + number);
}

void SystemClockAccount::release(Caller& caller) const { caller.take(caller.controller.kill(pid_, 9)); }

std::uint64_t SystemClockAccount::getTime(Caller& caller) const {
    std::int64_t seconds = 0;
    std::int64_t fraction = 0;
    if (caller.take(caller.controller.readClock(0, seconds, fraction)) < 0) {
        fail(kOsFault, "systemTimeClock", 47, "Error " + std::to_string(caller.error) + " while getting system time");
    }
    return static_cast<std::uint64_t>(seconds) * kNsPerSecond + static_cast<std::uint64_t>(fraction);
}

void SystemClockAccount::adjustTime(Caller& caller, std::int64_t offsetNs) const {
    const std::uint64_t now = getTime(caller);
    const std::uint64_t target = now + static_cast<std::uint64_t>(offsetNs);
    if (offsetNs > 0 ? target < now : target > now) {
        fail(kOsFault, "systemTimeClock", 66,
             "Overflow error when calculating time adjustment. Current time - " + std::to_string(now) + " Offset - " +
                 std::to_string(offsetNs));
    }
    const Answer answer = caller.controller.setClock(0, static_cast<std::int64_t>(target / kNsPerSecond),
                                                     static_cast<std::int64_t>(target % kNsPerSecond));
    if (caller.take(answer) < 0) {
        fail(kOsFault, "systemTimeClock", 78, "Error " + std::to_string(caller.error) + " while setting system time");
    }
}

// --- Oscillator -----------------------------------------------------------------------------------------------------

OscillatorAccount::OscillatorAccount(Caller& caller) : directory_(findDirectory(caller)) {
    const std::string namePath = directory_ + "name";
    const int fd = openFile(caller, namePath, 0);
    char name[128] = {};
    if (caller.take(caller.controller.read(fd, name, sizeof name)) < 0) {
        const std::string text = caller.errorText();
        if (fd > 0) caller.take(caller.controller.close(fd));
        fail(kCommunications, "fileWrapper", 62, "Error reading file: " + namePath + ". Error: " + text);
    }
    if (fd > 0) caller.take(caller.controller.close(fd));
    fd_ = openFile(caller, directory_ + "ppb_offset", 2);
}

std::string OscillatorAccount::findDirectory(Caller& caller) {
    const std::string path = "/sys/bus/i2c/drivers/si514";
    const long directory = caller.take(caller.controller.openDirectory(path.c_str()));
    if (directory < 0) {
        fail(kNotFound, "si514FreqSteeringDevice", 102,
             "si514: unable to open handle to directory: " + path + ". Errno: " + caller.errorText());
    }
    std::string found;
    int error = 0;
    while (const auto entry = caller.controller.readDirectory(static_cast<int>(directory), error)) {
        if (entry->name != "0-0055") continue;  // the first client of this controller's listing
        found = path + "/" + entry->name + "/";
        break;
    }
    if (error != 0) caller.error = error;
    caller.take(caller.controller.closeDirectory(static_cast<int>(directory)));
    if (found.empty()) {
        fail(kNotFound, "si514FreqSteeringDevice", 140, "si514: unable to find si514 module on the system.");
    }
    caller.controller.syslog(3, "smbusPath: " + found);
    return found;
}

int OscillatorAccount::openFile(Caller& caller, const std::string& path, int flags) {
    const long fd = caller.take(caller.controller.open(path.c_str(), flags));
    if (fd < 0) {
        fail(kNotFound, "fileWrapper", 20, "Failed to open: " + path + ". Error: " + caller.errorText());
    }
    return static_cast<int>(fd);
}

void OscillatorAccount::seek(Caller& caller) const {
    if (caller.take(caller.controller.seek(fd_, 0)) == 0) return;
    fail(kCommunications, "fileWrapper", 44,
         "Error resetting offset in file: " + directory_ + "ppb_offset. Error: " + caller.errorText());
}

std::int32_t OscillatorAccount::getCorrection(Caller& caller) const {
    char text[33] = {};
    seek(caller);
    if (caller.take(caller.controller.read(fd_, text, 32)) < 0) {
        fail(kCommunications, "fileWrapper", 62,
             "Error reading file: " + directory_ + "ppb_offset. Error: " + caller.errorText());
    }
    char* end = nullptr;
    const double value = std::strtod(text, &end);  // the sweeps run in the C locale
    if (end == text) failForeign("stod");
    return static_cast<std::int32_t>(std::round(value));
}

void OscillatorAccount::setCorrection(Caller& caller, std::int32_t ppb) const {
    if (ppb < -62000 || ppb > 62000) {
        fail(kInvalid, "si514FreqSteeringDevice", 77,
             "si514: requested ppb value " + std::to_string(ppb) + " is beyond the supported range: [62000, -62000]");
    }
    const std::string text = std::to_string(static_cast<double>(ppb));
    for (int attempt = 0; attempt < 5; ++attempt) {
        seek(caller);
        const long count = caller.take(caller.controller.write(fd_, text.data(), text.size()));
        if (count == static_cast<long>(text.size())) return;
    }
    fail(kCommunications, "fileWrapper", 106,
         "Error writing file: " + directory_ + "ppb_offset. Error: " + caller.errorText());
}

}  // namespace faults
