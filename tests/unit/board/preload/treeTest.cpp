// Tests of the board's files: looked up, listed, read and written like the real ones.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <glob.h>

#include "tests/unit/board/preload/boardOn.h"

using namespace boardtest;
using testing::ElementsAre;

namespace treeTest {

class Files : public BoardOn {
protected:
    Files() { switchOn(); }

    static std::string contents(const std::string& path) {
        const Fd fd(open(path.c_str(), O_RDONLY));
        char buffer[512] = {};
        const ssize_t size = fd >= 0 ? read(fd, buffer, sizeof buffer) : -1;
        return size >= 0 ? std::string(buffer, static_cast<std::size_t>(size)) : "errno " + std::to_string(errno);
    }

    static std::vector<std::string> entries(const char* path) {
        std::vector<std::string> names;
        DIR* const directory = opendir(path);
        if (directory == nullptr) return {"errno " + std::to_string(errno)};
        while (const dirent* const entry = readdir(directory)) names.emplace_back(entry->d_name);
        closedir(directory);
        return names;
    }

    const std::string client_ = "/sys/bus/i2c/drivers/si514/0-0055/";
};

TEST_F(Files, OfAnInterfaceNameVendorAndDeviceWhoeverReadsThem) {
    EXPECT_EQ(contents("/sys/class/net/enp1s0/device/vendor"), "0x8086\n");
    std::ifstream stream("/sys/class/net/enp1s0/device/device");
    std::string line;
    EXPECT_TRUE(std::getline(stream, line));
    EXPECT_EQ(line, "0x1533");
    FILE* const file = fopen("/sys//class/net/./enp2s0/device/vendor", "re");
    ASSERT_NE(file, nullptr);
    char buffer[16] = {};
    EXPECT_EQ(fread(buffer, 1, sizeof buffer, file), 7U);
    EXPECT_STREQ(buffer, "0x8086\n");
    fclose(file);
}

TEST_F(Files, ThatTheBoardDoesNotHaveAreMissingEvenIfTheMachineHasThem) {
    EXPECT_EQ(contents("/sys/class/net/lo/device/vendor"), "errno 2");
    EXPECT_EQ(contents("/dev/ptp7"), "errno 2");
    EXPECT_EQ(contents("/sys/class/net/enp9s0/device/vendor"), "errno 2");
    struct stat seen {};
    EXPECT_THAT(stat("/sys/class/net/eth0", &seen), FailsWith(ENOENT));
    EXPECT_THAT(stat("/sys/class/ptp", &seen), FailsWith(ENOENT));
}

TEST_F(Files, OfTheMachineAreReadAsEver) {
    std::ifstream stream("/etc/passwd");
    std::string line;
    EXPECT_TRUE(std::getline(stream, line));
    EXPECT_THAT(line, testing::HasSubstr("root"));
}

TEST_F(Files, AreListedInTheOrderOfTheKernel) {
    EXPECT_THAT(entries("/sys/class/net/"), ElementsAre(".", "..", "lo", "enp2s0", "enp1s0"));
    EXPECT_THAT(entries("/sys/bus/i2c/drivers/si514"),
                ElementsAre(".", "..", "bind", "0-0055", "module", "uevent", "unbind"));
}

TEST_F(Files, InAListingSayWhetherTheyAreLinks) {
    DIR* const directory = opendir("/sys/bus/i2c/drivers/si514");
    ASSERT_NE(directory, nullptr);
    std::string links;
    while (const dirent64* const entry = readdir64(directory))
        links += entry->d_type == DT_LNK ? std::string(entry->d_name) + " " : "";
    closedir(directory);
    EXPECT_EQ(links, "0-0055 module ");
}

TEST_F(Files, OfADirectoryOfTheMachineStandBesideItsOwn) {
    EXPECT_THAT(entries("/dev"), testing::IsSupersetOf({"ptp0", "ptp1", "null", "zu"}));
    struct stat seen {};
    EXPECT_EQ(stat("/dev/ptp0", &seen), 0);
    EXPECT_TRUE(S_ISCHR(seen.st_mode));
    EXPECT_EQ(access("/dev/ptp0", R_OK | W_OK), 0);
}

TEST_F(Files, OfADriverAreFoundByGlobThroughTheDoubledBackslash) {
    glob_t found{};
    ASSERT_EQ(
        glob("/proc/driver/zu/*/deviceInterfaces/nZUHORLIXFPGA000_HorlixFpga\\\\*", GLOB_ONLYDIR, nullptr, &found), 0);
    ASSERT_EQ(found.gl_pathc, 1U);
    const std::string path = found.gl_pathv[0];
    globfree(&found);
    EXPECT_EQ(path, "/proc/driver/zu/horlixFpga/deviceInterfaces/nZUHORLIXFPGA000_HorlixFpga\\0");
    EXPECT_EQ(contents(path + "/interfacePath"), "/dev/zu/horlixFpga0") << "no newline";
    EXPECT_EQ(glob("/proc/driver/zu/*/deviceInterfaces/nothing\\\\*", GLOB_ONLYDIR, nullptr, &found), GLOB_NOMATCH);
}

TEST_F(Files, OfADriverThatIsGoneAreGone) {
    ASSERT_TRUE(board_->doEvent(BOARD_EVENT_DRIVER_GONE, BOARD_TARGET_FPGA));
    EXPECT_EQ(contents("/proc/driver/zu/horlixFpga/deviceInterfaces/nZUHORLIXFPGA000_HorlixFpga\\0/interfacePath"),
              "errno 2");
    ASSERT_TRUE(board_->doEvent(BOARD_EVENT_DRIVER_GONE, BOARD_TARGET_SI514));
    EXPECT_THAT(entries("/sys/bus/i2c/drivers/si514"), ElementsAre("errno 2"));
}

TEST_F(Files, OfTheOscillatorSteerIt) {
    const Fd fd(open((client_ + "ppb_offset").c_str(), O_RDWR));
    ASSERT_GE(fd, 0);
    ASSERT_EQ(lseek(fd, 0, SEEK_SET), 0);
    ASSERT_EQ(write(fd, "-1250.000000", 12), 12);
    char buffer[32] = {};
    EXPECT_EQ(read(fd, buffer, sizeof buffer), 0) << "the offset stands behind the text";
    ASSERT_EQ(lseek(fd, 0, SEEK_SET), 0);
    EXPECT_GT(read(fd, buffer, sizeof buffer), 0);
    EXPECT_EQ(std::string(buffer), "-1250\n");
    EXPECT_THAT(board_->traceText(), testing::HasSubstr("\"steering_ppt\":-1250000"));
}

TEST_F(Files, OfTheOscillatorMayBePrintedIntoThroughStdio) {
    FILE* const file = fopen((client_ + "ppb_offset").c_str(), "w");
    ASSERT_NE(file, nullptr);
    fprintf(file, "%d", 777);
    EXPECT_EQ(fclose(file), 0);
    EXPECT_EQ(contents(client_ + "ppb_offset"), "777\n");
    std::ofstream(client_ + "ppb_offset") << -5;
    EXPECT_EQ(contents(client_ + "ppb_offset"), "-5\n");
}

TEST_F(Files, OfTheOscillatorRefuseWhatIsNoNumberAndWhatIsReadOnly) {
    const Fd fd(open((client_ + "ppb_offset").c_str(), O_WRONLY));
    EXPECT_THAT(write(fd, "fast", 4), FailsWith(EINVAL));
    char byte = 0;
    EXPECT_THAT(read(fd, &byte, 1), FailsWith(EBADF));
    EXPECT_THAT(open((client_ + "name").c_str(), O_RDWR), FailsWith(EACCES));
    EXPECT_THAT(open("/sys/bus/i2c/drivers/si514/bind", O_RDONLY), FailsWith(EACCES));
}

}  // namespace treeTest
