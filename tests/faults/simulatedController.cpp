// The simulated controller for fault sweeps.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/faults/simulatedController.h"

#include <linux/ptp_clock.h>

namespace faults {
namespace {

constexpr std::uint64_t kCallNs = 1000;
constexpr std::uint64_t kNsPerSecond = 1'000'000'000;

const std::string kFpgaDirectory = "/proc/driver/zu/fpga/deviceInterfaces/nZUHORLIXFPGA000_HorlixFpga\\0";
const std::string kFerroxDirectory = "/proc/driver/zu/ferrox/deviceInterfaces/nZUHORLIXFERROX000_HorlixFerrox\\0";
const std::string kSi514 = "/sys/bus/i2c/drivers/si514";

template <typename Number>
std::string text(Number number) {
    return std::to_string(number);
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

/// Journals the call and returns its fault, or null.
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

/// A call without a result: returns 0, or the error.
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
    const bool wasOpen = descriptors_.erase(fd) != 0;  // a failed close still closes
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
    // The monotonic clock never fails: callers cannot use a failure, and the waits stay comparable.
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
        if (fault->count) return finish({*fault->count, 0});  // only the result shows it, not errno
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

/// The end of a wait for the event: set, or period over; the latter is what a sweep fails.
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

}  // namespace faults
