// The small files in which drivers describe their interfaces.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuplat/protons/enumeration/linuxU/linuxDevEnumHelper.h"

#include "tests/support/libcHooks.h"
#include "tests/support/platStatuses.h"
#include "tests/support/processCensus.h"
#include "tests/support/test.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000::linuxDevEnumHelperTest {

using namespace testsupport;

/// A file behind the path "/proc/driver/zu/file", and a buffer that already holds a path.
struct InterfaceFile : testing::Test {
    InterfaceFile() {
        buffer.text[0] = 'x';
        buffer.text[1] = '\0';
        buffer.length = 2;
    }
    std::size_t read() { return readInterfaceFile("/proc/driver/zu/file", &buffer, &status); }
    void expectNothingRead(const std::string& code, int line) {
        EXPECT_EQ(textOf(status), code + " halvexTim linuxDevEnumHelper " + std::to_string(line));
        EXPECT_STREQ(buffer.text, "x");
        EXPECT_EQ(buffer.length, 2U);
        EXPECT_EQ(countOpenDescriptors(), descriptorsBefore);
    }

    RedirectedDirectory directory{"/proc/driver/zu"};
    int descriptorsBefore = countOpenDescriptors();
    PathBuffer buffer;
    PlatStatus status;
};

TEST(PathBufferTest, IsMadeEmptyWithTheLengthOne) {
    const PathBuffer buffer;
    EXPECT_STREQ(buffer.text, "");
    EXPECT_EQ(buffer.length, 1U);
}

TEST_F(InterfaceFile, IsReadByteForByteUpTo255BytesAndClosed) {
    for (const std::string& content :
         {std::string("/dev/zu0"), std::string(" /dev/zu0 \n"), std::string(), std::string(255, 'p')}) {
        directory.writeFile("file", content);
        EXPECT_EQ(read(), content.size());
        EXPECT_EQ(status.code, 0);
        EXPECT_EQ(buffer.text, content);
        EXPECT_EQ(buffer.length, content.size() + 1);
        EXPECT_EQ(countOpenDescriptors(), descriptorsBefore);
    }
}

TEST_F(InterfaceFile, IsOpenedForReadingAndClosedOnExec) {
    directory.writeFile("file", "/dev/zu0");
    std::string mode;
    libcHooks().fopen = [&](const char*, const char* asked) {
        mode = asked;
        return fdopen(open("/proc/driver/zu/file", O_RDONLY), "r");
    };
    read();
    EXPECT_EQ(mode, "re");
    EXPECT_STREQ(buffer.text, "/dev/zu0");
}

TEST_F(InterfaceFile, Of256BytesIsRefusedAndLeavesTheBufferAlone) {
    directory.writeFile("file", std::string(256, 'p'));
    EXPECT_EQ(read(), 256U);
    expectNothingRead("-52019", 61);
}

TEST_F(InterfaceFile, Of5000BytesIsReadUpTo4096InOneReadAndRefused) {
    directory.writeFile("file", std::string(5000, 'p'));
    int reads = 0;
    libcHooks().fread = [&](void*, size_t size, size_t count, FILE*) {
        ++reads;
        EXPECT_EQ(size * count, 4096U);
        return count;
    };
    EXPECT_EQ(read(), 4096U);
    EXPECT_EQ(reads, 1);
    expectNothingRead("-52019", 61);
}

TEST_F(InterfaceFile, WithoutABufferIsStillReadAndThenRefused) {
    directory.writeFile("file", "/dev/zu0");
    EXPECT_EQ(readInterfaceFile("/proc/driver/zu/file", nullptr, &status), 8U);
    expectNothingRead("-52019", 61);
}

TEST_F(InterfaceFile, IsTriedTenTimesBeforeItCountsAsMissing) {
    int attempts = 0;
    libcHooks().nanosleep = [](const timespec*, timespec*) -> int {
        ADD_FAILURE() << "slept between the attempts";
        return 0;
    };
    libcHooks().fopen = [&](const char* path, const char*) -> FILE* {
        EXPECT_STREQ(path, "/proc/driver/zu/file");
        ++attempts;
        errno = ENOENT;
        return nullptr;
    };
    EXPECT_EQ(read(), 0U);
    EXPECT_EQ(attempts, 10);
    expectNothingRead("-52006", 41);
}

TEST_F(InterfaceFile, ThatOpensAtTheTenthAttemptIsRead) {
    directory.writeFile("file", "/dev/zu0");
    int attempts = 0;
    libcHooks().fopen = [&](const char*, const char*) -> FILE* {
        if (++attempts < 10) return nullptr;
        return fdopen(open("/proc/driver/zu/file", O_RDONLY), "r");
    };
    EXPECT_EQ(read(), 8U);
    EXPECT_EQ(attempts, 10);
    EXPECT_EQ(status.code, 0);
    EXPECT_STREQ(buffer.text, "/dev/zu0");
}

TEST_F(InterfaceFile, ThatCannotBeReadIsAFaultOfTheCommunication) {
    directory.makeDirectory("file");  // opens, but cannot be read
    EXPECT_EQ(read(), 0U);
    expectNothingRead("-52024", 53);
}

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000::linuxDevEnumHelperTest
