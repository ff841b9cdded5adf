// The proxy of the Ferrox driver; driverMethodTest.cpp tests its methods.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "interfaces/tInterfaceProxy_HorlixFerrox.h"

#include "tests/support/vtableSlot.h"

namespace nHALVEXTIMEKEEPER_18_1::tInterfaceProxy_HorlixFerroxTest {

using Proxy = tInterfaceProxy_HorlixFerrox;

TEST(FerroxProxy, HasItsMethodsBehindTheNineOfTheTransport) {
    EXPECT_TRUE(testsupport::takeSlotsFrom(2, &Proxy::close));
    EXPECT_TRUE(testsupport::takeSlotsFrom(11, &Proxy::getTime, &Proxy::generateEpochSignal, &Proxy::getEpochTimestamp,
                                           &Proxy::adjustTime, &Proxy::getTimeOffset));
}

TEST(FerroxProxy, IsOneTransportHoweverItIsReached) {
    Proxy proxy;
    nZUPLAT000::iInterfaceProxy& byTransport = static_cast<nZUPLAT000::tDeviceInterfaceProxy&>(proxy);
    nZUPLAT000::iInterfaceProxy& byMethods = static_cast<iInterfaceProxy_HorlixFerrox&>(proxy);
    EXPECT_EQ(&byTransport, &byMethods);
    EXPECT_FALSE(byMethods.isOpen());
}

}  // namespace nHALVEXTIMEKEEPER_18_1::tInterfaceProxy_HorlixFerroxTest
