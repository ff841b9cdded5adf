// The proxy of the FPGA driver; driverMethodTest.cpp tests its methods.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "interfaces/tInterfaceProxy_HorlixFpga.h"

#include "tests/support/driverFake.h"
#include "tests/support/vtableSlot.h"

namespace nHALVEXTIMEKEEPER_18_1::tInterfaceProxy_HorlixFpgaTest {

using namespace testsupport;
using Proxy = tInterfaceProxy_HorlixFpga;

TEST(FpgaProxy, HasItsMethodsBehindTheNineOfTheTransport) {
    EXPECT_TRUE(takeSlotsFrom(2, &Proxy::close));
    EXPECT_TRUE(takeSlotsFrom(11, &Proxy::adjustTime, &Proxy::requestEpochAlignment, &Proxy::setStatusInfo,
                              &Proxy::getStatusInfo, &Proxy::getTime, &Proxy::getEpochTimestamp));
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
    EXPECT_EQ(bytesOf(info), (Bytes{19, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    info = {19, 1, 0x05040302, 0x09080706, 10, 0x0E0D0C0B, 15};
    EXPECT_EQ(bytesOf(info), (Bytes{19, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}));
    EXPECT_EQ(bytesOf(FpgaRunState{}), (Bytes{8, 0, 0, 0, 0, 0, 0, 0}));
}

}  // namespace nHALVEXTIMEKEEPER_18_1::tInterfaceProxy_HorlixFpgaTest
