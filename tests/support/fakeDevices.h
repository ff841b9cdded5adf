// Clocks, epoch devices and an oscillator that keep a clock, a flag and a journal of calls.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "source/zuHalvexTimekeeper/epochDeviceInterface.h"
#include "source/zuHalvexTimekeeper/freqSteeringDeviceInterface.h"
#include "source/zuHalvexTimekeeper/timekeeperInterface.h"
#include "tests/support/standard.h"
#include "zuerr/exception.h"
#include "zuerr/status.h"

namespace testsupport {

/// Calls by device, oldest first; shared by the devices of one test.
using Journal = std::vector<std::string>;

/// Throws a zuerr::Exception with `code` and `message`, as a device would.
[[noreturn]] inline void throwDeviceError(std::int32_t code, const char* message = "device") {
    zuerr::raise({code, "fake", 1}, "constant", {message});
}

/// Throws a library error with a code and no text.
[[noreturn]] inline void throwBare(std::int32_t code) {
    zuerr_Status status = zuerr::makeStatus();
    status.code = code;
    throw zuerr::Exception(status);
}

/// Errors that a fake throws: each call consumes one entry of its operation.
class FaultPlan {
public:
    void failNext(const std::string& operation, std::function<void()> throwError) {
        plans_[operation].push_back(std::move(throwError));
    }
    void failNext(const std::string& operation, std::int32_t code) {
        failNext(operation, [code] { throwDeviceError(code); });
    }

protected:
    void meetFault(const std::string& operation) {
        auto& plan = plans_[operation];
        if (plan.empty()) return;
        const auto throwError = plan.front();
        plan.pop_front();
        throwError();
    }

private:
    std::map<std::string, std::deque<std::function<void()>>> plans_;
};

/// One clock. Its time changes only by steps, each of which loses `stepLossNs`.
class FakeEpochDevice : public halvexTimekeeper::EpochDeviceInterface, public FaultPlan {
public:
    FakeEpochDevice(std::string name, Journal& journal) : name_(std::move(name)), journal_(journal) {}

    const std::string& getName() const override { return name_; }
    halvexTimekeeper::QxmTimestamp getTime() override {
        enter("getTime");
        return timeNs;
    }
    void adjustTime(std::int64_t offsetNs) override {
        enter("adjustTime", std::to_string(offsetNs));
        timeNs += static_cast<std::uint64_t>(offsetNs - stepLossNs);
    }
    bool isEnabled() override {
        enter("isEnabled");
        return enabled;
    }
    halvexTimekeeper::QxmTimestamp generateEpoch() override {
        enter("generateEpoch");
        if (onEpoch) onEpoch();
        return timeNs;
    }
    void armEpochCapture() override { enter("armEpochCapture"); }
    halvexTimekeeper::QxmTimestamp getEpochTimestamp() override {
        enter("getEpochTimestamp");
        if (epochTimesNs.empty()) return timeNs;
        const auto epochTimeNs = epochTimesNs.front();
        epochTimesNs.pop_front();
        return epochTimeNs;
    }
    void reinitialize() override { enter("reinitialize"); }
    void applyQxmMetadata(const std::string& metadata) override { enter("applyQxmMetadata", metadata); }
    bool hasBeenEpochAligned() override {
        enter("hasBeenEpochAligned");
        return flag;
    }
    void setHasBeenEpochAligned(bool value) override {
        enter("setHasBeenEpochAligned", value ? "true" : "false");
        flag = value;
    }

    std::uint64_t timeNs = 1'000'000'000;
    std::int64_t stepLossNs = 0;
    bool enabled = true;
    bool flag = false;
    std::deque<std::uint64_t> epochTimesNs;  ///< Captured times to report before the clock's own.
    std::function<void()> onEpoch;
    bool isJournaled = true;

private:
    void enter(const std::string& operation, const std::string& argument = "") {
        if (isJournaled) journal_.push_back(name_ + "." + operation + "(" + argument + ")");
        meetFault(operation);
    }

    std::string name_;
    Journal& journal_;
};

/// An oscillator that stores its settings.
class FakeOscillator : public halvexTimekeeper::FreqSteeringDeviceInterface, public FaultPlan {
public:
    const std::string& getName() const override { return name_; }
    std::int32_t getMaxCorrectionPerSecond() override { return 62000; }
    std::int32_t getMinCorrectionPerSecond() override { return -62000; }
    std::int32_t getCorrectionPerSecond() override {
        meetFault("getCorrectionPerSecond");
        return correctionPpb;
    }
    void setCorrectionPerSecond(std::int32_t ppb) override {
        meetFault("setCorrectionPerSecond");
        correctionPpb = ppb;
    }

    std::int32_t correctionPpb = 0;

private:
    std::string name_ = "oscillator";
};

/// A timekeeper behind the entry points: returns fixed values and journals its calls.
class FakeTimekeeper : public halvexTimekeeper::TimekeeperInterface, public FaultPlan {
public:
    const std::string& getName() const override { return name_; }
    halvexTimekeeper::QxmTimestamp getTime() override {
        enter("getTime");
        return 0xFEDCBA9876543210;
    }
    void snapTime(std::int64_t offsetNs) override { enter("snapTime", std::to_string(offsetNs)); }
    std::int32_t getMaxCorrectionPerSecond() override {
        enter("getMaxCorrectionPerSecond");
        return 62000;
    }
    std::int32_t getMinCorrectionPerSecond() override {
        enter("getMinCorrectionPerSecond");
        return -62000;
    }
    std::int32_t getCorrectionPerSecond() override {
        enter("getCorrectionPerSecond");
        return -1250;
    }
    void setCorrectionPerSecond(std::int32_t ppb) override { enter("setCorrectionPerSecond", std::to_string(ppb)); }
    bool isSeeded() const override { return seeded; }
    void applyMetaData(const std::string& metadata) override { enter("applyMetaData", metadata); }
    void serviceEpochDevices() override {
        enter("serviceEpochDevices");
        if (onService) onService();
    }

    Journal journal;
    bool seeded = true;
    std::function<void()> onService;

private:
    void enter(const std::string& operation, const std::string& argument = "") {
        journal.push_back(operation + "(" + argument + ")");
        meetFault(operation);
    }

    std::string name_ = "HalvexTimekeeper";
};

}  // namespace testsupport
