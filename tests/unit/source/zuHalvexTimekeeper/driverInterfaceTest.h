// A driver interface as a device uses it: published under /proc, opened, called and closed.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <sys/syscall.h>

#include "source/zuHalvexTimekeeper/epochDeviceInterface.h"
#include "tests/support/driverFake.h"
#include "tests/support/libcHooks.h"
#include "tests/support/raisedError.h"

namespace halvexTimekeeper {

constexpr int kFirstDescriptor = 1000;

/// The error of a driver call: the checking site and the message.
inline testsupport::RaisedError driverError(std::int32_t code, const char* file, std::int32_t line,
                                            const std::string& message) {
    return testsupport::makeError({code, "status.getCode()", file, line}, message);
}

/// Journals opens and closes. Every open returns the next descriptor.
class DriverInterfaceTest : public testing::Test {
protected:
    explicit DriverInterfaceTest(std::string identifier) : identifier_(std::move(identifier)) {
        testsupport::libcHooks().open = [this](const char*, int, mode_t) {
            errno = openError;
            return openError == 0 ? nextDescriptor++ : -1;
        };
        testsupport::libcHooks().close = [this](int fd) {
            if (fd < kFirstDescriptor) return static_cast<int>(syscall(SYS_close, fd));  // not one of the device's
            closed.push_back(fd);
            return 0;
        };
    }
    ~DriverInterfaceTest() override {
        testsupport::libcHooks().open = nullptr;  // the directory is removed by the real functions
        testsupport::libcHooks().close = nullptr;
    }

    void publish(const std::string& interfacePath) {
        directory.writeFile("driver/deviceInterfaces/" + identifier_ + "\\0/interfacePath", interfacePath);
    }
    /// Expects that offsets are passed to the driver unchanged.
    void expectStepsUnchanged(ClockInterface& device, unsigned long request) {
        for (const std::int64_t offsetNs : {std::int64_t{0}, std::int64_t{-150}, INT64_MIN, INT64_MAX}) {
            device.adjustTime(offsetNs);
            EXPECT_EQ(driver.getLastCall().request, request);
            EXPECT_EQ(static_cast<std::int64_t>(driver.getLastCall().getArgument()), offsetNs);
        }
    }

    testsupport::RedirectedDirectory directory{"/proc/driver/zu"};
    testsupport::DriverFake driver;
    std::vector<int> closed;
    int openError = 0;
    int nextDescriptor = kFirstDescriptor;

private:
    std::string identifier_;
};

}  // namespace halvexTimekeeper
