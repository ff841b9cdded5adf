// The answers of the simulated controller's devices to requests, and their behaviour at an epoch.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <linux/ethtool.h>
#include <linux/ptp_clock.h>
#include <net/if.h>

#include "tests/faults/simulatedController.h"

namespace faults {
namespace {

constexpr std::int64_t kStepLossNs = 1500;
constexpr std::uint64_t kPulseNs = 1'000'000;
constexpr std::uint64_t kNsPerSecond = 1'000'000'000;

/// The block that a driver receives with every method, from its side.
struct MethodArguments {
    std::uint64_t in, out;
    std::uint32_t inSize, outSize;
    std::uint64_t returned;
};

/// Wraps like the registers.
std::int64_t sum(std::int64_t offsetNs, std::uint64_t stepNs) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(offsetNs) + stepNs);
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

Answer SimulatedController::adjustClock(int clock, std::uint32_t modes, std::int64_t frequency, std::int64_t seconds,
                                        std::int64_t fraction) {
    const std::string text = line("adjust clock", clock, "modes", modes, "frequency", frequency, "by",
                                  std::to_string(seconds) + "." + std::to_string(fraction));
    return perform(Call::adjustClock, text, [&](auto) -> Answer {
        Interface* const phc = phcOfClock(clock);
        if (phc == nullptr) return {-1, EINVAL};
        if ((modes & 0x0100U) != 0) {
            phc->offsetNs = sum(phc->offsetNs, static_cast<std::uint64_t>(seconds) * kNsPerSecond +
                                                   static_cast<std::uint64_t>(fraction - kStepLossNs));
        }
        return {};
    });
}

std::string SimulatedController::describeRequest(int fd, unsigned long request, const void* argument) {
    std::string text = line("ioctl", fd, request);
    const Descriptor* const descriptor = find(fd);
    if (descriptor == nullptr) return text;
    if (descriptor->path == "socket") return line(text, static_cast<const ifreq*>(argument)->ifr_name);
    if (phcOf(fd) != nullptr) {
        const std::size_t size = (request >> 16) & 0x3FFF;
        return request == PTP_CLOCK_GETCAPS ? text : line(text, hex(argument, size));
    }
    const auto& block = *static_cast<const MethodArguments*>(argument);
    text = line(text, "in", block.inSize, "out", block.outSize, "returned", block.returned, "");
    const auto* const in = reinterpret_cast<const unsigned char*>(block.in);
    if (descriptor->path == kFpgaNode && (request & 0xFE) == 2) {  // the argument points to a record
        const unsigned char* record;
        std::memcpy(&record, in, sizeof record);
        return text + hex(record, *record) + " " + hex(in + 8, 4);
    }
    return text + hex(in, block.inSize == 16 ? 12 : block.inSize);  // padding is arbitrary
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
