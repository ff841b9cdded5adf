// A driver interface as a device uses it: published under /proc, opened, called and closed.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <glob.h>
#include <sys/syscall.h>

#include "source/zuHalvexTimekeeper/epochDeviceInterface.h"
#include "tests/support/driverFake.h"
#include "tests/support/libcHooks.h"
#include "tests/support/raisedError.h"

namespace halvexTimekeeper {

constexpr int kFirstDescriptor = 1000;

/// Journals opens and closes. Every open returns the next descriptor.
class DriverInterfaceTest : public testing::Test {
protected:
    explicit DriverInterfaceTest(std::string identifier) : identifier_(std::move(identifier)) {
        testsupport::libcHooks().open = [this](const char* path, int, mode_t) {
            openedPaths.push_back(path);
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

    void publish(const std::string& interfacePath, const std::string& instance = "0") {
        directory.writeFile("driver/deviceInterfaces/" + identifier_ + "\\" + instance + "/interfacePath",
                            interfacePath);
    }
    /// Makes enumerations fail for the rest of the test.
    static void breakEnumeration() {
        testsupport::libcHooks().glob = [](const char*, int, int (*)(const char*, int), glob_t*) {
            return GLOB_ABORTED;
        };
    }
    /// Expects that construction fails with this error and that the enumeration is freed once.
    void expectNotMade(const testsupport::RaisedError& reason) {
        countEnumerations();
        EXPECT_EQ(raisedByMaking(), reason);
        EXPECT_EQ(releases, 1);
    }
    /// The error that constructing a device throws.
    virtual testsupport::RaisedError raisedByMaking() = 0;
    /// The error that `operation` throws while the driver gives this answer to a request.
    template <typename Operation>
    testsupport::RaisedError raisedWhile(unsigned long request, const testsupport::DriverAnswer& answer,
                                         Operation&& operation) {
        const auto usual = std::exchange(driver.answers[request], answer);
        const auto raised = testsupport::raisedBy(operation);
        driver.answers[request] = usual;
        return raised;
    }
    /// Expects that offsets are passed to the driver unchanged.
    void expectStepsUnchanged(ClockInterface& device, unsigned long request) {
        for (const std::int64_t offsetNs : {std::int64_t{0}, std::int64_t{-150}, INT64_MIN, INT64_MAX}) {
            device.adjustTime(offsetNs);
            EXPECT_EQ(driver.getLastCall().request, request);
            EXPECT_EQ(static_cast<std::int64_t>(driver.getLastCall().getArgument()), offsetNs);
        }
    }
    /// Moves the interface; expects that the device closes the old one and opens the new one, descriptor 2000.
    void expectReopening(EpochDeviceInterface& device) {
        publish("/dev/moved");
        testsupport::libcHooks().open = [this](const char* path, int, mode_t) {
            EXPECT_EQ(closed, std::vector{1000});
            openedPaths.push_back(path);
            return 2000;
        };
        device.reinitialize();
        EXPECT_EQ(openedPaths.back(), "/dev/moved");
    }
    /// Counts the freed results of glob.
    void countEnumerations() {
        testsupport::libcHooks().globfree = [this](glob_t* found) {
            ++releases;
            auto thisHook = std::exchange(testsupport::libcHooks().globfree, nullptr);
            globfree(found);
            testsupport::libcHooks().globfree = std::move(thisHook);
        };
    }

    testsupport::RedirectedDirectory directory{"/proc/driver/zu"};
    testsupport::DriverFake driver;
    std::vector<std::string> openedPaths;
    std::vector<int> closed;
    int openError = 0;
    int nextDescriptor = kFirstDescriptor;
    int releases = 0;

private:
    std::string identifier_;
};

/// The error of a driver call: the checking site and the message.
inline testsupport::RaisedError driverError(std::int32_t code, const char* file, std::int32_t line,
                                            const std::string& message) {
    return testsupport::makeError({code, "status.getCode()", file, line}, message);
}

}  // namespace halvexTimekeeper
