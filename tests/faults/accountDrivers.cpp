// The required calls of the library's two drivers.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/faults/account.h"

namespace faults {
namespace {

constexpr std::int32_t kNotFound = -52006;
constexpr std::int32_t kTimedOut = -52007;
constexpr std::int32_t kOsFault = -52008;
constexpr std::int32_t kCommunications = -52024;

/// The platform layer's code for an errno of a driver call.
std::int32_t platformCode(int error) {
    static const std::map<int, std::int32_t> kMeanings{
        {EPERM, -52026},      {ENOENT, -52006},       {ESRCH, -52006},      {EINTR, -52025},     {EIO, -52024},
        {ENXIO, -52006},      {ENOMEM, -52000},       {EACCES, -52026},     {EBADF, -52006},     {EBUSY, -52031},
        {EEXIST, -52013},     {ENODEV, -52006},       {EINVAL, -52005},     {ENFILE, -52000},    {EMFILE, -52000},
        {ENOTTY, -52002},     {ENOSPC, -52012},       {EROFS, -52026},      {EPIPE, -52024},     {EDEADLK, -52015},
        {ENOLCK, -52015},     {EIDRM, -52020},        {EBADMSG, -52024},    {EOVERFLOW, -52012}, {ENOTSUP, -52002},
        {EADDRINUSE, -52013}, {ECONNABORTED, -52023}, {ECONNRESET, -52025}, {ENOBUFS, -52019},   {ETIMEDOUT, -52007},
        {EALREADY, -52011},   {EINPROGRESS, -52011},  {EOWNERDEAD, -52014}};
    const auto found = kMeanings.find(error);
    return found == kMeanings.end() ? kOsFault : found->second;
}

/// Merges a code into a record with `status`: the first error stays, a warning yields only to an error.
void merge(std::int32_t& status, std::int32_t code) {
    if (code != 0 && (status == 0 || (status > 0 && code < 0))) status = code;
}

}  // namespace

// --- Drivers --------------------------------------------------------------------------------------------------------

DriverAccount::DriverAccount(std::string deviceName, std::string unit, const char* identifier, std::string noneText,
                             Lines lines)
    : device(std::move(deviceName)),
      file(std::move(unit)),
      identifier_(identifier),
      noneText_(std::move(noneText)),
      lines_(lines) {}

void DriverAccount::check(std::int32_t status, const char* failureText, int line) const {
    if (status < 0) fail(status, "status.getCode()", file, line, failureText + device);
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
    if (stream < 0) return merge(status, kNotFound), "";
    std::string content;
    const Answer answer = caller.controller.readStream(stream, content);
    caller.take(answer);
    caller.take(caller.controller.closeStream(stream));
    if (answer.error != 0) return merge(status, kCommunications), "";
    if (content.size() > 255) return merge(status, -52019), "";
    return content;
}

void DriverAccount::load(Caller& caller) {
    std::int32_t status = 0;
    try {
        std::string found;
        const std::string pattern = "/proc/driver/zu/*/deviceInterfaces/" + std::string(identifier_) + "\\\\*";
        const long result = caller.take(caller.controller.glob(pattern.c_str(), 8192, found));
        if (result != 0 && result != 3) merge(status, -52003);
        check(status, "Unable to load ", lines_.enumerate);
        if (result == 3) fail(kNotFound, "zuplaterr_resourceNotFound", file, lines_.none, noneText_);
        const std::string path = readPath(caller, found, status);
        check(status, "Unable to load ", lines_.path);
        fd_ = static_cast<int>(caller.take(caller.controller.open(path.c_str(), 02000002)));
        if (fd_ == -1) merge(status, platformCode(caller.error));
        check(status, "Unable to load ", lines_.open);
    } catch (const Error&) {
        caller.controller.globfree();
        throw;
    }
}

bool DriverAccount::call(Caller& caller, std::uint32_t request, std::optional<std::uint64_t> argument,
                         std::uint64_t* result, std::int32_t& status) {
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
    block.out = reinterpret_cast<std::uint64_t>(result != nullptr ? static_cast<void*>(&out) : &out.code);
    block.outSize = result != nullptr ? 16 : 4;
    if (caller.take(caller.controller.ioctl(fd_, request, &block)) == -1) {
        merge(status, platformCode(caller.error));
        return false;
    }
    merge(status, out.code);
    if (result != nullptr) *result = out.value;
    return true;
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
    std::int32_t status = 0;
    std::uint64_t time = 0;
    driver_.call(caller, 0xC0207504, std::nullopt, &time, status);
    driver_.check(status, "Unable to get time from ", 118);
    return time;
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
    std::int32_t status = 0;
    driver_.call(caller, 0xC0207502, reinterpret_cast<std::uint64_t>(&record), nullptr, status);
    driver_.check(status, failureText, line);
}

void FpgaAccount::requestAlignment(Caller& caller, const char* failureText, int line) {
    std::int32_t status = 0;
    driver_.call(caller, 0xC0207501, 4'000'000'000, nullptr, status);
    driver_.check(status, failureText, line);
}

void FpgaAccount::reset(Caller& caller) {
    const unsigned char record[19] = {19};
    setStatusInfo(caller, record, "Unable to reset status info on ", 97);
    requestAlignment(caller, "Unable to reset status info on ", 100);
}

void FpgaAccount::arm(Caller& caller) {
    std::int32_t status = 0;
    driver_.call(caller, 0xC0207505, std::nullopt, &lastEpochNs_, status);
    driver_.check(status, "Unable to get epoch timestamp from ", 159);
}

std::uint64_t FpgaAccount::getEpochTimestamp(Caller& caller) {
    for (int reading = 0; reading < 101; ++reading) {
        std::int32_t status = 0;
        std::uint64_t time = 0;
        driver_.call(caller, 0xC0207505, std::nullopt, &time, status);
        driver_.check(status, "Unable to get epoch timestamp from ", 171);
        if (time != lastEpochNs_) return time;
        caller.take(caller.controller.sleep(0, 10'000'000));
    }
    fail(kTimedOut, "zuplaterr_operationTimedOut", "fpgaEpochDevice", 181,
         "Did not see the epoch signal on fpgaEpochDevice");
}

void FpgaAccount::adjustTime(Caller& caller, std::int64_t offsetNs) {
    std::int32_t status = 0;
    driver_.call(caller, 0xC0207500, static_cast<std::uint64_t>(offsetNs), nullptr, status);
    driver_.check(status, "Unable to adjust time on ", 127);
}

bool FpgaAccount::hasBeenAligned(Caller& caller) {
    if (!isEnabled(caller)) {
        flag = true;
        return false;
    }
    unsigned char state[8] = {8};
    std::int32_t status = 0;
    driver_.call(caller, 0xC0207503, reinterpret_cast<std::uint64_t>(state), nullptr, status);
    driver_.check(status, "Unable to check running bit on ", 238);
    if (state[4] == 0) {
        requestAlignment(caller, "Unable to request epoch alignment on ", 246);
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
    std::int32_t status = 0;
    std::uint64_t time = 0;
    driver_.call(caller, 0x80207500, std::nullopt, &time, status);
    driver_.check(status, "Unable to get time from ", 83);
    return time;
}

void FerroxAccount::adjustTime(Caller& caller, std::int64_t offsetNs) {
    std::int32_t status = 0;
    driver_.call(caller, 0xC0207503, static_cast<std::uint64_t>(offsetNs), nullptr, status);
    driver_.check(status, "Unable to adjust time on ", 92);
}

std::uint64_t FerroxAccount::generateEpoch(Caller& caller) {
    std::int32_t status = 0;
    std::uint64_t time = 0;
    driver_.call(caller, 0xC0207501, std::nullopt, nullptr, status);
    driver_.check(status, "Unable to generate epoch from ", 106);
    driver_.call(caller, 0x80207502, std::nullopt, &time, status);
    driver_.check(status, "Unable to generate epoch from ", 110);
    return time;
}

}  // namespace faults
