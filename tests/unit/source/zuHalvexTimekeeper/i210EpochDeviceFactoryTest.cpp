// The discovery of the I210 network interfaces.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/i210EpochDeviceFactory.h"

#include "tests/support/libcHooks.h"
#include "tests/unit/source/zuHalvexTimekeeper/fakeI210.h"

namespace halvexTimekeeper::i210EpochDeviceFactoryTest {

using namespace testsupport;
using Names = std::vector<std::string>;

/// The directory of network interfaces with identifiers written by the test, and the kernel behind their clocks.
struct I210Discovery : testing::Test {
    void addInterface(const std::string& name, const std::string& vendor = "0x8086\n",
                      const std::string& device = "0x1533\n") {
        directory.writeFile(name + "/device/vendor", vendor);
        directory.writeFile(name + "/device/device", device);
        const int phcIndex = static_cast<int>(kernel.interfaces.size());
        kernel.interfaces[name] = {phcIndex, true};
    }

    static Names findNames() {
        Names names;
        for (const auto& device : findUsableI210Interfaces()) names.push_back(device->getInterfaceName());
        return names;
    }

    FakeI210 kernel;
    LibcHooksGuard hooks;
    RedirectedDirectory directory{"/sys/class/net"};
    SyslogCapture log;

    I210Discovery() { kernel.interfaces.clear(); }
};

TEST_F(I210Discovery, SortsByBytesAndNotByAnyLanguagesRules) {
    for (const char* name : {"b1", "B1", "a10", "a9", "a\xC3\xA4", "a-"}) addInterface(name);
    EXPECT_EQ(findNames(), (Names{"B1", "a-", "a10", "a9", "a\xC3\xA4", "b1"}));
}

TEST_F(I210Discovery, FindsNothingAndSaysNothingOnASystemWithoutI210) {
    addInterface("eth0", "0x10ec\n", "0x8168\n");
    addInterface("eth1", "0x8086\n", "0x1539\n");
    addInterface("eth2", "0x10ec\n", "0x1533\n");
    directory.makeDirectory("lo");
    EXPECT_TRUE(findUsableI210Interfaces().empty());
    EXPECT_TRUE(log.getLines().empty());
    EXPECT_TRUE(kernel.journal.empty());
}

TEST_F(I210Discovery, TakesAnEmptyDirectoryForASystemWithoutI210) { EXPECT_TRUE(findUsableI210Interfaces().empty()); }

TEST_F(I210Discovery, ComparesFirstLinesExactly) {
    addInterface("a0", "0x8086\n0x9999\n", "0x1533\nmore\n");  // only the first line counts
    addInterface("a1", "0x8086", "0x1533");                    // without a newline
    addInterface("b0", "\n0x8086\n");
    addInterface("b1", "0X8086\n");
    addInterface("b2", "8086\n");
    addInterface("b3", " 0x8086\n");
    addInterface("b4", "0x8086\r\n");
    addInterface("b5", "0x80861\n");
    addInterface("b6", std::string("0x8086\0\n", 8));
    addInterface("b7", "");
    addInterface("b8", "0x8086\n", "0x1533 \n");
    addInterface("b9", "0x8086" + std::string(200, 'x') + "\n");
    addInterface("c0", "0x8086 \n");
    EXPECT_EQ(findNames(), (Names{"a0", "a1"}));
}

TEST_F(I210Discovery, SkipsEntriesWhoseIdentifiersCannotBeRead) {
    addInterface("enp1s0");
    directory.makeDirectory("a0");                        // no identifiers at all
    directory.makeDirectory("a1/device/vendor");          // opens, but cannot be read
    directory.writeFile("a2/device/vendor", "0x8086\n");  // no device identifier
    directory.writeFile("bonding_masters", "");           // no directory
    EXPECT_EQ(findNames(), Names{"enp1s0"});
}

TEST_F(I210Discovery, ReadsAFirstLineThatArrivesInPieces) {
    addInterface("enp1s0");
    libcHooks().read = [piece = 0](int fd, void* buffer, size_t length) mutable {
        constexpr int kPieces = 4;  // of two bytes each, up to the newline
        return pread(fd, buffer, std::min<size_t>(length, 2), 2 * (piece++ % kPieces));
    };
    EXPECT_EQ(findNames(), Names{"enp1s0"});
}

TEST_F(I210Discovery, LeavesAnUnusableInterfaceOutWithAWarning) {
    addInterface("enp1s0");
    addInterface("enp2s0");
    kernel.interfaces["enp1s0"].phcIndex = -1;
    EXPECT_EQ(findNames(), Names{"enp2s0"});
    EXPECT_EQ(log.getLines(),
              (std::vector<SyslogLine>{
                  {LOG_WARNING, "*** warning: Interface enp1s0 is not usable and will not be synchronized."},
                  {LOG_INFO, "Interface enp2s0 will be synchronized."}}));
}

TEST_F(I210Discovery, ReturnsAnEmptyListWhenTheOnlyI210IsUnusable) {
    addInterface("enp1s0");
    kernel.capabilities.n_pins = 3;
    EXPECT_TRUE(findNames().empty());
    EXPECT_EQ(log.getTexts(LOG_WARNING),
              Names{"*** warning: Interface enp1s0 is not usable and will not be synchronized."});
}

TEST_F(I210Discovery, TakesInterfacesThatAreDown) {
    addInterface("enp1s0");
    kernel.interfaces["enp1s0"].isUp = false;
    EXPECT_EQ(findNames(), Names{"enp1s0"});
}

TEST_F(I210Discovery, PassesAStandardErrorOn) {
    addInterface("enp1s0");
    const OsCallGuard empty{osCalls().socket, nullptr};
    EXPECT_THROW(findUsableI210Interfaces(), std::bad_function_call);
}

}  // namespace halvexTimekeeper::i210EpochDeviceFactoryTest
