// Shared by the tests of the two driver proxies: an open proxy on a driver that keeps a journal.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/support/driverFake.h"
#include "zuplat/platStatus.h"

namespace testsupport {

using nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PlatStatus;

constexpr int kProxyDescriptor = 1234;

/// The bytes of a value as the driver reads them, least significant first.
template <typename Value>
Bytes bytesOf(Value value) {
    Bytes bytes(sizeof value);
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

/// The input of a method with an argument: argument, caller status code, padding of zeros.
inline Bytes argumentInput(std::uint64_t argument, std::int32_t callerStatus) {
    Bytes bytes = bytesOf(argument);
    for (const Bytes& part : {bytesOf(callerStatus), Bytes(4, 0)}) bytes.insert(bytes.end(), part.begin(), part.end());
    return bytes;
}

/// One method of a proxy, as in the driver's contract.
template <typename Proxy>
struct MethodContract {
    std::string name;
    unsigned long request;
    std::uint64_t line;  ///< Source line reported with the driver's status.
    bool hasArgument;
    bool hasResult;
    /// Calls the method, with its argument if it has one; returns its result, and stores a value.
    std::function<std::int64_t(Proxy& proxy, std::uint64_t argument, std::uint64_t* result, PlatStatus* status)> call;

    friend std::ostream& operator<<(std::ostream& stream, const MethodContract& method) {
        return stream << method.name;
    }
};

template <typename Proxy>
struct ProxyTest : testing::TestWithParam<MethodContract<Proxy>> {
    ProxyTest() {
        libcHooks().open = [](const char*, int, mode_t) { return kProxyDescriptor; };
        libcHooks().close = [](int) { return 0; };
        PlatStatus opening;
        proxy.open("/dev/zu0", &opening);
    }
    ~ProxyTest() override { proxy.close(); }

    std::int64_t call() { return this->GetParam().call(proxy, kArgument, &result, &status); }
    Bytes expectedInput(std::int32_t callerStatus) const {
        return this->GetParam().hasArgument ? argumentInput(kArgument, callerStatus) : bytesOf(callerStatus);
    }
    void setWarning(std::int64_t code) { setCode(&status, code, "part", "unit", 1); }

    static constexpr std::uint64_t kArgument = 0xFEDCBA9876543210;
    static constexpr std::uint64_t kUntouched = 0x5555555555555555;

    LibcHooksGuard hooks;
    DriverFake driver;
    Proxy proxy;
    PlatStatus status;
    std::uint64_t result = kUntouched;
};

}  // namespace testsupport
