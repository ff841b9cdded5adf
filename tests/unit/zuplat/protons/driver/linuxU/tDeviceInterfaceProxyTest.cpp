// The transport of method calls to a driver.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuplat/protons/driver/linuxU/tDeviceInterfaceProxy.h"

#include <sys/mman.h>

#include "tests/support/libcHooks.h"
#include "tests/support/platStatuses.h"
#include "tests/support/vtableSlot.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000::tDeviceInterfaceProxyTest {

using namespace testsupport;

constexpr int kDescriptor = 1234;

/// A proxy on descriptors that exist only in the fakes.
struct DeviceInterfaceProxy : testing::Test {
    DeviceInterfaceProxy() {
        libcHooks().open = [this](const char* path, int flags, mode_t) {
            openedPath = path;
            openedFlags = flags;
            return descriptor;
        };
        libcHooks().close = [this](int fd) {
            closed.push_back(fd);
            return closeResult;
        };
    }
    ~DeviceInterfaceProxy() override {
        if (proxy.isOpen()) proxy.close();
    }
    void openProxy() { proxy.open("/dev/zu0", &status); }
    void expectReported(std::int64_t code, std::uint64_t line) {
        EXPECT_EQ(textOf(status), std::to_string(code) + " halvexTim tDeviceInterfaceProxy " + std::to_string(line));
    }

    LibcHooksGuard hooks;
    int descriptor = kDescriptor;
    int closeResult = 0;
    std::string openedPath;
    int openedFlags = 0;
    std::vector<int> closed;
    PlatStatus status;
    PlatStatus failed = statusOf(-1);
    tDeviceInterfaceProxy proxy;
};

TEST_F(DeviceInterfaceProxy, HasItsOperationsInTheOrderOfTheContract) {
    using P = tDeviceInterfaceProxy;
    EXPECT_TRUE(takeSlotsFrom(2, &P::close, &P::ioctl, &P::read, &P::write, &P::map, &P::unmap, &P::isOpen));
    EXPECT_TRUE(takeSlotsFrom<void (P::*)(const PathBuffer&, PlatStatus*) noexcept>(9, &P::open));
    EXPECT_TRUE(takeSlotsFrom<void (P::*)(const char*, PlatStatus*) noexcept>(10, &P::open));
}

TEST_F(DeviceInterfaceProxy, IsMadeClosedAndClosingItDoesNothing) {
    EXPECT_FALSE(proxy.isOpen());
    EXPECT_FALSE(proxy.close());
    EXPECT_TRUE(closed.empty());
}

TEST_F(DeviceInterfaceProxy, OpensForReadingAndWritingAndClosesOnExec) {
    openProxy();
    EXPECT_EQ(status.code, 0);
    EXPECT_EQ(openedPath, "/dev/zu0");
    EXPECT_EQ(openedFlags, O_RDWR | O_CLOEXEC);
    EXPECT_TRUE(proxy.isOpen());
}

TEST_F(DeviceInterfaceProxy, OpensAPathFromItsBufferUnchanged) {
    PathBuffer path;
    std::strcpy(path.text, "/dev/zu0\n");
    path.length = 10;
    proxy.open(path, &status);
    EXPECT_EQ(openedPath, "/dev/zu0\n");
    EXPECT_TRUE(proxy.isOpen());
}

TEST_F(DeviceInterfaceProxy, ReportsAPathThatEndsInANewlineAsNotFound) {
    libcHooks() = {};
    PathBuffer path;
    std::strcpy(path.text, "/dev/null\n");
    path.length = 11;
    proxy.open(path, &status);
    expectReported(-52006, 47);
    EXPECT_FALSE(proxy.isOpen());
}

TEST_F(DeviceInterfaceProxy, StaysClosedWhenOpeningFails) {
    const OsCallGuard failingOpen{libcHooks().open, failFrom(1, EACCES)};
    openProxy();
    expectReported(-52026, 47);
    EXPECT_FALSE(proxy.isOpen());
}

TEST_F(DeviceInterfaceProxy, DoesNotOpenWhenTheStatusHoldsAnError) {
    proxy.open("/dev/zu0", &failed);
    EXPECT_EQ(failed.code, -1);
    EXPECT_EQ(openedPath, "");
    EXPECT_FALSE(proxy.isOpen());
}

TEST_F(DeviceInterfaceProxy, OpensWhenTheStatusHoldsAWarningAndReportsAnErrorOverIt) {
    status = statusOf(5);
    openProxy();
    EXPECT_TRUE(proxy.isOpen());
    EXPECT_EQ(status.code, 5);
    proxy.close();
    const OsCallGuard failingOpen{libcHooks().open, failFrom(1, ENOENT)};
    openProxy();
    expectReported(-52006, 47);
}

TEST_F(DeviceInterfaceProxy, ClosesItsDescriptorOnce) {
    openProxy();
    EXPECT_TRUE(proxy.close());
    EXPECT_FALSE(proxy.isOpen());
    EXPECT_FALSE(proxy.close());
    EXPECT_EQ(closed, std::vector{kDescriptor});
}

TEST_F(DeviceInterfaceProxy, IsClosedAlsoWhenClosingFails) {
    openProxy();
    closeResult = -1;
    EXPECT_FALSE(proxy.close());
    EXPECT_FALSE(proxy.isOpen());
}

TEST_F(DeviceInterfaceProxy, TakesDescriptorZeroForOpenAndClosesIt) {
    descriptor = 0;
    openProxy();
    EXPECT_TRUE(proxy.isOpen());
    EXPECT_TRUE(proxy.close());
    EXPECT_EQ(closed, std::vector{0});
}

TEST_F(DeviceInterfaceProxy, ClosesItsDescriptorWhenItIsDestroyed) {
    {
        tDeviceInterfaceProxy shortLived;
        shortLived.open("/dev/zu0", &status);
        const tDeviceInterfaceProxy neverOpened;
    }
    EXPECT_EQ(closed, std::vector{kDescriptor});
}

TEST_F(DeviceInterfaceProxy, HandsTheDriverABlockOf32BytesAndReturnsTheLow32BitsOfTheBytesReturned) {
    openProxy();
    char in[5];
    char out[7];
    libcHooks().ioctl = [&](int fd, unsigned long request, void* block) {
        EXPECT_EQ(fd, kDescriptor);
        EXPECT_EQ(request, 0xC0207501UL);
        const struct {
            const void* in;
            const void* out;
            std::uint32_t inSize = 5, outSize = 7;
            std::uint64_t returned = 0;
        } expected{in, out};
        EXPECT_EQ(std::memcmp(block, &expected, 32), 0);
        const std::uint64_t returned = 0x1234567890ABCDEF;
        std::memcpy(static_cast<char*>(block) + 24, &returned, sizeof returned);
        return 0;
    };
    EXPECT_EQ(proxy.ioctl(0xC0207501, in, 5, out, 7, &status), 0x90ABCDEFU);
    EXPECT_EQ(status.code, 0);
}

TEST_F(DeviceInterfaceProxy, ReportsACallThatFailsAndStillReturnsTheBytesReturned) {
    openProxy();
    libcHooks().ioctl = [](int, unsigned long, void* block) {
        const std::uint64_t returned = 9;
        std::memcpy(static_cast<char*>(block) + 24, &returned, sizeof returned);
        errno = ENOTTY;
        return -1;
    };
    EXPECT_EQ(proxy.ioctl(1, nullptr, 0, nullptr, 0, &status), 9U);
    expectReported(-52002, 71);
}

TEST_F(DeviceInterfaceProxy, CountsAResultOtherThanMinusOneAsSuccess) {
    openProxy();
    for (const int result : {0, 1, -2}) {
        libcHooks().ioctl = [result](int, unsigned long, void*) { return result; };
        proxy.ioctl(1, nullptr, 0, nullptr, 0, &status);
        EXPECT_EQ(status.code, 0);
    }
}

TEST_F(DeviceInterfaceProxy, CallsTheSystemWithDescriptorMinusOneWhenClosedAndReportsNotFound) {
    int asked = 0;
    libcHooks().ioctl = [&](int fd, unsigned long, void*) {
        asked = fd;
        errno = EBADF;
        return -1;
    };
    EXPECT_EQ(proxy.ioctl(1, nullptr, 0, nullptr, 0, &status), 0U);
    EXPECT_EQ(asked, -1);
    expectReported(-52006, 71);
}

TEST_F(DeviceInterfaceProxy, DoesNothingButReturnZeroWhenTheStatusHoldsAnError) {
    openProxy();
    const auto refuse = [](auto...) { ADD_FAILURE() << "called the system"; };
    libcHooks().ioctl = [&](int, unsigned long, void*) { return refuse(), 0; };
    libcHooks().read = [&](int, void*, size_t) { return refuse(), ssize_t{1}; };
    libcHooks().write = [&](int, const void*, size_t) { return refuse(), ssize_t{1}; };
    Mapping mapping;
    char byte = 0;
    EXPECT_EQ(proxy.ioctl(1, nullptr, 0, nullptr, 0, &failed), 0U);
    EXPECT_EQ(proxy.read(&byte, 1, &failed), 0);
    EXPECT_EQ(proxy.write(&byte, 1, &failed), 0);
    libcHooks().mmap = [&](void*, size_t, int, int, int, off_t) -> void* { return refuse(), nullptr; };
    EXPECT_EQ(proxy.map(0, 1, MapAccess::readOnly, &mapping, &failed), nullptr);
    libcHooks().mmap = nullptr;
    EXPECT_EQ(failed.code, -1);
    EXPECT_EQ(failed.line, 1U);
}

TEST_F(DeviceInterfaceProxy, ReadsAndWritesOnceAndReturnsTheCount) {
    openProxy();
    char buffer[8] = {};
    const auto transfer = [&](int fd, const void* memory, size_t length) {
        EXPECT_EQ(fd, kDescriptor);
        EXPECT_EQ(memory, buffer);
        EXPECT_EQ(length, 8U);
        return ssize_t{3};
    };
    libcHooks().read = transfer;
    libcHooks().write = transfer;
    EXPECT_EQ(proxy.read(buffer, 8, &status), 3);
    EXPECT_EQ(proxy.write(buffer, 8, &status), 3);
    EXPECT_EQ(status.code, 0);
}

TEST_F(DeviceInterfaceProxy, ReportsAReadOrAWriteThatFails) {
    openProxy();
    char byte = 0;
    const OsCallGuard failingRead{libcHooks().read, failFrom(1, EIO)};
    const OsCallGuard failingWrite{libcHooks().write, failFrom(1, ENOSPC)};
    EXPECT_EQ(proxy.read(&byte, 1, &status), -1);
    expectReported(-52024, 88);
    status = PlatStatus();
    EXPECT_EQ(proxy.write(&byte, 1, &status), -1);
    expectReported(-52012, 101);
}

TEST_F(DeviceInterfaceProxy, MapsSharedPagesForReadingOrForBoth) {
    openProxy();
    const long pageSize = sysconf(_SC_PAGESIZE);
    char memory[16];
    for (const auto& [access, protection] : {std::pair{MapAccess::readOnly, PROT_READ},
                                             {MapAccess::readWrite, PROT_READ | PROT_WRITE},
                                             {static_cast<MapAccess>(2), PROT_READ}}) {
        Mapping mapping;
        int protectionSeen = 0;
        off_t offsetSeen = 0;
        libcHooks().mmap = [&](void* address, size_t length, int asked, int flags, int fd, off_t offset) -> void* {
            EXPECT_EQ(address, nullptr);
            EXPECT_EQ(length, 16U);
            EXPECT_EQ(flags, MAP_SHARED);
            EXPECT_EQ(fd, kDescriptor);
            protectionSeen = asked;
            offsetSeen = offset;
            return memory;
        };
        void* const address = proxy.map(65535, 16, access, &mapping, &status);
        libcHooks().mmap = nullptr;
        EXPECT_EQ(protectionSeen, protection);
        EXPECT_EQ(offsetSeen, 65535 * pageSize);
        EXPECT_EQ(address, memory);
        EXPECT_EQ(mapping.address, memory);
        EXPECT_EQ(mapping.length, 16U);
        EXPECT_EQ(status.code, 0);
    }
}

TEST_F(DeviceInterfaceProxy, ReportsAMappingThatFailsAndLeavesItNull) {
    openProxy();
    char formerMemory[5];
    Mapping mapping{formerMemory, sizeof formerMemory};
    libcHooks().mmap = [](void*, size_t, int, int, int, off_t) -> void* {
        errno = ENOMEM;
        return MAP_FAILED;
    };
    void* const address = proxy.map(0, 16, MapAccess::readWrite, &mapping, &status);
    libcHooks().mmap = nullptr;
    EXPECT_EQ(address, nullptr);
    EXPECT_EQ(mapping.address, nullptr);
    EXPECT_EQ(mapping.length, 0U);
    expectReported(-52000, 123);
}

TEST_F(DeviceInterfaceProxy, UnmapsAMappingOnceAndWhateverTheStatus) {
    char memory[16];
    Mapping mapping{memory, 16};
    int unmapped = 0;
    libcHooks().munmap = [&](void* address, size_t length) {
        EXPECT_EQ(address, memory);
        EXPECT_EQ(length, 16U);
        ++unmapped;
        return 0;
    };
    proxy.unmap(&mapping);
    proxy.unmap(&mapping);
    libcHooks().munmap = nullptr;
    EXPECT_EQ(unmapped, 1);
    EXPECT_EQ(mapping.address, nullptr);
}

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000::tDeviceInterfaceProxyTest
