// The required calls of the timekeeper and the exported functions, in order.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/faults/account.h"

#include <bitset>

namespace faults {
namespace {

constexpr int kLogError = 3;
constexpr int kLogWarning = 4;
constexpr int kLogInfo = 6;
constexpr std::int64_t kToleranceNs = 100;

const std::string kNetwork = "/sys/class/net/";

std::string logged(const Error& error) { return "FAIL(" + std::to_string(error.code) + "," + error.json + ")"; }

/// Whether the first line of a file is `line`; a short read is continued until the line is complete.
bool firstLineIs(Caller& caller, const std::string& path, const std::string& line) {
    const long fd = caller.take(caller.controller.open(path.c_str(), 02000000));
    if (fd < 0) return false;
    std::string content;
    long count = 1;
    while (count > 0 && content.size() < 64 && content.find('\n') == std::string::npos) {
        char buffer[64];
        count = caller.take(caller.controller.read(static_cast<int>(fd), buffer, 64 - content.size()));
        if (count > 0) content.append(buffer, static_cast<std::size_t>(count));
    }
    caller.take(caller.controller.close(static_cast<int>(fd)));
    return count >= 0 && content.substr(0, content.find('\n')) == line;
}

std::vector<std::string> findCandidates(Caller& caller) {
    const long directory = caller.take(caller.controller.openDirectory(kNetwork.c_str()));
    if (directory < 0) {
        fail(kUnsupported, "i210EpochDeviceFactory", 35, "Failed to open network devices directory.");
    }
    std::vector<std::string> names;
    int error = 0;
    while (const auto entry = caller.controller.readDirectory(static_cast<int>(directory), error)) {
        if (entry->name == "." || entry->name == "..") continue;
        const std::string device = kNetwork + entry->name + "/device/";
        if (firstLineIs(caller, device + "vendor", "0x8086") && firstLineIs(caller, device + "device", "0x1533")) {
            names.push_back(entry->name);
        }
    }
    if (error != 0) caller.error = error;
    caller.take(caller.controller.closeDirectory(static_cast<int>(directory)));
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<I210Account> discover(Caller& caller) {
    std::vector<I210Account> devices;
    for (const std::string& name : findCandidates(caller)) {
        try {
            devices.emplace_back(caller, name);
            caller.controller.syslog(kLogInfo, "Interface " + name + " will be synchronized.");
        } catch (const Error& error) {
            if (error.code != kUnsupported) {
                for (I210Account& device : devices) device.release(caller);
                throw;
            }
            caller.controller.syslog(kLogWarning,
                                     "*** warning: Interface " + name + " is not usable and will not be synchronized.");
        }
    }
    return devices;
}

std::int64_t differenceNs(std::uint64_t time, std::uint64_t reference) {
    const auto difference = static_cast<std::int64_t>(time - reference);
    if ((difference < 0) != (time < reference)) {
        fail(kOsFault, "halvexTimekeeper", 58, "Overflow/Underflow error occurred");
    }
    return difference;
}

/// One epoch alignment, call by call.
class Alignment {
public:
    Alignment(Caller& caller, FerroxAccount& master, std::vector<SlaveAccount*> slaves)
        : caller_(caller), master_(master), slaves_(std::move(slaves)) {}

    void run() {
        for (; done_.count() < slaves_.size(); ++iterations_) {
            if (iterations_ == 2000) giveUp();
            try {
                iterate();
            } catch (const Error& error) {
                caller_.controller.syslog(kLogError, "Encountered err while trying to sync " + handled_ +
                                                         ", retry count " + std::to_string(retries_) + ": " +
                                                         logged(error));
                if (error.code != kTimedOut || retries_ > 4) throw;
                ++retries_;
            }
        }
        caller_.controller.syslog(kLogInfo, "Successfully aligned all timekeeping elements after " +
                                                std::to_string(iterations_) + " iterations.");
    }

private:
    void iterate() {
        for (std::size_t i = 0; i < slaves_.size(); ++i) {
            if (done_[i]) continue;
            handled_ = slaves_[i]->getName();
            if (slaves_[i]->isEnabled(caller_)) {
                slaves_[i]->arm(caller_);
            } else {
                done_.set(i);
            }
        }
        if (done_.count() >= slaves_.size()) return;
        handled_ = "FerroxEpochDevice";
        const std::uint64_t masterTime = master_.generateEpoch(caller_);
        for (std::size_t i = 0; i < slaves_.size(); ++i) {
            if (!done_[i]) align(i, masterTime);
        }
    }

    void align(std::size_t i, std::uint64_t masterTime) {
        SlaveAccount& slave = *slaves_[i];
        handled_ = slave.getName();
        const std::int64_t difference =
            slave.isEnabled(caller_) ? differenceNs(slave.getEpochTimestamp(caller_), masterTime) : 0;
        if (-kToleranceNs <= difference && difference <= kToleranceNs) {
            done_.set(i);
            slave.flag = false;
            return;
        }
        const std::uint64_t back = 0 - static_cast<std::uint64_t>(difference);
        slave.adjustTime(caller_, static_cast<std::int64_t>(iterations_ % 2 == 1 ? 2 * back : back));
    }

    void giveUp() const {
        std::string names;
        for (std::size_t i = 0; i < slaves_.size(); ++i) names += done_[i] ? "" : slaves_[i]->getName() + " ";
        fail(-52024, "halvexTimekeeper", 71, "Failed to sync following slaves: " + names);
    }

    Caller& caller_;
    FerroxAccount& master_;
    std::vector<SlaveAccount*> slaves_;
    std::bitset<64> done_;
    int iterations_ = 0;
    int retries_ = 0;
    std::string handled_;
};

/// Reads the monotonic clock for a deadline: the 2 s of the thread, the 15 ms of a lock.
void readDeadline(Caller& caller) {
    std::int64_t ignored = 0;
    caller.take(caller.controller.readClock(1, ignored, ignored));
}

/// The nearest multiple of 200 ns, halves away from zero.
std::int64_t nearestStep(std::int64_t offsetNs) { return (offsetNs + (offsetNs >= 0 ? 100 : -100)) / 200 * 200; }

}  // namespace

struct Account::Timekeeper {
    std::vector<I210Account> i210s;
    std::optional<FpgaAccount> fpga;
    std::optional<FerroxAccount> master;
    std::optional<SystemClockAccount> systemClock;
    std::optional<OscillatorAccount> oscillator;
    bool hasPendingAlignment = false;
    std::optional<Error> alignmentError;
    bool isPtp = false;

    std::vector<SlaveAccount*> slaves() {
        std::vector<SlaveAccount*> all;
        for (I210Account& device : i210s) all.push_back(&device);
        all.push_back(&*fpga);
        return all;
    }
};

/// On failure releases what was built in reverse order; the I210s, which discovery holds, last and in their own order.
void Account::build() {
    auto made = std::make_shared<Timekeeper>();
    made->i210s = discover(host_);
    if (made->i210s.empty()) {
        fail(kNotInitialized, "halvexTimekeeperPlugin", 75,
             "Can not synchronize system time without at least one usable PHC interface.");
    }
    const std::string source = made->i210s.front().interface;
    controller_.syslog(kLogInfo, "System time will be synchronized to " + source + ".");
    try {
        made->fpga.emplace(host_);
        made->master.emplace(host_);
        made->systemClock.emplace(host_, source);
        made->oscillator.emplace(host_);
        const std::uint64_t systemTime = made->systemClock->getTime(host_);
        made->master->adjustTime(host_, nearestStep(differenceNs(systemTime, made->master->getTime(host_))));
        Alignment(host_, *made->master, made->slaves()).run();
    } catch (const Error&) {
        if (made->oscillator) made->oscillator->release(host_);
        if (made->systemClock) made->systemClock->release(host_);
        if (made->master) made->master->release(host_);
        if (made->fpga) made->fpga->release(host_);
        for (I210Account& device : made->i210s) device.release(host_);
        throw;
    }
    timekeeper_ = std::move(made);
}

void Account::releaseTimekeeper() {
    if (!timekeeper_) return;
    const auto going = std::move(timekeeper_);
    for (I210Account& device : going->i210s) device.release(host_);
    going->fpga->release(host_);
    going->oscillator->release(host_);
    going->systemClock->release(host_);
    going->master->release(host_);
}

void Account::report(const char* name, const Error& error) {
    controller_.syslog(kLogError, std::string("Encountered error in ") + name + ": " + logged(error));
    controller_.note(std::string(name) + " code " + std::to_string(error.code) + " " + error.json + observed_);
}

template <typename Operation>
void Account::framed(const char* name, Operation&& operation) {
    host_.error = 0;
    try {
        if (monitorError_) {
            const Error collected = *monitorError_;
            monitorError_.reset();
            throw collected;
        }
        if (!timekeeper_) {
            fail(kNotInitialized, "halvexTimekeeperPlugin", 160,
                 "zuqxmtk_initialize was not called or did not successfully initialize the timekeeper.");
        }
        operation();
        controller_.note(std::string(name) + " code 0 null" + observed_);
    } catch (const Error& error) {
        report(name, error);
    }
    observed_.clear();
}

void Account::initialize() {
    host_.error = 0;
    try {
        const auto failPlatform = [](std::int32_t code, int line) {
            throw Error{code, "{\"file\":\"synchronization\",\"line\":" + std::to_string(line) +
                                  ",\"component\":\"halvexTim\"}"};
        };
        if (controller_.makeMutex().value != 0) failPlatform(-52003, 655);
        if (controller_.makeCondition().value != 0) failPlatform(-52008, 1717);
        build();
        const long started = controller_.startThread().value;
        if (started != 0) {
            releaseTimekeeper();
            failForeign(strerror(static_cast<int>(started)));
        }
        isThreadRunning_ = true;
        monitor_.error = 0;
        readDeadline(monitor_);
        controller_.note("zuqxmtk_initialize code 0 null");
    } catch (const Error& error) {
        report("zuqxmtk_initialize", error);
    }
}

void Account::finalize() {
    host_.error = 0;
    if (isThreadRunning_) {
        isThreadRunning_ = false;  // before the pass: it is the last, no wait follows
        pass(true);
    }
    releaseTimekeeper();
    controller_.note("zuqxmtk_finalize");
}

void Account::getTime() {
    std::uint64_t time = kUntouchedTime;
    observed_ = " " + std::to_string(time);
    framed("zuqxmtk_getTime", [&] { observed_ = " " + std::to_string(timekeeper_->master->getTime(host_)); });
}

void Account::getLimits() {
    observed_ = " 0";
    framed("zuqxmtk_getMinCorrectionPerSecond", [&] { observed_ = " -62000"; });
    observed_ = " 0";
    framed("zuqxmtk_getMaxCorrectionPerSecond", [&] { observed_ = " 62000"; });
}

void Account::getCorrection() {
    observed_ = " " + std::to_string(kUntouchedCorrection);
    framed("zuqxmtk_getCorrectionPerSecond",
           [&] { observed_ = " " + std::to_string(timekeeper_->oscillator->getCorrection(host_)); });
}

void Account::setCorrection(std::int32_t ppb) {
    framed("zuqxmtk_setCorrectionPerSecond", [&] { timekeeper_->oscillator->setCorrection(host_, ppb); });
}

void Account::finishAlignment() {
    if (!std::exchange(timekeeper_->hasPendingAlignment, false)) return;
    if (const auto error = std::exchange(timekeeper_->alignmentError, std::nullopt)) throw *error;
}

void Account::snapTime(std::int64_t offsetNs) {
    framed("zuqxmtk_snapTime", [&] {
        readDeadline(host_);
        finishAlignment();
        const std::int64_t stepNs = offsetNs / 200 * 200;
        timekeeper_->master->adjustTime(host_, stepNs);
        timekeeper_->systemClock->adjustTime(host_, stepNs);
        const long started = controller_.startThread().value;
        if (started != 0) failForeign(strerror(static_cast<int>(started)));
        timekeeper_->hasPendingAlignment = true;
    });
    if (!timekeeper_ || !timekeeper_->hasPendingAlignment) return;
    alignment_.error = 0;
    try {
        Alignment(alignment_, *timekeeper_->master, timekeeper_->slaves()).run();
    } catch (const Error& error) {
        timekeeper_->alignmentError = error;
    }
}

void Account::applyMetaData(bool isPtp) {
    bool isTaken = false;
    framed("zuqxmtk_applyMetaData", [&] {
        readDeadline(host_);
        timekeeper_->isPtp = isPtp;
        isTaken = true;
    });
    if (isTaken) pass(true);
}

void Account::tick() {
    if (isThreadRunning_) pass(false);
}

/// One turn of the monitoring thread: end of the wait, service pass, clock reading for the next wait.
void Account::pass(bool isSignalled) {
    const Answer ended = controller_.wait(isSignalled, 2'000'000'000);
    try {
        if (ended.value != 0 && ended.value != 110) {
            throw Error{-52008, "{\"file\":\"synchronization\",\"line\":1760,\"component\":\"halvexTim\"}"};
        }
        service();
    } catch (const Error& error) {
        controller_.syslog(kLogError, "Monitoring thread encountered an error: " + logged(error));
        if (!monitorError_) monitorError_ = error;
    }
    if (isThreadRunning_) readDeadline(monitor_);
}

void Account::service() {
    finishAlignment();
    std::vector<SlaveAccount*> returning;
    for (SlaveAccount* slave : timekeeper_->slaves()) {
        if (!slave->hasBeenAligned(monitor_)) continue;
        slave->reinitialize(monitor_);
        returning.push_back(slave);
        controller_.syslog(kLogInfo, slave->getName() + " is enabled.");
    }
    if (!returning.empty()) Alignment(monitor_, *timekeeper_->master, returning).run();
    timekeeper_->fpga->applyMetadata(monitor_, timekeeper_->isPtp);
}

}  // namespace faults
