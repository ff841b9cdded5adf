// The instances of a driver interface and the paths of their device nodes.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuplat/protons/enumeration/linuxU/tDeviceInterfaceIterator.h"

#include "tests/support/libcHooks.h"
#include "tests/support/platStatuses.h"
#include "tests/support/test.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000::tDeviceInterfaceIteratorTest {

using namespace testsupport;

constexpr const char* kIdentifier = "nZUHORLIXFPGA000_HorlixFpga";

/// Instances under "/proc/driver/zu/", some of other interfaces.
struct DeviceInterfaceIterator : testing::Test {
    ~DeviceInterfaceIterator() override { releaseEnumeration(&iterator); }

    void addInstance(const std::string& driver, const std::string& name, const std::string& interfacePath) {
        directory.writeFile(driver + "/deviceInterfaces/" + name + "/interfacePath", interfacePath);
    }
    void addFpga(const std::string& interfacePath = "/dev/zu0") {
        addInstance("fpga", "nZUHORLIXFPGA000_HorlixFpga\\0", interfacePath);
    }
    void start() { startEnumeration(&iterator, kIdentifier, &status); }
    std::string readFirst() {
        start();
        readInterfacePath(iterator, &path, &status);
        return path.text;
    }

    RedirectedDirectory directory{"/proc/driver/zu"};
    InterfaceIterator iterator;
    PathBuffer path;
    PlatStatus status;
};

TEST_F(DeviceInterfaceIterator, IsAtEndBeforeAnyEnumeration) { EXPECT_TRUE(isAtEnd(iterator)); }

TEST_F(DeviceInterfaceIterator, IsAtEndWithACleanStatusWhenNothingMatches) {
    start();
    EXPECT_EQ(status.code, 0);
    EXPECT_TRUE(isAtEnd(iterator));
}

TEST_F(DeviceInterfaceIterator, IsAtEndWithACleanStatusWhenTheDirectoryIsMissing) {
    libcHooks().redirectedPrefixes = {{"/proc/driver/zu", directory.getRealPath() + "/missing"}};
    start();
    EXPECT_EQ(status.code, 0);
    EXPECT_TRUE(isAtEnd(iterator));
}

TEST_F(DeviceInterfaceIterator, IsAtEndAtTheNullEntryBehindTheLastInstance) {
    addFpga();
    start();
    EXPECT_FALSE(isAtEnd(iterator));
    ++iterator.cursor;
    EXPECT_TRUE(isAtEnd(iterator));
}

TEST_F(DeviceInterfaceIterator, FindsADirectoryNamedByIdentifierBackslashAndInstance) {
    addInstance("fpga", "nZUHORLIXFPGA000_HorlixFpga\\board0", "/dev/zu0");
    EXPECT_EQ(readFirst(), "/dev/zu0");
    EXPECT_EQ(status.code, 0);
    EXPECT_EQ(path.length, 9U);
}

TEST_F(DeviceInterfaceIterator, FindsTheInstanceOfWhateverDriver) {
    addInstance("someDriver", "nZUHORLIXFERROX000_HorlixFerrox\\0", "/dev/wrong");
    addInstance("otherDriver", "nZUHORLIXFPGA000_HorlixFpga\\0", "/dev/right");
    EXPECT_EQ(readFirst(), "/dev/right");
}

TEST_F(DeviceInterfaceIterator, TakesTheFirstInstanceInTheOrderOfPaths) {
    addInstance("b", "nZUHORLIXFPGA000_HorlixFpga\\0", "/dev/third");
    addInstance("a", "nZUHORLIXFPGA000_HorlixFpga\\1", "/dev/second");
    addInstance("a", "nZUHORLIXFPGA000_HorlixFpga\\0", "/dev/first");
    EXPECT_EQ(readFirst(), "/dev/first");
}

TEST_F(DeviceInterfaceIterator, PassesOverNamesWithoutABackslashAndLongerIdentifiers) {
    addInstance("a", "nZUHORLIXFPGA000_HorlixFpga", "/dev/wrong");
    addInstance("b", "nZUHORLIXFPGA000_HorlixFpga0", "/dev/wrong");
    addInstance("c", "nZUHORLIXFPGA000_HorlixFpgaX\\0", "/dev/wrong");
    addInstance("d", "XnZUHORLIXFPGA000_HorlixFpga\\0", "/dev/wrong");
    start();
    EXPECT_TRUE(isAtEnd(iterator));
}

TEST_F(DeviceInterfaceIterator, ReportsASearchThatFailsAndIsAtEnd) {
    for (const int result : {GLOB_NOSPACE, GLOB_ABORTED, GLOB_NOSYS, 99}) {
        libcHooks().glob = [&](const char*, int, int (*)(const char*, int), glob_t*) { return result; };
        status = PlatStatus();
        start();
        EXPECT_EQ(textOf(status), "-52003 halvexTim tDeviceInterfaceIterator 58");
        EXPECT_TRUE(isAtEnd(iterator));
    }
}

TEST_F(DeviceInterfaceIterator, IsAtEndWhenItStartsAgainAndFails) {
    addFpga();
    start();
    ASSERT_FALSE(isAtEnd(iterator));
    libcHooks().glob = [](const char*, int, int (*)(const char*, int), glob_t*) { return GLOB_NOSPACE; };
    start();
    EXPECT_TRUE(isAtEnd(iterator));
    releaseEnumeration(&iterator);
}

TEST_F(DeviceInterfaceIterator, SearchesWhateverTheStatusHolds) {
    addFpga();
    status = statusOf(-1);
    start();
    EXPECT_FALSE(isAtEnd(iterator));
    EXPECT_EQ(status.code, -1);
}

TEST_F(DeviceInterfaceIterator, ReadsNothingWhenTheStatusHoldsAnErrorEvenAtItsEnd) {
    libcHooks().fopen = [](const char*, const char*) -> FILE* {
        ADD_FAILURE() << "opened a file";
        return nullptr;
    };
    status = statusOf(-1);
    readInterfacePath(iterator, &path, &status);
    EXPECT_EQ(status.code, -1);
    EXPECT_EQ(path.length, 1U);
}

TEST_F(DeviceInterfaceIterator, ReadsWhenTheStatusHoldsAWarning) {
    addFpga();
    status = statusOf(5);
    EXPECT_EQ(readFirst(), "/dev/zu0");
    EXPECT_EQ(status.code, 5);
}

TEST_F(DeviceInterfaceIterator, RefusesAPathOf256BytesAndTheFirstReportStays) {
    addFpga(std::string(256, 'p'));
    EXPECT_EQ(readFirst(), "");
    EXPECT_EQ(textOf(status), "-52019 halvexTim linuxDevEnumHelper 61");
}

TEST_F(DeviceInterfaceIterator, IsAtEndOnceReleasedAndMayBeReleasedAgain) {
    addFpga();
    start();
    releaseEnumeration(&iterator);
    EXPECT_TRUE(isAtEnd(iterator));
    releaseEnumeration(&iterator);
}

TEST_F(DeviceInterfaceIterator, IsReleasedByItsGuardAlsoWhenAnExceptionPasses) {
    addFpga();
    int released = 0;
    libcHooks().globfree = [&](glob_t* found) {
        EXPECT_EQ(found, &iterator.found);
        ++released;
    };
    try {
        const EnumerationGuard guard(iterator);
        start();
        throw std::runtime_error("passes");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(released, 1);
    libcHooks().globfree = nullptr;
}

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000::tDeviceInterfaceIteratorTest
