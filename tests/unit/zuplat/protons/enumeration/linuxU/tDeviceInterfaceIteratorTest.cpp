// The instances of a driver interface and the paths of their device nodes.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuplat/protons/enumeration/linuxU/tDeviceInterfaceIterator.h"

#include "tests/support/libcHooks.h"
#include "tests/support/test.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000::tDeviceInterfaceIteratorTest {

using testsupport::libcHooks;

constexpr const char* kIdentifier = "nZUHORLIXFPGA000_HorlixFpga";

/// Instances under "/proc/driver/zu/", some of other interfaces.
struct DeviceInterfaceIterator : testing::Test {
    ~DeviceInterfaceIterator() override { releaseEnumeration(&iterator); }

    void addInstance(const std::string& driver, const std::string& name, const std::string& interfacePath) {
        directory.writeFile(driver + "/deviceInterfaces/" + name + "/interfacePath", interfacePath);
    }
    std::string readFirst() {
        startEnumeration(&iterator, kIdentifier, &status);
        readInterfacePath(iterator, &path, &status);
        return path.text;
    }

    testsupport::RedirectedDirectory directory{"/proc/driver/zu"};
    InterfaceIterator iterator;
    PathBuffer path;
    PlatStatus status;
};

TEST_F(DeviceInterfaceIterator, AsksForDirectoriesAloneByAPatternWithTwoBackslashes) {
    std::string pattern;
    libcHooks().glob = [&](const char* asked, int flags, int (*onError)(const char*, int), glob_t*) {
        pattern = asked;
        EXPECT_EQ(flags, GLOB_ONLYDIR);
        EXPECT_EQ(onError, nullptr);
        return GLOB_NOMATCH;
    };
    startEnumeration(&iterator, kIdentifier, &status);
    EXPECT_EQ(pattern, R"(/proc/driver/zu/*/deviceInterfaces/nZUHORLIXFPGA000_HorlixFpga\\*)");
}

TEST_F(DeviceInterfaceIterator, IsAtEndBeforeAnyEnumeration) { EXPECT_TRUE(isAtEnd(iterator)); }

TEST_F(DeviceInterfaceIterator, IsAtEndWithACleanStatusWhenNothingMatches) {
    startEnumeration(&iterator, kIdentifier, &status);
    EXPECT_EQ(status.code, 0);
    EXPECT_TRUE(isAtEnd(iterator));
}

TEST_F(DeviceInterfaceIterator, IsAtEndWithACleanStatusWhenTheDirectoryIsMissing) {
    libcHooks().redirectedPrefixes = {{"/proc/driver/zu", directory.getRealPath() + "/missing"}};
    startEnumeration(&iterator, kIdentifier, &status);
    EXPECT_EQ(status.code, 0);
    EXPECT_TRUE(isAtEnd(iterator));
}

TEST_F(DeviceInterfaceIterator, IsAtEndAtTheNullEntryBehindTheLastInstance) {
    addInstance("fpga", "nZUHORLIXFPGA000_HorlixFpga\\0", "/dev/zu0");
    startEnumeration(&iterator, kIdentifier, &status);
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
    startEnumeration(&iterator, kIdentifier, &status);
    EXPECT_TRUE(isAtEnd(iterator));
}

TEST_F(DeviceInterfaceIterator, ReportsASearchThatFailsAndIsAtEnd) {
    for (const int result : {GLOB_NOSPACE, GLOB_ABORTED, GLOB_NOSYS, 99}) {
        libcHooks().glob = [&](const char*, int, int (*)(const char*, int), glob_t*) { return result; };
        PlatStatus failed;
        startEnumeration(&iterator, kIdentifier, &failed);
        EXPECT_EQ(failed.code, -52003);
        EXPECT_STREQ(failed.component, "halvexTim");
        EXPECT_STREQ(failed.file, "tDeviceInterfaceIterator");
        EXPECT_EQ(failed.line, 58U);
        EXPECT_TRUE(isAtEnd(iterator));
    }
}

TEST_F(DeviceInterfaceIterator, IsAtEndWhenItStartsAgainAndFails) {
    addInstance("fpga", "nZUHORLIXFPGA000_HorlixFpga\\0", "/dev/zu0");
    startEnumeration(&iterator, kIdentifier, &status);
    ASSERT_FALSE(isAtEnd(iterator));
    libcHooks().glob = [](const char*, int, int (*)(const char*, int), glob_t*) { return GLOB_NOSPACE; };
    startEnumeration(&iterator, kIdentifier, &status);
    EXPECT_TRUE(isAtEnd(iterator));
    releaseEnumeration(&iterator);
}

TEST_F(DeviceInterfaceIterator, SearchesWhateverTheStatusHolds) {
    addInstance("fpga", "nZUHORLIXFPGA000_HorlixFpga\\0", "/dev/zu0");
    setCode(&status, -1, "part", "unit", 1);
    startEnumeration(&iterator, kIdentifier, &status);
    EXPECT_FALSE(isAtEnd(iterator));
    EXPECT_EQ(status.code, -1);
}

TEST_F(DeviceInterfaceIterator, ReadsNothingWhenTheStatusHoldsAnErrorEvenAtItsEnd) {
    libcHooks().fopen = [](const char*, const char*) -> FILE* {
        ADD_FAILURE() << "opened a file";
        return nullptr;
    };
    setCode(&status, -1, "part", "unit", 1);
    readInterfacePath(iterator, &path, &status);
    EXPECT_EQ(status.code, -1);
    EXPECT_EQ(path.length, 1U);
}

TEST_F(DeviceInterfaceIterator, ReadsWhenTheStatusHoldsAWarning) {
    addInstance("fpga", "nZUHORLIXFPGA000_HorlixFpga\\0", "/dev/zu0");
    setCode(&status, 5, "part", "unit", 1);
    EXPECT_EQ(readFirst(), "/dev/zu0");
    EXPECT_EQ(status.code, 5);
}

TEST_F(DeviceInterfaceIterator, KeepsANewlineAtTheEndOfThePath) {
    addInstance("fpga", "nZUHORLIXFPGA000_HorlixFpga\\0", "/dev/zu0\n");
    EXPECT_EQ(readFirst(), "/dev/zu0\n");
}

TEST_F(DeviceInterfaceIterator, GivesUpAFileThatIsMissingAfterTenAttempts) {
    directory.makeDirectory("fpga/deviceInterfaces/nZUHORLIXFPGA000_HorlixFpga\\0");
    int attempts = 0;
    libcHooks().fopen = [&](const char* name, const char*) -> FILE* {
        EXPECT_EQ(name,
                  directory.getRealPath() + "/fpga/deviceInterfaces/nZUHORLIXFPGA000_HorlixFpga\\0/interfacePath");
        ++attempts;
        return nullptr;
    };
    EXPECT_EQ(readFirst(), "");
    EXPECT_EQ(attempts, 10);
    EXPECT_EQ(status.code, -52006);
}

TEST_F(DeviceInterfaceIterator, RefusesAPathOf256BytesAndTheFirstReportStays) {
    addInstance("fpga", "nZUHORLIXFPGA000_HorlixFpga\\0", std::string(256, 'p'));
    EXPECT_EQ(readFirst(), "");
    EXPECT_EQ(status.code, -52019);
    EXPECT_STREQ(status.file, "linuxDevEnumHelper");
}

TEST_F(DeviceInterfaceIterator, TakesAPathOf255Bytes) {
    addInstance("fpga", "nZUHORLIXFPGA000_HorlixFpga\\0", std::string(255, 'p'));
    EXPECT_EQ(readFirst(), std::string(255, 'p'));
    EXPECT_EQ(path.length, 256U);
}

TEST_F(DeviceInterfaceIterator, RefusesToReadWithoutABuffer) {
    addInstance("fpga", "nZUHORLIXFPGA000_HorlixFpga\\0", "/dev/zu0");
    startEnumeration(&iterator, kIdentifier, &status);
    readInterfacePath(iterator, nullptr, &status);
    EXPECT_EQ(status.code, -52019);
    EXPECT_STREQ(status.file, "linuxDevEnumHelper");
    EXPECT_EQ(status.line, 61U);
}

TEST_F(DeviceInterfaceIterator, IsAtEndOnceReleasedAndMayBeReleasedAgain) {
    addInstance("fpga", "nZUHORLIXFPGA000_HorlixFpga\\0", "/dev/zu0");
    startEnumeration(&iterator, kIdentifier, &status);
    releaseEnumeration(&iterator);
    EXPECT_TRUE(isAtEnd(iterator));
    releaseEnumeration(&iterator);
}

TEST_F(DeviceInterfaceIterator, IsReleasedByItsGuardAlsoWhenAnExceptionPasses) {
    addInstance("fpga", "nZUHORLIXFPGA000_HorlixFpga\\0", "/dev/zu0");
    int released = 0;
    libcHooks().globfree = [&](glob_t* found) {
        EXPECT_EQ(found, &iterator.found);
        ++released;
    };
    try {
        const EnumerationGuard guard(iterator);
        startEnumeration(&iterator, kIdentifier, &status);
        throw std::runtime_error("passes");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(released, 1);
    libcHooks().globfree = nullptr;
}

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000::tDeviceInterfaceIteratorTest
