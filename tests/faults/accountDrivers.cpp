// The required calls of the library's two drivers.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/faults/account.h"

namespace faults {
// --- Drivers --------------------------------------------------------------------------------------------------------

DriverAccount::DriverAccount(std::string deviceName, std::string unit, const char* identifier, std::string noneText,
                             Lines lines)
    : device_(std::move(deviceName)),
      file_(std::move(unit)),
      identifier_(identifier),
      noneText_(std::move(noneText)),
      lines_(lines) {}

void DriverAccount::check(std::int32_t status, const char* failureText, int line) const {
    if (status < 0) fail(status, file_, line, failureText + device_, "status.getCode()");
}

void DriverAccount::close(Caller& caller) {
    if (fd_ == -1) return;
    caller.take(caller.controller.close(fd_));
    fd_ = -1;
}

std::string DriverAccount::readPath(Caller& caller, const std::string& directory, std::int32_t& status) const {
    int stream = -1;
    for (int attempt = 0; attempt < 10 && stream < 0; ++attempt) {
        stream =
            static_cast<int>(caller.take(caller.controller.openStream((directory + "/interfacePath").c_str(), "re")));
    }
    if (stream < 0) return status = kNotFound, "";
    std::string content;
    const Answer answer = caller.controller.readStream(stream, content);
    caller.take(answer);
    caller.take(caller.controller.closeStream(stream));
    if (answer.error != 0) return status = kCommunications, "";
    if (content.size() > 255) return status = -52019, "";
    return content;
}

void DriverAccount::load(Caller& caller) {
    std::int32_t status = 0;
    try {
        std::string found;
        const std::string pattern = "/proc/driver/zu/*/deviceInterfaces/" + std::string(identifier_) + "\\\\*";
        const long result = caller.take(caller.controller.glob(pattern.c_str(), 8192, found));
        if (result != 0 && result != 3) status = kSoftwareFault;
        check(status, "Unable to load ", lines_.enumerate);
        if (result == 3) fail(kNotFound, file_, lines_.none, noneText_);
        const std::string path = readPath(caller, found, status);
        check(status, "Unable to load ", lines_.path);
        fd_ = static_cast<int>(caller.take(caller.controller.open(path.c_str(), 02000002)));
        if (fd_ == -1) status = platformCode(caller.error);
        check(status, "Unable to load ", lines_.open);
    } catch (const Error&) {
        caller.controller.globfree();
        throw;
    }
}

std::uint64_t DriverAccount::call(Caller& caller, std::uint32_t request, std::optional<std::uint64_t> argument,
                                  bool hasResult, std::int32_t& status, const char* failureText, int line) const {
    struct {
        std::uint64_t value;
        std::int32_t code;
        std::int32_t padding;
    } in{argument.value_or(0), status, 0}, out{};
    struct {
        std::uint64_t in, out;
        std::uint32_t inSize, outSize;
        std::uint64_t returned;
    } block{};
    block.in = reinterpret_cast<std::uint64_t>(argument ? static_cast<void*>(&in) : &in.code);
    block.inSize = argument ? 16 : 4;
    block.out = reinterpret_cast<std::uint64_t>(hasResult ? static_cast<void*>(&out) : &out.code);
    block.outSize = hasResult ? 16 : 4;
    const bool isReached = caller.take(caller.controller.ioctl(fd_, request, &block)) != -1;
    const std::int32_t code = isReached ? out.code : platformCode(caller.error);
    if (status == 0 || code < 0) status = code;  // a warning stays until an error
    check(status, failureText, line);
    return out.value;
}

std::uint64_t DriverAccount::ask(Caller& caller, std::uint32_t request, const char* failureText, int line,
                                 std::int32_t status) const {
    return call(caller, request, std::nullopt, true, status, failureText, line);
}

std::int32_t DriverAccount::tell(Caller& caller, std::uint32_t request, std::optional<std::uint64_t> argument,
                                 const char* failureText, int line) const {
    std::int32_t status = 0;
    call(caller, request, argument, false, status, failureText, line);
    return status;
}

// --- FPGA -----------------------------------------------------------------------------------------------------------

FpgaAccount::FpgaAccount(Caller& caller)
    : driver_("fpgaEpochDevice", "fpgaEpochDevice", "nZUHORLIXFPGA000_HorlixFpga",
              "fpgaEpochDevice: no matching time sync FPGA interface was found.", {66, 71, 78, 81}) {
    try {
        load(caller);
    } catch (const Error&) {
        driver_.close(caller);
        throw;
    }
}

void FpgaAccount::load(Caller& caller) {
    driver_.load(caller);
    try {
        if (isEnabled(caller)) reset(caller);
    } catch (const Error&) {
        caller.controller.globfree();
        throw;
    }
    caller.controller.globfree();
}

void FpgaAccount::release(Caller& caller) {
    try {
        if (isEnabled(caller)) reset(caller);
    } catch (const Error&) {
        throw ProcessEnds{};
    }
    driver_.close(caller);
}

void FpgaAccount::reinitialize(Caller& caller) {
    driver_.close(caller);
    load(caller);
}

std::uint64_t FpgaAccount::getTime(Caller& caller) {
    return driver_.ask(caller, 0xC0207504, "Unable to get time from ", 118);
}

bool FpgaAccount::isEnabled(Caller& caller) {
    try {
        return getTime(caller) != 0;
    } catch (const Error& error) {
        if (error.code != kNotFound) throw;
        return false;
    }
}

void FpgaAccount::setStatusInfo(Caller& caller, const unsigned char (&record)[19], const char* failureText, int line) {
    driver_.tell(caller, 0xC0207502, reinterpret_cast<std::uint64_t>(&record), failureText, line);
}

void FpgaAccount::reset(Caller& caller) {
    setStatusInfo(caller, {19}, "Unable to reset status info on ", 97);
    driver_.tell(caller, 0xC0207501, 4'000'000'000, "Unable to reset status info on ", 100);
}

void FpgaAccount::arm(Caller& caller) {
    lastEpochNs_ = driver_.ask(caller, 0xC0207505, "Unable to get epoch timestamp from ", 159);
}

std::uint64_t FpgaAccount::getEpochTimestamp(Caller& caller) {
    for (int reading = 0; reading < 101; ++reading) {
        const std::uint64_t time = driver_.ask(caller, 0xC0207505, "Unable to get epoch timestamp from ", 171);
        if (time != lastEpochNs_) return time;
        caller.take(caller.controller.sleep(0, 10'000'000));
    }
    fail(kTimedOut, "fpgaEpochDevice", 181, "Did not see the epoch signal on fpgaEpochDevice");
}

void FpgaAccount::adjustTime(Caller& caller, std::int64_t offsetNs) {
    driver_.tell(caller, 0xC0207500, static_cast<std::uint64_t>(offsetNs), "Unable to adjust time on ", 127);
}

bool FpgaAccount::hasBeenAligned(Caller& caller) {
    if (!isEnabled(caller)) {
        flag = true;
        return false;
    }
    unsigned char state[8] = {8};
    driver_.tell(caller, 0xC0207503, reinterpret_cast<std::uint64_t>(state), "Unable to check running bit on ", 238);
    if (state[4] == 0) {
        driver_.tell(caller, 0xC0207501, 4'000'000'000, "Unable to request epoch alignment on ", 246);
        flag = true;
    }
    return flag;
}

void FpgaAccount::applyMetadata(Caller& caller, bool isPtp) {
    if (!isEnabled(caller)) return;
    unsigned char record[19] = {19};
    record[4] = flag ? 0 : 1;
    record[5] = isPtp ? 2 : 1;
    if (isPtp) {
        record[9] = 250;
        record[13] = 1;
        record[14] = 37;
        record[18] = 1;
    }
    setStatusInfo(caller, record, "Unable to set status on ", 219);
}

// --- Ferrox ---------------------------------------------------------------------------------------------------------

FerroxAccount::FerroxAccount(Caller& caller)
    : driver_("FerroxEpochDevice", "ferroxEpochDevice", "nZUHORLIXFERROX000_HorlixFerrox",
              "No matching Ferrox time sync interface was found.", {44, 49, 56, 59}) {
    driver_.load(caller);
    caller.controller.globfree();
}

std::uint64_t FerroxAccount::getTime(Caller& caller) {
    return driver_.ask(caller, 0x80207500, "Unable to get time from ", 83);
}

void FerroxAccount::adjustTime(Caller& caller, std::int64_t offsetNs) {
    driver_.tell(caller, 0xC0207503, static_cast<std::uint64_t>(offsetNs), "Unable to adjust time on ", 92);
}

std::uint64_t FerroxAccount::generateEpoch(Caller& caller) {
    constexpr const char* kFailure = "Unable to generate epoch from ";
    const std::int32_t status = driver_.tell(caller, 0xC0207501, std::nullopt, kFailure, 106);
    return driver_.ask(caller, 0x80207502, kFailure, 110, status);
}

}  // namespace faults
