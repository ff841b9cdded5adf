// Request numbers, and the methods of both drivers as the drivers see them.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "interfaces/driverMethod.h"

#include <linux/ioctl.h>

#include "interfaces/tInterfaceProxy_HorlixFerrox.h"
#include "interfaces/tInterfaceProxy_HorlixFpga.h"
#include "tests/support/allocationCount.h"
#include "tests/support/driverFake.h"
#include "tests/support/platStatuses.h"

namespace nHALVEXTIMEKEEPER_18_1::driverMethodTest {

using nZUPLAT000::tDeviceInterfaceProxy;
using namespace testsupport;
using Ferrox = tInterfaceProxy_HorlixFerrox;
using Fpga = tInterfaceProxy_HorlixFpga;

constexpr int kDescriptor = 1234;
constexpr std::uint64_t kArgument = 0xFEDCBA9876543210;
constexpr std::uint64_t kUntouched = 0x5555555555555555;

/// One method of a proxy, as in the driver's contract.
struct MethodContract {
    std::string name;
    unsigned long request;
    std::uint64_t line;  ///< Source line reported with the driver's status.
    const char* file = nullptr;
    bool hasArgument = false;
    bool hasResult = false;
    bool returnsResult = false;  ///< Returns it, 0 after an error; the others store it and return a code.
    std::unique_ptr<tDeviceInterfaceProxy> (*make)() = nullptr;
    /// Calls the method with kArgument if it has one; returns its code, and stores a value.
    std::function<std::int64_t(tDeviceInterfaceProxy& proxy, std::uint64_t* result, PlatStatus* status)> call = {};

    friend std::ostream& operator<<(std::ostream& stream, const MethodContract& method) {
        return stream << method.name;
    }
};

template <typename Proxy, typename Call>
MethodContract method(MethodContract contract, Call call) {
    const bool isFpga = std::is_same_v<Proxy, Fpga>;
    contract.name = (isFpga ? "fpga_" : "ferrox_") + contract.name;
    contract.file = isFpga ? "tInterfaceProxy_HorlixFpga" : "tInterfaceProxy_HorlixFerrox";
    contract.make = []() -> std::unique_ptr<tDeviceInterfaceProxy> { return std::make_unique<Proxy>(); };
    contract.call = [call](tDeviceInterfaceProxy& proxy, std::uint64_t* result, PlatStatus* status) {
        return call(static_cast<Proxy&>(proxy), result, status);
    };
    return contract;
}

MethodContract plain(const char* name, unsigned long request, std::uint64_t line,
                     std::int64_t (Ferrox::*called)(PlatStatus*) noexcept) {
    return method<Ferrox>({.name = name, .request = request, .line = line},
                          [called](Ferrox& proxy, auto*, auto* status) { return (proxy.*called)(status); });
}

MethodContract returning(const char* name, unsigned long request, std::uint64_t line,
                         std::uint64_t (Ferrox::*called)(PlatStatus*) noexcept) {
    return method<Ferrox>({.name = name, .request = request, .line = line, .hasResult = true, .returnsResult = true},
                          [called](Ferrox& proxy, auto* result, auto* status) {
                              *result = (proxy.*called)(status);
                              return std::int64_t{0};
                          });
}

MethodContract storing(const char* name, unsigned long request, std::uint64_t line,
                       std::int64_t (Fpga::*called)(std::uint64_t*, PlatStatus*) noexcept) {
    return method<Fpga>({.name = name, .request = request, .line = line, .hasResult = true},
                        [called](Fpga& proxy, auto* result, auto* status) { return (proxy.*called)(result, status); });
}

template <typename Proxy, typename Argument>
MethodContract taking(const char* name, unsigned long request, std::uint64_t line,
                      std::int64_t (Proxy::*called)(Argument, PlatStatus*) noexcept) {
    return method<Proxy>({.name = name, .request = request, .line = line, .hasArgument = true},
                         [called](Proxy& proxy, auto*, auto* status) {
                             return (proxy.*called)(std::bit_cast<Argument>(kArgument), status);
                         });
}

const MethodContract kMethods[] = {
    returning("getTime", 0x80207500, 38, &Ferrox::getTime),
    plain("generateEpochSignal", 0xC0207501, 64, &Ferrox::generateEpochSignal),
    returning("getEpochTimestamp", 0x80207502, 90, &Ferrox::getEpochTimestamp),
    taking("adjustTime", 0xC0207503, 117, &Ferrox::adjustTime),
    returning("getTimeOffset", 0x80207504, 143, &Ferrox::getTimeOffset),
    taking("adjustTime", 0xC0207500, 38, &Fpga::adjustTime),
    taking("requestEpochAlignment", 0xC0207501, 65, &Fpga::requestEpochAlignment),
    taking("setStatusInfo", 0xC0207502, 92, &Fpga::setStatusInfo),
    taking("getStatusInfo", 0xC0207503, 119, &Fpga::getStatusInfo),
    storing("getTime", 0xC0207504, 146, &Fpga::getTime),
    storing("getEpochTimestamp", 0xC0207505, 173, &Fpga::getEpochTimestamp),
};

/// An open proxy on a driver that keeps a journal.
struct Method : testing::TestWithParam<MethodContract> {
    Method() {
        libcHooks().open = [](const char*, int, mode_t) { return kDescriptor; };
        libcHooks().close = [](int) { return 0; };
        PlatStatus opening;
        proxy->open("/dev/zu0", &opening);
    }
    ~Method() override { proxy->close(); }

    std::int64_t call() { return GetParam().call(*proxy, &result, &status); }
    void expectCallReturns(std::int64_t code) {
        const std::int64_t returned = call();
        EXPECT_EQ(returned, GetParam().returnsResult ? 0 : code);
    }
    void expectResult(std::uint64_t expected) const { EXPECT_EQ(result, GetParam().hasResult ? expected : kUntouched); }
    void expectNoResult() const { EXPECT_EQ(result, GetParam().returnsResult ? 0 : kUntouched); }
    /// Argument if there is one, caller status code, padding of zeros behind an argument.
    static Bytes expectedInput(std::int32_t callerStatus) {
        if (!GetParam().hasArgument) return bytesOf(callerStatus);
        return bytesOf(std::array<std::uint64_t, 2>{kArgument, static_cast<std::uint32_t>(callerStatus)});
    }
    static std::string ofTheMethod(std::int64_t code) {
        return std::to_string(code) + " halvexTim " + GetParam().file + " " + std::to_string(GetParam().line);
    }

    LibcHooksGuard hooks;
    DriverFake driver;
    std::unique_ptr<tDeviceInterfaceProxy> proxy = GetParam().make();
    PlatStatus status;
    std::uint64_t result = kUntouched;
};

INSTANTIATE_TEST_SUITE_P(, Method, testing::ValuesIn(kMethods), [](const auto& tested) { return tested.param.name; });

TEST_P(Method, SendsItsRequestWithBuffersOfTheContractsSizesAndBytes) {
    call();
    ASSERT_EQ(driver.calls.size(), 1U);
    EXPECT_EQ(driver.getLastCall().fd, kDescriptor);
    EXPECT_EQ(driver.getLastCall().request, GetParam().request);
    EXPECT_EQ(driver.getLastCall().in, expectedInput(0));
    EXPECT_EQ(driver.getLastCall().outSize, GetParam().hasResult ? 16U : 4U);
    EXPECT_EQ(driver.getLastCall().bytesReturned, 0U);
}

TEST_P(Method, HandsOverTheDriversResultWithACleanStatus) {
    driver.answers[GetParam().request] = {.value = 0x8877665544332211};
    EXPECT_EQ(call(), 0);
    EXPECT_EQ(status.code, 0);
    expectResult(0x8877665544332211);
}

TEST_P(Method, HandsTheLow32BitsOfACallersWarningToTheDriver) {
    status = statusOf(0x1'8000'0005);
    call();
    EXPECT_EQ(driver.getLastCall().in, expectedInput(static_cast<std::int32_t>(0x80000005)));
    EXPECT_EQ(status.code, 0x1'8000'0005);
}

TEST_P(Method, CallsNoDriverAndReturnsTheErrorThatTheStatusHolds) {
    status = statusOf(-52031);
    expectCallReturns(-52031);
    EXPECT_TRUE(driver.calls.empty());
    EXPECT_EQ(textOf(status), "-52031 part unit 1");
    expectNoResult();
}

TEST_P(Method, ReportsAFailedTransportWithItsOwnLocationAndNoResult) {
    driver.answers[GetParam().request] = {.status = -52005, .value = 7, .error = EBUSY};
    expectCallReturns(1);
    EXPECT_EQ(textOf(status), "-52031 halvexTim tDeviceInterfaceProxy 71");
    expectNoResult();
}

TEST_P(Method, BelievesTheDriverWhenTheTransportFailsWithoutAnErrno) {
    driver.answers[GetParam().request] = {.status = 5, .value = 77, .failsWithoutErrno = true};
    expectCallReturns(1);
    EXPECT_EQ(textOf(status), ofTheMethod(5));
    expectResult(77);
    expectCallReturns(0);  // the warning was there before
}

TEST_P(Method, ReportsNotFoundOnAClosedProxy) {
    proxy->close();
    expectCallReturns(1);
    EXPECT_EQ(driver.getLastCall().fd, -1);
    EXPECT_EQ(status.code, -52006);
    expectNoResult();
}

TEST_P(Method, ReportsTheDriversErrorAndStillHandsOverTheResult) {
    driver.answers[GetParam().request] = {.status = -52005, .value = 7};
    status = statusOf(5);
    expectCallReturns(1);
    EXPECT_EQ(textOf(status), ofTheMethod(-52005));
    expectResult(7);
}

TEST_P(Method, ReportsTheDriversWarningIntoACleanStatusOnly) {
    driver.answers[GetParam().request] = {.status = 9};
    expectCallReturns(1);
    EXPECT_EQ(textOf(status), ofTheMethod(9));
    driver.answers[GetParam().request] = {.status = 10};
    expectCallReturns(0);
    EXPECT_EQ(status.code, 9);
}

TEST_P(Method, AllocatesNothing) {
    libcHooks().ioctl = [](int, unsigned long, void*) { return 0; };
    const long before = countAllocations();
    GetParam().call(*proxy, &result, &status);
    EXPECT_EQ(countAllocations(), before);
}

TEST(RequestNumber, IsWhatTheKernelsOwnMacrosMakeOfDirectionSizeTypeAndMethod) {
    for (std::uint32_t method = 0; method < 256; ++method) {
        EXPECT_EQ(makeRequest(Direction::read, method), _IOC(_IOC_READ, 'u', method, 32));
        EXPECT_EQ(makeRequest(Direction::readWrite, method), _IOC(_IOC_READ | _IOC_WRITE, 'u', method, 32));
    }
}

}  // namespace nHALVEXTIMEKEEPER_18_1::driverMethodTest
