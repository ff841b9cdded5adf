// The methods of the Ferrox driver, as the driver sees them.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "interfaces/tInterfaceProxy_HorlixFerrox.h"

#include "tests/support/allocationCount.h"
#include "tests/support/vtableSlot.h"
#include "tests/unit/interfaces/proxyTest.h"

namespace nHALVEXTIMEKEEPER_18_1::tInterfaceProxy_HorlixFerroxTest {

using nZUPLAT000::PlatStatus;
using testsupport::vtableSlot;

using Proxy = tInterfaceProxy_HorlixFerrox;
using Method = testsupport::MethodContract<Proxy>;
using FerroxMethod = testsupport::ProxyTest<Proxy>;

/// A method that returns its result.
Method returning(const char* name, unsigned long request, std::uint64_t line,
                 std::uint64_t (Proxy::*method)(PlatStatus*) noexcept) {
    return {name,
            request,
            line,
            false,
            true,
            [method](Proxy& proxy, std::uint64_t, std::uint64_t* result, PlatStatus* status) -> std::int64_t {
                *result = (proxy.*method)(status);
                return 0;
            }};
}

const Method kMethods[] = {
    returning("getTime", 0x80207500, 38, &Proxy::getTime),
    {"generateEpochSignal", 0xC0207501, 64, false, false,
     [](Proxy& proxy, std::uint64_t, std::uint64_t*, PlatStatus* status) { return proxy.generateEpochSignal(status); }},
    returning("getEpochTimestamp", 0x80207502, 90, &Proxy::getEpochTimestamp),
    {"adjustTime", 0xC0207503, 117, true, false,
     [](Proxy& proxy, std::uint64_t argument, std::uint64_t*, PlatStatus* status) {
         return proxy.adjustTime(static_cast<std::int64_t>(argument), status);
     }},
    returning("getTimeOffset", 0x80207504, 143, &Proxy::getTimeOffset),
};

TEST_P(FerroxMethod, SendsItsRequestWithBuffersOfTheContractsSizesAndBytes) {
    call();
    ASSERT_EQ(driver.calls.size(), 1U);
    EXPECT_EQ(driver.getLastCall().fd, testsupport::kProxyDescriptor);
    EXPECT_EQ(driver.getLastCall().request, GetParam().request);
    EXPECT_EQ(driver.getLastCall().in, expectedInput(0));
    EXPECT_EQ(driver.getLastCall().outSize, GetParam().hasResult ? 16U : 4U);
    EXPECT_EQ(driver.getLastCall().bytesReturned, 0U);
}

TEST_P(FerroxMethod, ReturnsTheDriversResultWithACleanStatus) {
    driver.answers[GetParam().request] = {.value = 0x8877665544332211};
    const std::int64_t returned = call();
    EXPECT_EQ(status.code, 0);
    EXPECT_EQ(returned, 0);
    EXPECT_EQ(result, GetParam().hasResult ? 0x8877665544332211U : kUntouched);
}

TEST_P(FerroxMethod, HandsTheLow32BitsOfACallersWarningToTheDriver) {
    setWarning(0x1'8000'0005);
    call();
    EXPECT_EQ(driver.getLastCall().in, expectedInput(static_cast<std::int32_t>(0x80000005)));
    EXPECT_EQ(status.code, 0x1'8000'0005);
}

TEST_P(FerroxMethod, CallsNoDriverAndChangesNothingWhenTheStatusHoldsAnError) {
    setWarning(-52031);
    const std::int64_t returned = call();
    EXPECT_TRUE(driver.calls.empty());
    EXPECT_EQ(status.code, -52031);
    EXPECT_STREQ(status.file, "unit");
    if (GetParam().hasResult) {
        EXPECT_EQ(result, 0U);
    } else {
        EXPECT_EQ(returned, -52031);
    }
}

TEST_P(FerroxMethod, ReportsAFailedTransportWithItsOwnLocationAndTheResultZero) {
    driver.answers[GetParam().request] = {.status = -52005, .value = 7, .error = EBUSY};
    const std::int64_t returned = call();
    EXPECT_EQ(status.code, -52031);
    EXPECT_STREQ(status.component, "halvexTim");
    EXPECT_STREQ(status.file, "tDeviceInterfaceProxy");
    if (GetParam().hasResult) {
        EXPECT_EQ(result, 0U);
    } else {
        EXPECT_EQ(returned, 1);
    }
}

TEST_P(FerroxMethod, BelievesTheDriverWhenTheTransportFailsWithoutAnErrno) {
    driver.answers[GetParam().request] = {.status = 5, .value = 77, .failsWithoutErrno = true};
    const std::int64_t returned = call();
    EXPECT_EQ(status.code, 5);
    EXPECT_STREQ(status.file, "tInterfaceProxy_HorlixFerrox");
    if (GetParam().hasResult) {
        EXPECT_EQ(result, 77U);
    } else {
        EXPECT_EQ(returned, 1) << "the status was changed";
    }
}

TEST_P(FerroxMethod, ReportsNotFoundOnAClosedProxy) {
    proxy.close();
    call();
    EXPECT_EQ(driver.getLastCall().fd, -1);
    EXPECT_EQ(status.code, -52006);
}

TEST_P(FerroxMethod, ReportsTheDriversErrorAndStillReturnsTheResult) {
    driver.answers[GetParam().request] = {.status = -52005, .value = 7};
    setWarning(5);
    const std::int64_t returned = call();
    EXPECT_EQ(status.code, -52005);
    EXPECT_STREQ(status.component, "halvexTim");
    EXPECT_STREQ(status.file, "tInterfaceProxy_HorlixFerrox");
    EXPECT_EQ(status.line, GetParam().line);
    if (GetParam().hasResult) {
        EXPECT_EQ(result, 7U);
    } else {
        EXPECT_EQ(returned, 1);
    }
}

TEST_P(FerroxMethod, ReportsTheDriversWarningIntoACleanStatusOnly) {
    driver.answers[GetParam().request] = {.status = 9};
    call();
    EXPECT_EQ(status.code, 9);
    EXPECT_STREQ(status.file, "tInterfaceProxy_HorlixFerrox");
    driver.answers[GetParam().request] = {.status = 10};
    call();
    EXPECT_EQ(status.code, 9);
}

TEST_P(FerroxMethod, AllocatesNothing) {
    testsupport::libcHooks().ioctl = [](int, unsigned long, void*) { return 0; };
    const long before = testsupport::countAllocations();
    call();
    EXPECT_EQ(testsupport::countAllocations(), before);
}

INSTANTIATE_TEST_SUITE_P(, FerroxMethod, testing::ValuesIn(kMethods),
                         [](const auto& method) { return method.param.name; });

TEST(FerroxProxy, HasItsMethodsBehindTheNineOfTheTransport) {
    EXPECT_EQ(vtableSlot(&Proxy::close), 2U);
    EXPECT_EQ(vtableSlot(&Proxy::getTime), 11U);
    EXPECT_EQ(vtableSlot(&Proxy::generateEpochSignal), 12U);
    EXPECT_EQ(vtableSlot(&Proxy::getEpochTimestamp), 13U);
    EXPECT_EQ(vtableSlot(&Proxy::adjustTime), 14U);
    EXPECT_EQ(vtableSlot(&Proxy::getTimeOffset), 15U);
}

TEST(FerroxProxy, IsOneTransportHoweverItIsReached) {
    Proxy proxy;
    nZUPLAT000::iInterfaceProxy& byTransport = static_cast<nZUPLAT000::tDeviceInterfaceProxy&>(proxy);
    nZUPLAT000::iInterfaceProxy& byMethods = static_cast<iInterfaceProxy_HorlixFerrox&>(proxy);
    EXPECT_EQ(&byTransport, &byMethods);
    EXPECT_FALSE(byMethods.isOpen());
}

}  // namespace nHALVEXTIMEKEEPER_18_1::tInterfaceProxy_HorlixFerroxTest
