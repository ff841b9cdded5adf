// The files of the stand-in controller, its clocks, and the counters.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "bench/standIn.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace halvexbench {
namespace {

namespace fs = std::filesystem;

std::int64_t g_differencesNs[kMostPhcs + 1];
Counters g_counters;
std::string g_root;

void writeFile(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path) << text;
}

void makeInterface(const fs::path& root, const std::string& name, const std::string& device) {
    writeFile(root / "sys/class/net" / name / "device/vendor", "0x8086\n");
    writeFile(root / "sys/class/net" / name / "device/device", device + "\n");
}

void makeDriver(const fs::path& root, const std::string& driver, const std::string& identifier) {
    const fs::path node = root / "dev" / driver;
    writeFile(root / "proc/driver/zu" / driver / "deviceInterfaces" / (identifier + "\\0") / "interfacePath",
              node.string());
    fs::create_directories(node.parent_path());
    fs::create_symlink("/dev/null", node);
}

void makeTree(const fs::path& root) {
    for (int position = 1; position <= kListedInterfaces; ++position) {
        makeInterface(root, "enp" + std::to_string(position) + "s0", "0x1533");
    }
    makeInterface(root, "eno1", "0x15b8");
    fs::create_directories(root / "sys/class/net/lo");
    makeDriver(root, "ferrox", "nZUHORLIXFERROX000_HorlixFerrox");
    makeDriver(root, "fpga", "nZUHORLIXFPGA000_HorlixFpga");
    for (int phc = 0; phc < kMostPhcs; ++phc) {
        // Always readable, and returns 32 bytes whenever 32 are requested.
        fs::create_symlink("/dev/zero", root / "dev" / ("ptp" + std::to_string(phc)));
    }
    const fs::path client = root / "sys/bus/i2c/drivers/si514/0-0055";
    writeFile(client / "name", "si514\n");
    // A kernel attribute that stores and returns a short text and does nothing else: the one in the environment, or
    // this process's name.
    const char* const attribute = std::getenv("HALVEX_BENCH_ATTRIBUTE");
    fs::create_symlink(attribute != nullptr ? attribute : "/proc/self/comm", client / "ppb_offset");
    std::ofstream(client / "ppb_offset") << "0.000000";
}

}  // namespace

StandIn::StandIn() {
    char root[] = "/dev/shm/halvexbenchXXXXXX";
    if (mkdtemp(root) == nullptr) throw std::runtime_error("halvexbench: no directory in /dev/shm");
    g_root = root;
    makeTree(g_root);
    redirectTo(g_root.c_str());
}

StandIn::~StandIn() {
    redirectTo(nullptr);
    std::error_code ignored;
    fs::remove_all(g_root, ignored);
}

std::int64_t& differenceNs(int clock) { return g_differencesNs[clock]; }

void reapChildren() {
    while (waitpid(-1, nullptr, 0) > 0) continue;
}

Counters& counters() { return g_counters; }

std::int64_t monotonicNs() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

}  // namespace halvexbench
