// The methods of the FPGA driver, as the driver sees them.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "interfaces/tInterfaceProxy_HorlixFpga.h"

#include "tests/support/allocationCount.h"
#include "tests/support/vtableSlot.h"
#include "tests/unit/interfaces/proxyTest.h"

namespace nHALVEXTIMEKEEPER_18_1::tInterfaceProxy_HorlixFpgaTest {

using nZUPLAT000::PlatStatus;
using testsupport::Bytes;
using testsupport::vtableSlot;

using Proxy = tInterfaceProxy_HorlixFpga;
using Method = testsupport::MethodContract<Proxy>;
using FpgaMethod = testsupport::ProxyTest<Proxy>;

/// A method that stores its result.
Method storing(const char* name, unsigned long request, std::uint64_t line,
               std::int64_t (Proxy::*method)(std::uint64_t*, PlatStatus*) noexcept) {
    return {name,
            request,
            line,
            false,
            true,
            [method](Proxy& proxy, std::uint64_t, std::uint64_t* result, PlatStatus* status) {
                return (proxy.*method)(result, status);
            }};
}

template <typename Argument>
Method taking(const char* name, unsigned long request, std::uint64_t line,
              std::int64_t (Proxy::*method)(Argument, PlatStatus*) noexcept) {
    return {name,
            request,
            line,
            true,
            false,
            [method](Proxy& proxy, std::uint64_t argument, std::uint64_t*, PlatStatus* status) {
                Argument converted;
                static_assert(sizeof converted == sizeof argument);
                std::memcpy(&converted, &argument, sizeof converted);
                return (proxy.*method)(converted, status);
            }};
}

const Method kMethods[] = {
    taking("adjustTime", 0xC0207500, 38, &Proxy::adjustTime),
    taking("requestEpochAlignment", 0xC0207501, 65, &Proxy::requestEpochAlignment),
    taking("setStatusInfo", 0xC0207502, 92, &Proxy::setStatusInfo),
    taking("getStatusInfo", 0xC0207503, 119, &Proxy::getStatusInfo),
    storing("getTime", 0xC0207504, 146, &Proxy::getTime),
    storing("getEpochTimestamp", 0xC0207505, 173, &Proxy::getEpochTimestamp),
};

TEST_P(FpgaMethod, SendsItsRequestWithBuffersOfTheContractsSizesAndBytes) {
    call();
    ASSERT_EQ(driver.calls.size(), 1U);
    EXPECT_EQ(driver.getLastCall().fd, testsupport::kProxyDescriptor);
    EXPECT_EQ(driver.getLastCall().request, GetParam().request);
    EXPECT_EQ(driver.getLastCall().in, expectedInput(0));
    EXPECT_EQ(driver.getLastCall().outSize, GetParam().hasResult ? 16U : 4U);
    EXPECT_EQ(driver.getLastCall().bytesReturned, 0U);
}

TEST_P(FpgaMethod, StoresTheDriversResultWithACleanStatus) {
    driver.answers[GetParam().request] = {.value = 0x8877665544332211};
    EXPECT_EQ(call(), 0);
    EXPECT_EQ(status.code, 0);
    EXPECT_EQ(result, GetParam().hasResult ? 0x8877665544332211U : kUntouched);
}

TEST_P(FpgaMethod, HandsTheLow32BitsOfACallersWarningToTheDriver) {
    setWarning(0x1'8000'0005);
    call();
    EXPECT_EQ(driver.getLastCall().in, expectedInput(static_cast<std::int32_t>(0x80000005)));
    EXPECT_EQ(status.code, 0x1'8000'0005);
}

TEST_P(FpgaMethod, CallsNoDriverAndReturnsTheErrorThatTheStatusHolds) {
    setWarning(-52031);
    EXPECT_EQ(call(), -52031);
    EXPECT_TRUE(driver.calls.empty());
    EXPECT_EQ(status.code, -52031);
    EXPECT_STREQ(status.file, "unit");
    EXPECT_EQ(result, kUntouched);
}

TEST_P(FpgaMethod, ReportsAFailedTransportWithItsOwnLocationAndStoresNothing) {
    driver.answers[GetParam().request] = {.status = -52005, .value = 7, .error = EBUSY};
    EXPECT_EQ(call(), 1);
    EXPECT_EQ(status.code, -52031);
    EXPECT_STREQ(status.component, "halvexTim");
    EXPECT_STREQ(status.file, "tDeviceInterfaceProxy");
    EXPECT_EQ(result, kUntouched);
}

TEST_P(FpgaMethod, BelievesTheDriverWhenTheTransportFailsWithoutAnErrno) {
    driver.answers[GetParam().request] = {.status = 5, .value = 77, .failsWithoutErrno = true};
    EXPECT_EQ(call(), 1) << "the status was changed";
    EXPECT_EQ(status.code, 5);
    EXPECT_STREQ(status.file, "tInterfaceProxy_HorlixFpga");
    EXPECT_EQ(result, GetParam().hasResult ? 77U : kUntouched);
    EXPECT_EQ(call(), 0) << "the warning was there before";
}

TEST_P(FpgaMethod, ReportsNotFoundOnAClosedProxy) {
    proxy.close();
    EXPECT_EQ(call(), 1);
    EXPECT_EQ(driver.getLastCall().fd, -1);
    EXPECT_EQ(status.code, -52006);
    EXPECT_EQ(result, kUntouched);
}

TEST_P(FpgaMethod, ReportsTheDriversErrorAndStillStoresTheResult) {
    driver.answers[GetParam().request] = {.status = -52005, .value = 7};
    setWarning(5);
    EXPECT_EQ(call(), 1);
    EXPECT_EQ(status.code, -52005);
    EXPECT_STREQ(status.component, "halvexTim");
    EXPECT_STREQ(status.file, "tInterfaceProxy_HorlixFpga");
    EXPECT_EQ(status.line, GetParam().line);
    EXPECT_EQ(result, GetParam().hasResult ? 7U : kUntouched);
}

TEST_P(FpgaMethod, ReportsTheDriversWarningIntoACleanStatusOnly) {
    driver.answers[GetParam().request] = {.status = 9};
    EXPECT_EQ(call(), 1);
    EXPECT_EQ(status.code, 9);
    EXPECT_STREQ(status.file, "tInterfaceProxy_HorlixFpga");
    driver.answers[GetParam().request] = {.status = 10};
    EXPECT_EQ(call(), 0);
    EXPECT_EQ(status.code, 9);
}

TEST_P(FpgaMethod, AllocatesNothing) {
    testsupport::libcHooks().ioctl = [](int, unsigned long, void*) { return 0; };
    const long before = testsupport::countAllocations();
    call();
    EXPECT_EQ(testsupport::countAllocations(), before);
}

INSTANTIATE_TEST_SUITE_P(, FpgaMethod, testing::ValuesIn(kMethods),
                         [](const auto& method) { return method.param.name; });

TEST(FpgaProxy, HasItsMethodsBehindTheNineOfTheTransport) {
    EXPECT_EQ(vtableSlot(&Proxy::close), 2U);
    EXPECT_EQ(vtableSlot(&Proxy::adjustTime), 11U);
    EXPECT_EQ(vtableSlot(&Proxy::requestEpochAlignment), 12U);
    EXPECT_EQ(vtableSlot(&Proxy::setStatusInfo), 13U);
    EXPECT_EQ(vtableSlot(&Proxy::getStatusInfo), 14U);
    EXPECT_EQ(vtableSlot(&Proxy::getTime), 15U);
    EXPECT_EQ(vtableSlot(&Proxy::getEpochTimestamp), 16U);
}

TEST(FpgaProxy, IsOneTransportHoweverItIsReached) {
    Proxy proxy;
    nZUPLAT000::iInterfaceProxy& byTransport = static_cast<nZUPLAT000::tDeviceInterfaceProxy&>(proxy);
    nZUPLAT000::iInterfaceProxy& byMethods = static_cast<iInterfaceProxy_HorlixFpga&>(proxy);
    EXPECT_EQ(&byTransport, &byMethods);
    EXPECT_FALSE(byMethods.isOpen());
}

TEST(FpgaRecords, AreLaidOutWithoutPadding) {
    FpgaStatusInfo info;
    EXPECT_EQ(testsupport::bytesOf(info), (Bytes{19, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    info = {19, 1, 0x05040302, 0x09080706, 10, 0x0E0D0C0B, 15};
    EXPECT_EQ(testsupport::bytesOf(info), (Bytes{19, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}));
    EXPECT_EQ(testsupport::bytesOf(FpgaRunState{}), (Bytes{8, 0, 0, 0, 0, 0, 0, 0}));
}

}  // namespace nHALVEXTIMEKEEPER_18_1::tInterfaceProxy_HorlixFpgaTest
