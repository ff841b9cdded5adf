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

std::string timeOf(std::int64_t seconds, std::int64_t fraction) {
    return std::to_string(seconds) + "." + std::to_string(fraction);
}

}  // namespace

std::string Outcome::describe() const {
    if (error != 0) return "errno " + std::to_string(error);
    if (driverStatus != 0) return "driver status " + std::to_string(driverStatus);
    return "count " + std::to_string(count.value_or(-1));
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
    note("syslog " + std::to_string(priority) + " " + std::string(line));
}

void SimulatedController::noteWhatIsLeft() {
    std::string line = "left:";
    for (const auto& [fd, descriptor] : descriptors_) line += " " + std::to_string(fd) + "=" + descriptor.path;
    for (const auto& [pid, lives] : children_) line += (lives ? " alive " : " zombie ") + std::to_string(pid);
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
    journal_.back() += " = " + std::to_string(answer.value);
    if (answer.error != 0) journal_.back() += " errno " + std::to_string(answer.error);
}

/// A call without a result: returns 0, or the error.
Answer SimulatedController::plain(Call call, std::string line) {
    const std::lock_guard lock(mutex_);
    const Outcome* const fault = enter(call, std::move(line));
    return finish({fault != nullptr ? fault->error : 0, 0});
}

/// The end of a descriptor's life, which a failed call ends too.
Answer SimulatedController::release(Call call, const char* verb, int fd) {
    const std::lock_guard lock(mutex_);
    const Outcome* const fault = enter(call, line(verb, fd));
    const bool wasOpen = descriptors_.erase(fd) != 0;
    if (fault != nullptr) return finish({-1, fault->error});
    return finish(wasOpen ? Answer{0, 0} : Answer{-1, EBADF});
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
        if (descriptor->path == "/dev/ptp" + std::to_string(phc.phcIndex)) return &phc;
    }
    return nullptr;
}

Interface* SimulatedController::phcOfClock(int clock) { return phcOf(~(clock >> 3)); }

Answer SimulatedController::open(const char* path, int flags) {
    return perform(Call::open, line("open", path, flags), [&](auto) {
        const std::string name = path;
        bool exists = files_.contains(name) || name == kFpgaNode || name == kFerroxNode;
        for (const Interface& phc : interfaces) exists = exists || name == "/dev/ptp" + std::to_string(phc.phcIndex);
        return exists ? makeDescriptor(name) : Answer{-1, ENOENT};
    });
}

Answer SimulatedController::read(int fd, void* buffer, std::size_t length) {
    return perform(Call::read, line("read", fd, length), [&](std::optional<long> shortCount) -> Answer {
        Descriptor* const descriptor = find(fd);
        if (descriptor == nullptr) return {-1, EBADF};
        std::string content;
        if (Interface* phc = phcOf(fd)) {
            if (phc->events.empty()) return {-1, EAGAIN};
            ptp_extts_event event{};
            event.t.sec = static_cast<std::int64_t>(phc->events.front() / kNsPerSecond);
            event.t.nsec = static_cast<std::uint32_t>(phc->events.front() % kNsPerSecond);
            phc->events.pop_front();
            content.assign(reinterpret_cast<const char*>(&event), sizeof event);
        } else {
            content = files_[descriptor->path].substr(std::min(descriptor->offset, files_[descriptor->path].size()));
        }
        std::size_t count = std::min(length, content.size());
        if (shortCount) count = std::min(count, static_cast<std::size_t>(*shortCount));
        std::memcpy(buffer, content.data(), count);
        descriptor->offset += count;
        return {static_cast<long>(count), 0};
    });
}

Answer SimulatedController::write(int fd, const void* buffer, std::size_t length) {
    const std::string content(static_cast<const char*>(buffer), length);
    return perform(Call::write, line("write", fd, content), [&](std::optional<long> shortCount) -> Answer {
        Descriptor* const descriptor = find(fd);
        if (descriptor == nullptr) return {-1, EBADF};
        const std::size_t count = shortCount ? std::min(length, static_cast<std::size_t>(*shortCount)) : length;
        files_[descriptor->path] = content.substr(0, count);
        return {static_cast<long>(count), 0};
    });
}

Answer SimulatedController::seek(int fd, long offset) {
    return perform(Call::seek, line("seek", fd, offset), [&](std::optional<long> result) -> Answer {
        if (result) return {*result, 0};
        Descriptor* const descriptor = find(fd);
        if (descriptor == nullptr) return {-1, EBADF};
        descriptor->offset = static_cast<std::size_t>(offset);
        return {offset, 0};
    });
}

Answer SimulatedController::select(int nfds, bool isWatched, long seconds, long microseconds) {
    const std::string text = line("select", nfds, isWatched ? "watched" : "unwatched", timeOf(seconds, microseconds));
    return perform(Call::select, text, [&](std::optional<long> result) -> Answer {
        if (result) return {*result, 0};
        const Interface* const phc = phcOf(nfds - 1);
        if (phc == nullptr) return {-1, EBADF};
        return {phc->events.empty() ? 0 : 1, 0};
    });
}

Answer SimulatedController::socket(int domain, int type, int protocol) {
    return perform(Call::socket, line("socket", domain, type, protocol),
                   [&](auto) { return makeDescriptor("socket"); });
}

Answer SimulatedController::readClock(int clock, std::int64_t& seconds, std::int64_t& nanoseconds) {
    const std::lock_guard lock(mutex_);
    const Outcome* const fault = enter(Call::readClock, line("read clock", clock));
    if (fault != nullptr && clock == 0) return finish({-1, fault->error});
    // The monotonic clock never fails: callers cannot use a failure, and the waits stay comparable.
    const std::uint64_t timeNs = clock == 0 ? nowNs_ + static_cast<std::uint64_t>(systemOffsetNs_) : nowNs_;
    seconds = static_cast<std::int64_t>(timeNs / kNsPerSecond);
    nanoseconds = static_cast<std::int64_t>(timeNs % kNsPerSecond);
    return finish(fault != nullptr ? Answer{-1, fault->error} : Answer{});
}

Answer SimulatedController::setClock(int clock, std::int64_t seconds, std::int64_t nanoseconds) {
    return perform(Call::setClock, line("set clock", clock, timeOf(seconds, nanoseconds)), [&](auto) {
        const std::uint64_t target =
            static_cast<std::uint64_t>(seconds) * kNsPerSecond + static_cast<std::uint64_t>(nanoseconds);
        systemOffsetNs_ = static_cast<std::int64_t>(target - nowNs_);
        return Answer{};
    });
}

Answer SimulatedController::openDirectory(const char* path) {
    return perform(Call::openDirectory, line("open directory", path), [name = std::string(path), this](auto) {
        return name == "/sys/class/net/" || name == kSi514 ? makeDescriptor(name) : Answer{-1, ENOENT};
    });
}

std::optional<SimulatedController::Entry> SimulatedController::readDirectory(int directory, int& error) {
    const std::lock_guard lock(mutex_);
    const std::vector<Entry> network{{".", DT_DIR},    {"..", DT_DIR},
                                     {"lo", DT_LNK},   {options_.firstName, DT_LNK},
                                     {"eth7", DT_LNK}, {options_.secondName, DT_LNK}};
    static const std::vector<Entry> kClients{{".", DT_DIR},      {"..", DT_DIR},     {"bind", DT_REG},
                                             {"module", DT_LNK}, {"7-004g", DT_LNK}, {"0-0055", DT_LNK},
                                             {"1-0055", DT_LNK}};
    const Outcome* const fault = enter(Call::readDirectory, line("read directory", directory));
    error = fault != nullptr ? fault->error : 0;
    Descriptor* const descriptor = find(directory);
    if (fault != nullptr || descriptor == nullptr) return finish({-1, error}), std::nullopt;
    const auto& entries = descriptor->path == kSi514 ? kClients : network;
    if (descriptor->directoryPosition == entries.size()) return finish({-1, 0}), std::nullopt;
    leave({});
    return entries[descriptor->directoryPosition++];
}

Answer SimulatedController::glob(const char* pattern, int flags, std::string& found) {
    return perform(Call::glob, line("glob", pattern, flags), [&](std::optional<long> result) -> Answer {
        if (result) return {*result, 0};
        const std::string name = pattern, head = "/proc/driver/zu/*/deviceInterfaces/";
        found = name == head + "nZUHORLIXFPGA000_HorlixFpga\\\\*"       ? kFpgaDirectory
                : name == head + "nZUHORLIXFERROX000_HorlixFerrox\\\\*" ? kFerroxDirectory
                                                                        : "";
        return {found.empty() ? 3 : 0, 0};
    });
}

Answer SimulatedController::openStream(const char* path, const char* mode) {
    return perform(Call::openStream, line("open stream", path, mode), [&](auto) {
        return files_.contains(path) ? makeDescriptor(path) : Answer{-1, ENOENT};
    });
}

Answer SimulatedController::readStream(int stream, std::string& content) {
    const std::lock_guard lock(mutex_);
    const Outcome* const fault = enter(Call::readStream, line("read stream", stream));
    if (fault != nullptr && fault->error != 0) return finish({0, fault->error});
    content = files_[find(stream)->path];
    if (fault != nullptr && fault->count) content.resize(static_cast<std::size_t>(*fault->count), 'x');
    return finish({static_cast<long>(content.size()), 0});
}

Answer SimulatedController::spawn(int& pid, const char* path, char* const arguments[]) {
    const std::lock_guard lock(mutex_);
    std::string text = line("spawn", path);
    for (; *arguments != nullptr; ++arguments) text += std::string(" ") + *arguments;
    if (const Outcome* fault = enter(Call::spawn, text)) {
        if (fault->count) return finish({*fault->count, 0});  // only the result shows it, not errno
        return finish({fault->error, fault->error});
    }
    pid = 4000 + static_cast<int>(children_.size());
    children_[pid] = true;
    return finish({});
}

Answer SimulatedController::kill(int pid, int signal) {
    return perform(Call::kill, line("kill", pid, signal), [&](auto) {
        if (!children_.contains(pid)) return Answer{-1, ESRCH};
        children_[pid] = false;
        return Answer{};
    });
}

Answer SimulatedController::sleep(std::int64_t seconds, std::int64_t nanoseconds) {
    return perform(Call::sleep, line("sleep", timeOf(seconds, nanoseconds)), [&](auto) {
        nowNs_ += static_cast<std::uint64_t>(seconds) * kNsPerSecond + static_cast<std::uint64_t>(nanoseconds);
        return Answer{};
    });
}

std::int64_t SimulatedController::nsUntil(std::int64_t seconds, std::int64_t nanoseconds) const {
    const std::lock_guard lock(mutex_);
    return seconds * static_cast<std::int64_t>(kNsPerSecond) + nanoseconds - static_cast<std::int64_t>(nowNs_);
}

/// The end of a wait for the event: set, or period over; the latter is what a sweep fails.
Answer SimulatedController::wait(bool isSignalled, std::int64_t lengthNs) {
    const std::lock_guard lock(mutex_);
    if (isSignalled) {
        journal_.emplace_back("wait: signalled");
        return {};
    }
    const Outcome* const fault = enter(Call::wait, line("wait", lengthNs));
    return finish({fault != nullptr ? fault->error : ETIMEDOUT, 0});
}

}  // namespace faults
