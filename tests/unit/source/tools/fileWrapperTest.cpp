// The wrapper around one open attribute file.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/tools/fileWrapper.h"

#include "tests/support/allocationCount.h"
#include "tests/support/libcHooks.h"
#include "tests/support/raisedError.h"

namespace halvexTimekeeper::fileWrapperTest {

using namespace testsupport;

constexpr ExpectedSite kOpenFailed{-52006, "zuplaterr_resourceNotFound", "fileWrapper", 20};
constexpr ExpectedSite kSeekFailed{-52024, "zuplaterr_communicationsFault", "fileWrapper", 44};
constexpr ExpectedSite kWriteFailed{-52024, "zuplaterr_communicationsFault", "fileWrapper", 106};

/// A real file behind the path "/sys/attributes/value", and a journal of its seeks and writes.
struct FileWrapperTest : testing::Test {
    FileWrapperTest() { directory.writeFile("value", "12345"); }

    /// Keeps a journal; writes return `results` first, then the real function's result.
    void watchSeeksAndWrites(std::vector<std::pair<ssize_t, int>> results = {}) {
        libcHooks().lseek = [this](int fd, off_t offset, int whence) {
            journal.push_back("seek " + std::to_string(offset) + "," + std::to_string(whence));
            return lseek64(fd, offset, whence);
        };
        libcHooks().write = [this, results, next = std::size_t{0}](int fd, const void* buffer, size_t length) mutable {
            journal.push_back("write " + std::string(static_cast<const char*>(buffer), length));
            if (next >= results.size()) return writeUnseen(fd, buffer, length);
            const auto [result, error] = results[next++];
            if (result > 0) writeUnseen(fd, buffer, static_cast<size_t>(result));
            errno = error;
            return result;
        };
    }
    /// A write that bypasses the journal.
    static ssize_t writeUnseen(int fd, const void* buffer, size_t length) {
        const off_t offset = lseek64(fd, 0, SEEK_CUR);
        const ssize_t written = pwrite(fd, buffer, length, offset);
        if (written > 0) lseek64(fd, written, SEEK_CUR);
        return written;
    }

    LibcHooksGuard hooks;
    RedirectedDirectory directory{"/sys/attributes"};
    const std::string path = "/sys/attributes/value";
    std::vector<std::string> journal;
};

TEST_F(FileWrapperTest, TellsAPathThatDoesNotExistAsAResourceNotFound) {
    EXPECT_EQ(raisedBy([] { FileWrapper("/sys/attributes/missing", 0); }),
              makeError(kOpenFailed, "Failed to open: /sys/attributes/missing. Error: No such file or directory"));
    EXPECT_EQ(raisedBy([] { FileWrapper(std::string("/sys/attributes/missing"), 0); }),
              makeError(kOpenFailed, "Failed to open: /sys/attributes/missing. Error: No such file or directory"));
}

TEST_F(FileWrapperTest, ReadsOnceAndLeavesTheRestOfTheBufferAsTheCallerSetIt) {
    FileWrapper file(path, 0);
    std::array<char, 8> buffer;
    buffer.fill('#');
    EXPECT_EQ(file.read(buffer.data(), buffer.size()), 5);
    EXPECT_EQ(std::string(buffer.data(), buffer.size()), "12345###");
}

TEST_F(FileWrapperTest, ReadsAtTheCurrentOffsetAndReturns0AtTheEnd) {
    FileWrapper file(path, 0);
    std::array<char, 3> buffer{};
    EXPECT_EQ(file.read(buffer.data(), 3), 3);
    EXPECT_EQ(file.read(buffer.data(), 3), 2);
    EXPECT_EQ(std::string(buffer.data(), 2), "45");
    EXPECT_EQ(file.read(buffer.data(), 3), 0);
}

TEST_F(FileWrapperTest, SeeksFromTheStartAndTo0WithoutAnArgument) {
    FileWrapper file(path, 0);
    std::array<char, 8> buffer{};
    file.resetOffset(3);
    EXPECT_EQ(file.read(buffer.data(), 8), 2);
    file.resetOffset();
    EXPECT_EQ(file.read(buffer.data(), 8), 5);
}

TEST_F(FileWrapperTest, RaisesWhenTheSeekReachesAnotherOffsetThanAsked) {
    FileWrapper file(path, 0);
    libcHooks().lseek = [](int, off_t, int) {
        errno = ESPIPE;
        return off_t{7};
    };
    EXPECT_EQ(raisedBy([&] { file.resetOffset(3); }),
              makeError(kSeekFailed, "Error resetting offset in file: /sys/attributes/value. Error: Illegal seek"));
    EXPECT_NO_THROW(file.resetOffset(7));
}

TEST_F(FileWrapperTest, LetsARefusedSeekToMinus1Pass) {
    FileWrapper file(path, 0);
    EXPECT_NO_THROW(file.resetOffset(-1));
    EXPECT_NE(raisedBy([&] { file.resetOffset(-2); }).code, 0);
}

TEST_F(FileWrapperTest, WritesWithOneSeekAndOneWriteWhateverTheThirdArgument) {
    FileWrapper file(path, O_RDWR);
    watchSeeksAndWrites();
    for (const bool third : {false, true}) {
        journal.clear();
        EXPECT_EQ(file.write("abcde", 5, third, 5), 5);
        EXPECT_EQ(journal, (std::vector<std::string>{"seek 0,0", "write abcde"}));
        EXPECT_EQ(directory.readFile("value"), "abcde");
    }
}

TEST_F(FileWrapperTest, AllocatesNothingToReadSeekAndWrite) {
    FileWrapper file(path, O_RDWR);
    std::array<char, 8> buffer{};
    const long before = countAllocations();
    file.write("abcde", 5, false, 5);
    file.resetOffset();
    file.read(buffer.data(), buffer.size());
    EXPECT_EQ(countAllocations(), before);
}

TEST_F(FileWrapperTest, SucceedsOnTheLastAttempt) {
    FileWrapper file(path, O_RDWR);
    watchSeeksAndWrites({{-1, EIO}, {0, 0}});
    EXPECT_EQ(file.write("abcde", 5, false, 3), 5);
    EXPECT_EQ(journal.size(), 6U);
}

TEST_F(FileWrapperTest, LeavesTheWriteLoopThroughTheSeekErrorWhenASeekFails) {
    FileWrapper file(path, O_RDWR);
    watchSeeksAndWrites({{2, 0}});
    const auto watchedSeek = libcHooks().lseek;
    libcHooks().lseek = [&, seeks = 0](int fd, off_t offset, int whence) mutable {
        const off_t reached = watchedSeek(fd, offset, whence);
        if (++seeks < 2) return reached;
        errno = EIO;
        return off_t{-1};
    };
    EXPECT_EQ(
        raisedBy([&] { file.write("abcde", 5, false, 5); }),
        makeError(kSeekFailed, "Error resetting offset in file: /sys/attributes/value. Error: Input/output error"));
    EXPECT_EQ(journal, (std::vector<std::string>{"seek 0,0", "write abcde", "seek 0,0"}));
}

TEST_F(FileWrapperTest, WritesNothingForAnEmptyBuffer) {
    FileWrapper file(path, O_RDWR);
    watchSeeksAndWrites();
    EXPECT_EQ(file.write("abcde", 0, false, 5), 0);
    EXPECT_EQ(file.write("abcde", 0, false, 0), 0);
    EXPECT_TRUE(journal.empty());
}

TEST_F(FileWrapperTest, FailsAtOnceWithWhateverErrnoHeldWhenThereAreNoAttempts) {
    FileWrapper file(path, O_RDWR);
    watchSeeksAndWrites();
    errno = ENOTTY;
    EXPECT_EQ(
        raisedBy([&] { file.write("abcde", 5, false, 0); }),
        makeError(kWriteFailed, "Error writing file: /sys/attributes/value. Error: Inappropriate ioctl for device"));
    EXPECT_TRUE(journal.empty());
}

TEST_F(FileWrapperTest, NeverClosesDescriptor0) {
    std::vector<int> closed;
    libcHooks().open = [](const char*, int, mode_t) { return 0; };
    libcHooks().close = [&](int fd) {
        closed.push_back(fd);
        return 0;
    };
    FileWrapper(path, 0);
    EXPECT_TRUE(closed.empty());
}

TEST(FileWrapperClass, HasAVirtualDestructorAndIsNotCopied) {
    static_assert(std::has_virtual_destructor_v<FileWrapper>);
    static_assert(!std::is_copy_constructible_v<FileWrapper>);
}

}  // namespace halvexTimekeeper::fileWrapperTest
