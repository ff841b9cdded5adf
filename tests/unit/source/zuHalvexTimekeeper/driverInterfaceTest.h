// A driver interface as its device finds it: published under /proc, opened, called and closed.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <glob.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/driverFake.h"
#include "tests/support/libcHooks.h"
#include "tests/support/raisedError.h"

namespace halvexTimekeeper {

constexpr int kFirstDescriptor = 1000;

/// Keeps a journal of what is opened and closed. Every open gives the next descriptor.
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
    /// An enumeration that fails, for as long as the test lasts.
    static void breakEnumeration() {
        testsupport::libcHooks().glob = [](const char*, int, int (*)(const char*, int), glob_t*) {
            return GLOB_ABORTED;
        };
    }
    /// Counts the results of glob that are given back.
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

/// The error of a driver call: where it was checked, and what its message says.
inline testsupport::RaisedError driverError(std::int32_t code, const char* file, std::int32_t line,
                                            const std::string& message) {
    return testsupport::makeError({code, "status.getCode()", file, line}, message);
}

}  // namespace halvexTimekeeper
