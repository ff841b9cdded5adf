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

/// The error of a driver call: the checking site and the message.
inline testsupport::RaisedError driverError(std::int32_t code, const char* file, std::int32_t line,
                                            const std::string& message) {
    return testsupport::makeError({code, "status.getCode()", file, line}, message);
}

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
    /// Expects that construction fails with this error and that the enumeration is freed once.
    void expectNotMade(const testsupport::RaisedError& reason) {
        releases = 0;
        countEnumerations();
        EXPECT_EQ(raisedByMaking(), reason);
        EXPECT_EQ(releases, 1);
    }
    /// Expects that no device is made while the interface cannot be enumerated, read, opened or found, at these lines.
    void expectNotMadeWithoutItsInterface(const char* file, const std::string& device,
                                          std::array<std::int32_t, 4> lines, const std::string& notFound) {
        const std::string message = "Unable to load " + device;
        testsupport::libcHooks().glob = [](auto&&...) { return GLOB_ABORTED; };
        expectNotMade(driverError(-52003, file, lines[0], message));
        testsupport::libcHooks().glob = nullptr;
        publish(std::string(256, 'p'));
        expectNotMade(driverError(-52019, file, lines[1], message));
        EXPECT_TRUE(openedPaths.empty());
        publish("/dev/refused");
        openError = EACCES;
        expectNotMade(driverError(-52026, file, lines[2], message));
        std::filesystem::remove_all(directory.getRealPath() + "/driver");
        expectNotMade(testsupport::makeError({-52006, "zuplaterr_resourceNotFound", file, lines[3]}, notFound));
        EXPECT_EQ(openedPaths, std::vector<std::string>{"/dev/refused"});
        EXPECT_TRUE(closed.empty());
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

}  // namespace halvexTimekeeper
