// The simulated controller around the library as a fault sweep needs it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/faults/simulatedController.h"

#include <dirent.h>
#include <linux/ethtool.h>
#include <linux/ptp_clock.h>
#include <net/if.h>
#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace faults {
namespace {

constexpr std::uint64_t kCallNs = 1000;
constexpr std::int64_t kStepLossNs = 1500;
constexpr std::uint64_t kPulseNs = 1'000'000;
constexpr std::uint64_t kNsPerSecond = 1'000'000'000;

constexpr const char* kFpgaNode = "/dev/zu/fpga0";
constexpr const char* kFerroxNode = "/dev/zu/ferrox0";
const std::string kFpgaDirectory = "/proc/driver/zu/fpga/deviceInterfaces/nZUHORLIXFPGA000_HorlixFpga\\0";
const std::string kFerroxDirectory = "/proc/driver/zu/ferrox/deviceInterfaces/nZUHORLIXFERROX000_HorlixFerrox\\0";
const std::string kSi514 = "/sys/bus/i2c/drivers/si514";

/// The block a driver gets with every method, as its side sees it.
struct MethodArguments {
    std::uint64_t in, out;
    std::uint32_t inSize, outSize;
    std::uint64_t returned;
};

/// Wraps, as the registers do.
std::int64_t sum(std::int64_t offsetNs, std::uint64_t stepNs) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(offsetNs) + stepNs);
}

template <typename Number>
std::string text(Number number) {
    return std::to_string(number);
}

std::string hex(const void* bytes, std::size_t count) {
    std::string result;
    for (std::size_t i = 0; i < count; ++i) {
        char pair[3];
        snprintf(pair, sizeof pair, "%02x", static_cast<const unsigned char*>(bytes)[i]);
        result += pair;
    }
    return result;
}

}  // namespace

std::string Outcome::describe() const {
    if (error != 0) return "errno " + text(error);
    if (driverStatus != 0) return "driver status " + text(driverStatus);
    return "count " + text(count.value_or(-1));
}

SimulatedController::SimulatedController(const ControllerOptions& options)
    : interfaces{{{options.firstName, 1, 3'200'000'000}, {options.secondName, 0, -412}}}, options_(options) {
    const std::string net = "/sys/class/net/";
    for (const std::string& name : {options.firstName, options.secondName}) {
        files_[net + name + "/device/vendor"] = "0x8086\n";
        files_[net + name + "/device/device"] = "0x1533\n";
    }
    files_[net + "eth7/device/vendor"] = "0x8086\n";
    files_[net + "eth7/device/device"] = "0x1521\n";
    files_[kFpgaDirectory + "/interfacePath"] = kFpgaNode;
    files_[kFerroxDirectory + "/interfacePath"] = kFerroxNode;
    files_[kSi514 + "/0-0055/name"] = "si514\n";
    files_[kSi514 + "/0-0055/ppb_offset"] = "0.000000\n";
}

void SimulatedController::arm(const FaultPlan& plan) {
    plan_ = plan;
    position_ = 0;
    met_.reset();
}

void SimulatedController::disarm() { plan_.reset(); }

void SimulatedController::note(std::string line) {
    const std::lock_guard lock(mutex_);
    if (isQuiet) journal_.clear();
    journal_.push_back(std::move(line));
}

void SimulatedController::syslog(int priority, std::string_view line) {
    note("syslog " + text(priority) + " " + std::string(line));
}

void SimulatedController::noteWhatIsLeft() {
    std::string line = "left:";
    for (const auto& [fd, descriptor] : descriptors_) line += " " + text(fd) + "=" + descriptor.path;
    for (const auto& [pid, lives] : children_) line += (lives ? " alive " : " zombie ") + text(pid);
    note(line);
}

/// Writes the call down and says whether it is to fail.
const Outcome* SimulatedController::enter(Call call, std::string line, bool isDriver) {
    nowNs_ += kCallNs;
    if (isQuiet) journal_.clear();
    journal_.push_back(std::move(line));
    if (!plan_) return nullptr;
    ++position_;
    if (position_ == plan_->cancelAt) pthread_cancel(pthread_self());
    if (position_ == plan_->position) met_ = Met{call, isDriver};
    const bool isHit = position_ == plan_->position || (plan_->forEver && met_ && met_->call == call);
    if (!isHit || (plan_->outcome.driverStatus != 0 && !isDriver)) return nullptr;
    const Outcome& outcome = plan_->outcome;
    return outcome.error != 0 || outcome.count || outcome.driverStatus != 0 ? &outcome : nullptr;
}

void SimulatedController::leave(const Answer& answer) {
    journal_.back() += " = " + text(answer.value);
    if (answer.error != 0) journal_.back() += " errno " + text(answer.error);
}

/// A call of which only its coming about matters: 0, or the error as its result.
Answer SimulatedController::plain(Call call, std::string line) {
    const std::lock_guard lock(mutex_);
    const Outcome* const fault = enter(call, std::move(line));
    return finish({fault != nullptr ? fault->error : 0, 0});
}

Answer SimulatedController::makeDescriptor(std::string path) {
    if (descriptors_.size() >= mostDescriptors) return {-1, EMFILE};
    int fd = options_.lowestDescriptor;
    while (descriptors_.contains(fd)) ++fd;
    descriptors_[fd] = {std::move(path), 0, 0};
    return {fd, 0};
}

SimulatedController::Descriptor* SimulatedController::find(int fd) {
    const auto found = descriptors_.find(fd);
    return found == descriptors_.end() ? nullptr : &found->second;
}

Interface* SimulatedController::phcOf(int fd) {
    const Descriptor* const descriptor = find(fd);
    if (descriptor == nullptr) return nullptr;
    for (Interface& phc : interfaces) {
        if (descriptor->path == "/dev/ptp" + text(phc.phcIndex)) return &phc;
    }
    return nullptr;
}

Interface* SimulatedController::phcOfClock(int clock) { return phcOf(~(clock >> 3)); }

Answer SimulatedController::open(const char* path, int flags) {
    const std::lock_guard lock(mutex_);
    const std::string name = path;
    if (const Outcome* fault = enter(Call::open, "open " + name + " " + text(flags))) return finish({-1, fault->error});
    bool exists = files_.contains(name) || name == kFpgaNode || name == kFerroxNode;
    for (const Interface& phc : interfaces) exists = exists || name == "/dev/ptp" + text(phc.phcIndex);
    if (!exists) return finish({-1, ENOENT});
    return finish(makeDescriptor(name));
}

Answer SimulatedController::close(int fd) {
    const std::lock_guard lock(mutex_);
    const Outcome* const fault = enter(Call::close, "close " + text(fd));
    const bool wasOpen = descriptors_.erase(fd) != 0;  // a close that reports an error has closed all the same
    if (fault != nullptr) return finish({-1, fault->error});
    return finish(wasOpen ? Answer{0, 0} : Answer{-1, EBADF});
}

Answer SimulatedController::read(int fd, void* buffer, std::size_t length) {
    const std::lock_guard lock(mutex_);
    const Outcome* const fault = enter(Call::read, "read " + text(fd) + " " + text(length));
    if (fault != nullptr && fault->error != 0) return finish({-1, fault->error});
    Descriptor* const descriptor = find(fd);
    if (descriptor == nullptr) return finish({-1, EBADF});
    std::string content;
    if (Interface* phc = phcOf(fd)) {
        if (phc->events.empty()) return finish({-1, EAGAIN});
        ptp_extts_event event{};
        event.t.sec = static_cast<std::int64_t>(phc->events.front() / kNsPerSecond);
        event.t.nsec = static_cast<std::uint32_t>(phc->events.front() % kNsPerSecond);
        phc->events.pop_front();
        content.assign(reinterpret_cast<const char*>(&event), sizeof event);
    } else {
        content = files_[descriptor->path].substr(std::min(descriptor->offset, files_[descriptor->path].size()));
    }
    std::size_t count = std::min(length, content.size());
    if (fault != nullptr && fault->count) count = std::min(count, static_cast<std::size_t>(*fault->count));
    std::memcpy(buffer, content.data(), count);
    descriptor->offset += count;
    return finish({static_cast<long>(count), 0});
}

Answer SimulatedController::write(int fd, const void* buffer, std::size_t length) {
    const std::lock_guard lock(mutex_);
    const std::string content(static_cast<const char*>(buffer), length);
    const Outcome* const fault = enter(Call::write, "write " + text(fd) + " " + content);
    if (fault != nullptr && fault->error != 0) return finish({-1, fault->error});
    Descriptor* const descriptor = find(fd);
    if (descriptor == nullptr) return finish({-1, EBADF});
    std::size_t count = length;
    if (fault != nullptr && fault->count) count = std::min(count, static_cast<std::size_t>(*fault->count));
    files_[descriptor->path] = content.substr(0, count);
    return finish({static_cast<long>(count), 0});
}

Answer SimulatedController::seek(int fd, long offset) {
    const std::lock_guard lock(mutex_);
    const Outcome* const fault = enter(Call::seek, "seek " + text(fd) + " " + text(offset));
    if (fault != nullptr && fault->error != 0) return finish({-1, fault->error});
    if (fault != nullptr && fault->count) return finish({*fault->count, 0});
    Descriptor* const descriptor = find(fd);
    if (descriptor == nullptr) return finish({-1, EBADF});
    descriptor->offset = static_cast<std::size_t>(offset);
    return finish({offset, 0});
}

Answer SimulatedController::select(int nfds, bool isWatched, long seconds, long microseconds) {
    const std::lock_guard lock(mutex_);
    const Outcome* const fault =
        enter(Call::select, "select " + text(nfds) + (isWatched ? " watched " : " unwatched ") + text(seconds) + "." +
                                text(microseconds));
    if (fault != nullptr && fault->error != 0) return finish({-1, fault->error});
    if (fault != nullptr && fault->count) return finish({*fault->count, 0});
    const Interface* const phc = phcOf(nfds - 1);
    if (phc == nullptr) return finish({-1, EBADF});
    return finish({phc->events.empty() ? 0 : 1, 0});
}

Answer SimulatedController::socket(int domain, int type, int protocol) {
    const std::lock_guard lock(mutex_);
    const std::string line = "socket " + text(domain) + " " + text(type) + " " + text(protocol);
    if (const Outcome* fault = enter(Call::socket, line)) return finish({-1, fault->error});
    return finish(makeDescriptor("socket"));
}

Answer SimulatedController::readClock(int clock, std::int64_t& seconds, std::int64_t& nanoseconds) {
    const std::lock_guard lock(mutex_);
    const Outcome* const fault = enter(Call::readClock, "read clock " + text(clock));
    if (fault != nullptr && clock == 0) return finish({-1, fault->error});
    // The monotonic clock never fails: who reads it has no use for a failure, and the waits stay comparable.
    const std::uint64_t timeNs = clock == 0 ? nowNs_ + static_cast<std::uint64_t>(systemOffsetNs_) : nowNs_;
    seconds = static_cast<std::int64_t>(timeNs / kNsPerSecond);
    nanoseconds = static_cast<std::int64_t>(timeNs % kNsPerSecond);
    return finish(fault != nullptr ? Answer{-1, fault->error} : Answer{});
}

Answer SimulatedController::setClock(int clock, std::int64_t seconds, std::int64_t nanoseconds) {
    const std::lock_guard lock(mutex_);
    const std::string line = "set clock " + text(clock) + " " + text(seconds) + "." + text(nanoseconds);
    if (const Outcome* fault = enter(Call::setClock, line)) return finish({-1, fault->error});
    const std::uint64_t target =
        static_cast<std::uint64_t>(seconds) * kNsPerSecond + static_cast<std::uint64_t>(nanoseconds);
    systemOffsetNs_ = static_cast<std::int64_t>(target - nowNs_);
    return finish({});
}

Answer SimulatedController::adjustClock(int clock, std::uint32_t modes, std::int64_t frequency, std::int64_t seconds,
                                        std::int64_t fraction) {
    const std::lock_guard lock(mutex_);
    const std::string line = "adjust clock " + text(clock) + " modes " + text(modes) + " frequency " + text(frequency) +
                             " by " + text(seconds) + "." + text(fraction);
    if (const Outcome* fault = enter(Call::adjustClock, line)) return finish({-1, fault->error});
    Interface* const phc = phcOfClock(clock);
    if (phc == nullptr) return finish({-1, EINVAL});
    if ((modes & 0x0100U) != 0) {
        phc->offsetNs = sum(phc->offsetNs, static_cast<std::uint64_t>(seconds) * kNsPerSecond +
                                               static_cast<std::uint64_t>(fraction - kStepLossNs));
    }
    return finish({});
}

Answer SimulatedController::openDirectory(const char* path) {
    const std::lock_guard lock(mutex_);
    const std::string name = path;
    if (const Outcome* fault = enter(Call::openDirectory, "open directory " + name)) return finish({-1, fault->error});
    if (name != "/sys/class/net/" && name != kSi514) return finish({-1, ENOENT});
    return finish(makeDescriptor(name));
}

std::optional<SimulatedController::Entry> SimulatedController::readDirectory(int directory, int& error) {
    const std::lock_guard lock(mutex_);
    const std::vector<Entry> network{{".", DT_DIR},    {"..", DT_DIR},
                                     {"lo", DT_LNK},   {options_.firstName, DT_LNK},
                                     {"eth7", DT_LNK}, {options_.secondName, DT_LNK}};
    static const std::vector<Entry> kClients{{".", DT_DIR},      {"..", DT_DIR},     {"bind", DT_REG},
                                             {"module", DT_LNK}, {"7-004g", DT_LNK}, {"0-0055", DT_LNK},
                                             {"1-0055", DT_LNK}};
    const Outcome* const fault = enter(Call::readDirectory, "read directory " + text(directory));
    error = fault != nullptr ? fault->error : 0;
    Descriptor* const descriptor = find(directory);
    if (fault != nullptr || descriptor == nullptr) return finish({-1, error}), std::nullopt;
    const auto& entries = descriptor->path == kSi514 ? kClients : network;
    if (descriptor->directoryPosition == entries.size()) return finish({-1, 0}), std::nullopt;
    leave({});
    return entries[descriptor->directoryPosition++];
}

Answer SimulatedController::closeDirectory(int directory) {
    const std::lock_guard lock(mutex_);
    const Outcome* const fault = enter(Call::closeDirectory, "close directory " + text(directory));
    descriptors_.erase(directory);
    return finish({fault != nullptr ? -1 : 0, fault != nullptr ? fault->error : 0});
}

Answer SimulatedController::glob(const char* pattern, int flags, std::string& found) {
    const std::lock_guard lock(mutex_);
    const std::string name = pattern;
    if (const Outcome* fault = enter(Call::glob, "glob " + name + " " + text(flags)))
        return finish({fault->count.value(), 0});
    const std::string head = "/proc/driver/zu/*/deviceInterfaces/";
    found = name == head + "nZUHORLIXFPGA000_HorlixFpga\\\\*"       ? kFpgaDirectory
            : name == head + "nZUHORLIXFERROX000_HorlixFerrox\\\\*" ? kFerroxDirectory
                                                                    : "";
    return finish({found.empty() ? 3 : 0, 0});
}

Answer SimulatedController::openStream(const char* path, const char* mode) {
    const std::lock_guard lock(mutex_);
    const std::string name = path;
    if (const Outcome* fault = enter(Call::openStream, "open stream " + name + " " + mode))
        return finish({-1, fault->error});
    if (!files_.contains(name)) return finish({-1, ENOENT});
    return finish(makeDescriptor(name));
}

Answer SimulatedController::readStream(int stream, std::string& content) {
    const std::lock_guard lock(mutex_);
    const Outcome* const fault = enter(Call::readStream, "read stream " + text(stream));
    if (fault != nullptr && fault->error != 0) return finish({0, fault->error});
    content = files_[find(stream)->path];
    if (fault != nullptr && fault->count && *fault->count > static_cast<long>(content.size())) {
        content.resize(static_cast<std::size_t>(*fault->count), 'x');
    } else if (fault != nullptr && fault->count) {
        content.resize(static_cast<std::size_t>(*fault->count));
    }
    return finish({static_cast<long>(content.size()), 0});
}

Answer SimulatedController::closeStream(int stream) {
    const std::lock_guard lock(mutex_);
    const Outcome* const fault = enter(Call::closeStream, "close stream " + text(stream));
    descriptors_.erase(stream);
    return finish({fault != nullptr ? -1 : 0, fault != nullptr ? fault->error : 0});
}

Answer SimulatedController::spawn(int& pid, const char* path, char* const arguments[]) {
    const std::lock_guard lock(mutex_);
    std::string line = std::string("spawn ") + path;
    for (; *arguments != nullptr; ++arguments) line += std::string(" ") + *arguments;
    if (const Outcome* fault = enter(Call::spawn, line)) {
        if (fault->count) return finish({*fault->count, 0});  // the result alone says so, errno does not
        return finish({fault->error, fault->error});
    }
    pid = 4000 + static_cast<int>(children_.size());
    children_[pid] = true;
    return finish({});
}

Answer SimulatedController::kill(int pid, int signal) {
    const std::lock_guard lock(mutex_);
    if (const Outcome* fault = enter(Call::kill, "kill " + text(pid) + " " + text(signal)))
        return finish({-1, fault->error});
    if (!children_.contains(pid)) return finish({-1, ESRCH});
    children_[pid] = false;
    return finish({});
}

Answer SimulatedController::sleep(std::int64_t seconds, std::int64_t nanoseconds) {
    const std::lock_guard lock(mutex_);
    const std::string line = "sleep " + text(seconds) + "." + text(nanoseconds);
    if (const Outcome* fault = enter(Call::sleep, line)) return finish({-1, fault->error});
    nowNs_ += static_cast<std::uint64_t>(seconds) * kNsPerSecond + static_cast<std::uint64_t>(nanoseconds);
    return finish({});
}

/// The end of a wait for the event: set, or the period over, which is what a sweep fails.
std::int64_t SimulatedController::nsUntil(std::int64_t seconds, std::int64_t nanoseconds) const {
    const std::lock_guard lock(mutex_);
    return seconds * static_cast<std::int64_t>(kNsPerSecond) + nanoseconds - static_cast<std::int64_t>(nowNs_);
}

Answer SimulatedController::wait(bool isSignalled, std::int64_t lengthNs) {
    const std::lock_guard lock(mutex_);
    if (isSignalled) {
        journal_.emplace_back("wait: signalled");
        return {};
    }
    const Outcome* const fault = enter(Call::wait, "wait " + text(lengthNs));
    return finish({fault != nullptr ? fault->error : ETIMEDOUT, 0});
}

std::string SimulatedController::describeRequest(int fd, unsigned long request, const void* argument) {
    std::string line = "ioctl " + text(fd) + " " + text(request);
    const Descriptor* const descriptor = find(fd);
    if (descriptor == nullptr) return line;
    if (descriptor->path == "socket") return line + " " + static_cast<const ifreq*>(argument)->ifr_name;
    if (phcOf(fd) != nullptr) {
        const std::size_t size = (request >> 16) & 0x3FFF;
        return request == PTP_CLOCK_GETCAPS ? line : line + " " + hex(argument, size);
    }
    const auto& block = *static_cast<const MethodArguments*>(argument);
    line += " in " + text(block.inSize) + " out " + text(block.outSize) + " returned " + text(block.returned) + " ";
    const auto* const in = reinterpret_cast<const unsigned char*>(block.in);
    if (descriptor->path == kFpgaNode && (request & 0xFE) == 2) {  // the argument is the address of a record
        const unsigned char* record;
        std::memcpy(&record, in, sizeof record);
        return line + hex(record, *record) + " " + hex(in + 8, 4);
    }
    return line + hex(in, block.inSize == 16 ? 12 : block.inSize);  // what pads a buffer is anything
}

Answer SimulatedController::ioctl(int fd, unsigned long request, void* argument) {
    const std::lock_guard lock(mutex_);
    const Descriptor* const descriptor = find(fd);
    const bool isFpga = descriptor != nullptr && descriptor->path == kFpgaNode;
    const bool isDriver = isFpga || (descriptor != nullptr && descriptor->path == kFerroxNode);
    const Outcome* const fault = enter(Call::ioctl, describeRequest(fd, request, argument), isDriver);
    if (fault != nullptr && fault->error != 0) return finish({-1, fault->error});
    if (descriptor == nullptr) return finish({-1, EBADF});
    if (isFpga && (request & 0xFF) == 2 && refusesMetadata.exchange(false)) {
        ++refusedMetadata;
        return finish({-1, EIO});
    }
    if (isDriver) return finish(driverRequest(isFpga, request, argument, fault != nullptr ? fault->driverStatus : 0));
    if (descriptor->path == "socket") return finish(interfaceRequest(request, argument));
    Interface* const phc = phcOf(fd);
    return finish(phc != nullptr ? phcRequest(*phc, request, argument) : Answer{-1, ENOTTY});
}

Answer SimulatedController::interfaceRequest(unsigned long request, void* argument) {
    auto& asked = *static_cast<ifreq*>(argument);
    for (const Interface& interface : interfaces) {
        if (interface.name != asked.ifr_name) continue;
        if (request == 0x8913) {
            asked.ifr_flags = static_cast<short>(interface.isUp ? 0x1043 : 0x1042);
        } else {
            reinterpret_cast<ethtool_ts_info*>(asked.ifr_data)->phc_index = interface.phcIndex;
        }
        return {};
    }
    return {-1, ENODEV};
}

Answer SimulatedController::phcRequest(Interface& phc, unsigned long request, void* argument) {
    if (request == 0x80503D01) {
        auto& capabilities = *static_cast<ptp_clock_caps*>(argument);
        capabilities.n_ext_ts = 2;
        capabilities.n_per_out = 2;
        capabilities.n_pins = &phc == &interfaces[0] ? options_.pinsOfFirst : 4;
    } else if (request == 0x40603D07) {
        phc.pinFunction = static_cast<const ptp_pin_desc*>(argument)->func;
        if (phc.pinFunction == 0) phc.isStamping = false;
    } else if (request == 0x40103D02) {
        if (phc.pinFunction != 1) return {-1, EBUSY};
        phc.isStamping = true;
    } else {
        return {-1, ENOTTY};
    }
    return {};
}

Answer SimulatedController::driverRequest(bool isFpga, unsigned long request, void* argument,
                                          std::int32_t driverStatus) {
    auto& block = *static_cast<MethodArguments*>(argument);
    std::uint64_t value = 0;
    if (block.inSize == 16) std::memcpy(&value, reinterpret_cast<const void*>(block.in), sizeof value);
    const auto method = static_cast<unsigned>(request & 0xFF);
    const bool isRefused = driverStatus < 0;
    const std::uint64_t result = isFpga ? fpgaMethod(method, value, isRefused) : ferroxMethod(method, value, isRefused);
    auto* const out = reinterpret_cast<unsigned char*>(block.out);
    if (block.outSize == 16) std::memcpy(out, &result, sizeof result);
    std::memcpy(out + (block.outSize == 16 ? 8 : 0), &driverStatus, sizeof driverStatus);
    block.returned = block.outSize;
    return {};
}

std::uint64_t SimulatedController::ferroxMethod(unsigned method, std::uint64_t argument, bool isRefused) {
    switch (method) {
        case 0:
            return nowNs_ + static_cast<std::uint64_t>(ferroxOffsetNs_);
        case 1:
            if (!isRefused) emitEpoch();
            return 0;
        case 2:
            return ferroxEpochNs_;
        case 3:
            if (!isRefused) ferroxOffsetNs_ = sum(ferroxOffsetNs_, argument);
            return 0;
        default:
            return 0;
    }
}

std::uint64_t SimulatedController::fpgaMethod(unsigned method, std::uint64_t argument, bool isRefused) {
    switch (method) {
        case 0:
            if (!isRefused) fpgaOffsetNs_ = sum(fpgaOffsetNs_, argument - kStepLossNs);
            return 0;
        case 1:
            if (!isRefused) fpgaIsRunning = true;
            return 0;
        case 3:
            reinterpret_cast<unsigned char*>(argument)[4] = fpgaIsRunning ? 1 : 0;
            return 0;
        case 4:
            return fpgaReadsZero ? 0 : nowNs_ + static_cast<std::uint64_t>(fpgaOffsetNs_);
        case 5:
            return fpgaEpochNs_;
        default:
            return 0;
    }
}

/// One pulse on every clock: a rising and a falling edge where pins are armed.
void SimulatedController::emitEpoch() {
    ferroxEpochNs_ = nowNs_ + static_cast<std::uint64_t>(ferroxOffsetNs_);
    if (edgesThatTheFpgaMisses > 0) {
        --edgesThatTheFpgaMisses;
    } else {
        fpgaEpochNs_ = nowNs_ + static_cast<std::uint64_t>(fpgaOffsetNs_);
    }
    for (Interface& phc : interfaces) {
        if (!phc.isStamping) continue;
        phc.events.push_back(phcTime(phc));
        phc.events.push_back(phcTime(phc) + kPulseNs);
    }
}

}  // namespace faults
