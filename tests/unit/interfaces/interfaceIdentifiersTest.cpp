// Identifiers under which drivers publish their interfaces.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "interfaces/interfaceIdentifiers.h"

#include "tests/support/test.h"

namespace nHALVEXTIMEKEEPER_18_1::interfaceIdentifiersTest {

TEST(InterfaceIdentifiers, ListTheFerroxInterfaceBeforeThatOfTheFpga) {
    EXPECT_EQ(std::size(kInterfaceIdentifiers), 2U);
    EXPECT_STREQ(kInterfaceIdentifiers[0], "nZUHORLIXFERROX000_HorlixFerrox");
    EXPECT_STREQ(kInterfaceIdentifiers[1], "nZUHORLIXFPGA000_HorlixFpga");
    EXPECT_STREQ(interfaceIdentifier(InterfaceKind::horlixFerrox), "nZUHORLIXFERROX000_HorlixFerrox");
    EXPECT_STREQ(interfaceIdentifier(InterfaceKind::horlixFpga), "nZUHORLIXFPGA000_HorlixFpga");
}

}  // namespace nHALVEXTIMEKEEPER_18_1::interfaceIdentifiersTest
