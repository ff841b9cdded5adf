// Request numbers, and the names under which drivers publish their interfaces.
#include "interfaces/driverMethod.h"

#include <gtest/gtest.h>
#include <linux/ioctl.h>

#include "interfaces/interfaceIdentifiers.h"

namespace nHALVEXTIMEKEEPER_18_1 {
namespace {

TEST(RequestNumber, IsWhatTheKernelsOwnMacrosMakeOfDirectionSizeTypeAndMethod) {
    for (std::uint32_t method = 0; method < 256; ++method) {
        EXPECT_EQ(makeRequest(Direction::read, method), _IOC(_IOC_READ, 'u', method, 32));
        EXPECT_EQ(makeRequest(Direction::readWrite, method), _IOC(_IOC_READ | _IOC_WRITE, 'u', method, 32));
    }
}

TEST(InterfaceIdentifiers, ListTheFerroxInterfaceBeforeThatOfTheFpga) {
    EXPECT_EQ(std::size(kInterfaceIdentifiers), 2U);
    EXPECT_STREQ(kInterfaceIdentifiers[0], "nZUHORLIXFERROX000_HorlixFerrox");
    EXPECT_STREQ(kInterfaceIdentifiers[1], "nZUHORLIXFPGA000_HorlixFpga");
    EXPECT_STREQ(interfaceIdentifier(InterfaceKind::horlixFerrox), "nZUHORLIXFERROX000_HorlixFerrox");
    EXPECT_STREQ(interfaceIdentifier(InterfaceKind::horlixFpga), "nZUHORLIXFPGA000_HorlixFpga");
}

}  // namespace
}  // namespace nHALVEXTIMEKEEPER_18_1
