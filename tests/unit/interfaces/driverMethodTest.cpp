// Request numbers.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "interfaces/driverMethod.h"

#include <linux/ioctl.h>

#include "tests/support/test.h"

namespace nHALVEXTIMEKEEPER_18_1::driverMethodTest {

TEST(RequestNumber, IsWhatTheKernelsOwnMacrosMakeOfDirectionSizeTypeAndMethod) {
    for (std::uint32_t method = 0; method < 256; ++method) {
        EXPECT_EQ(makeRequest(Direction::read, method), _IOC(_IOC_READ, 'u', method, 32));
        EXPECT_EQ(makeRequest(Direction::readWrite, method), _IOC(_IOC_READ | _IOC_WRITE, 'u', method, 32));
    }
}

}  // namespace nHALVEXTIMEKEEPER_18_1::driverMethodTest
