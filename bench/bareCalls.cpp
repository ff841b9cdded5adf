// The minimal system calls of each operation, in a straight line: the baseline of the measurements.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "bench/bareCalls.h"

#include <dirent.h>
#include <fcntl.h>
#include <glob.h>
#include <linux/ethtool.h>
#include <linux/ptp_clock.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/timex.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <stdexcept>

#include "board/wire/driver.h"

namespace halvexbench {
namespace {

std::uint64_t callDriver(int fd, unsigned long request, std::uint64_t argument = 0) {
    board_wire_value_buffer in{argument, 0, 0};
    board_wire_value_buffer out{};
    board_wire_ioctl_block block{(std::uint64_t)&in, (std::uint64_t)&out, sizeof in, sizeof out, 0};
    ioctl(fd, request, &block);
    return out.value;
}

void setPin(int fd, unsigned function) {
    ptp_pin_desc pin{};
    pin.func = function;
    ioctl(fd, PTP_PIN_SETFUNC, &pin);
}

bool isUp(int phc) {
    ifreq request{};
    interfaceName(phc, request.ifr_name);
    const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
    ioctl(fd, SIOCGIFFLAGS, &request);
    close(fd);
    return (request.ifr_flags & IFF_UP) != 0;
}

bool isReady(int fd, timeval timeout) {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    return select(fd + 1, &readable, nullptr, nullptr, &timeout) > 0;
}

std::int64_t readStamp(int fd) {
    ptp_extts_event event{};
    if (read(fd, &event, sizeof event) != (ssize_t)sizeof event) return 0;
    return event.t.sec * 1'000'000'000LL + event.t.nsec;
}

void armPhc(int fd) {
    while (isReady(fd, {0, 0})) readStamp(fd);
    setPin(fd, PTP_PF_NONE);
    setPin(fd, PTP_PF_EXTTS);
    ptp_extts_request request{};
    request.flags = PTP_ENABLE_FEATURE | PTP_RISING_EDGE;
    ioctl(fd, PTP_EXTTS_REQUEST, &request);
}

std::int64_t readPhc(int fd) {
    isReady(fd, {1, 0});
    const std::int64_t stampNs = readStamp(fd);
    setPin(fd, PTP_PF_NONE);
    return stampNs;
}

void stepPhc(int fd, std::int64_t offsetNs) {
    timex step{};
    step.modes = ADJ_SETOFFSET | ADJ_NANO;
    step.time.tv_sec = offsetNs / 1'000'000'000 - (offsetNs % 1'000'000'000 < 0);
    step.time.tv_usec = offsetNs - step.time.tv_sec * 1'000'000'000LL;
    clock_adjtime((~fd << 3) | 3, &step);
}

void sendRecord(int fpga) {
    board_wire_fpga_status record{};
    record.size = sizeof record;
    callDriver(fpga, BOARD_WIRE_FPGA_SET_STATUS_INFO, (std::uint64_t)&record);
}

bool isFpgaUp(int fpga) { return callDriver(fpga, BOARD_WIRE_FPGA_GET_TIME) != 0; }

bool alignOnce(BareController& controller, bool isDoubled) {
    for (int phc = 0; phc < controller.phcCount; ++phc) {
        if (isUp(phc)) armPhc(controller.phcs[phc]);
    }
    if (controller.hasFpga && isFpgaUp(controller.fpga)) {
        controller.lastFpgaEpoch = (std::int64_t)callDriver(controller.fpga, BOARD_WIRE_FPGA_GET_EPOCH_TIMESTAMP);
    }
    callDriver(controller.ferrox, BOARD_WIRE_FERROX_GENERATE_EPOCH_SIGNAL);
    const auto masterNs = (std::int64_t)callDriver(controller.ferrox, BOARD_WIRE_FERROX_GET_EPOCH_TIMESTAMP);
    bool isAligned = true;
    const auto judge = [&](std::int64_t slaveNs) {
        const std::int64_t difference = slaveNs - masterNs;
        const bool isClose = -100 <= difference && difference <= 100;
        isAligned = isAligned && isClose;
        return isClose ? 0 : isDoubled ? -2 * difference : -difference;
    };
    for (int phc = 0; phc < controller.phcCount; ++phc) {
        if (!isUp(phc)) continue;
        const std::int64_t stepNs = judge(readPhc(controller.phcs[phc]));
        if (stepNs != 0) stepPhc(controller.phcs[phc], stepNs);
    }
    if (controller.hasFpga && isFpgaUp(controller.fpga)) {
        const auto fpgaNs = (std::int64_t)callDriver(controller.fpga, BOARD_WIRE_FPGA_GET_EPOCH_TIMESTAMP);
        const std::int64_t stepNs = judge(fpgaNs);
        if (stepNs != 0) callDriver(controller.fpga, BOARD_WIRE_FPGA_ADJUST_TIME, (std::uint64_t)stepNs);
    }
    return isAligned;
}

void openPhc(BareController& controller, int phc) {
    char path[32];
    snprintf(path, sizeof path, "/dev/ptp%d", phc);
    controller.phcs[phc] = open(path, O_RDWR);
}

/// Reads a driver interface's directory and opens its node.
int openDriver(const char* pattern) {
    glob_t found;
    glob(pattern, GLOB_ONLYDIR, nullptr, &found);
    char path[512];
    snprintf(path, sizeof path, "%s/interfacePath", found.gl_pathv[0]);
    FILE* const file = fopen(path, "re");
    const size_t length = fread(path, 1, sizeof path - 1, file);
    fclose(file);
    path[length] = '\0';
    globfree(&found);
    return open(path, O_RDWR | O_CLOEXEC);
}

constexpr const char* kFerroxPattern = "/proc/driver/zu/*/deviceInterfaces/nZUHORLIXFERROX000_HorlixFerrox\\\\*";
constexpr const char* kFpgaPattern = "/proc/driver/zu/*/deviceInterfaces/nZUHORLIXFPGA000_HorlixFpga\\\\*";
constexpr const char* kPpbOffset = "/sys/bus/i2c/drivers/si514/0-0055/ppb_offset";

}  // namespace

void interfaceName(int phc, char (&name)[16]) {
    char* end = name + 3;
    memcpy(name, "enp", 3);
    const int number = phc + 1;
    if (number >= 10) *end++ = (char)('0' + number / 10);
    *end++ = (char)('0' + number % 10);
    memcpy(end, "s0", 3);
}

void BareController::open(int count, bool withFpga) {
    phcCount = count;
    hasFpga = withFpga;
    ferrox = openDriver(kFerroxPattern);
    fpga = openDriver(kFpgaPattern);
    ppbOffset = ::open(kPpbOffset, O_RDWR);
    for (int phc = 0; phc < phcCount; ++phc) openPhc(*this, phc);
}

void BareController::close() {
    for (int phc = 0; phc < phcCount; ++phc) ::close(phcs[phc]);
    ::close(ppbOffset);
    ::close(fpga);
    ::close(ferrox);
}

void bareLock() {
    static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_mutex_lock(&mutex);
    pthread_mutex_unlock(&mutex);
}

std::uint64_t bareGetTime(int ferrox) { return callDriver(ferrox, BOARD_WIRE_FERROX_GET_TIME); }

long bareGetCorrection(int ppbOffset) {
    char text[32];
    lseek(ppbOffset, 0, SEEK_SET);
    return read(ppbOffset, text, sizeof text);
}

long bareSetCorrection(int ppbOffset) {
    static constexpr char kText[] = "-61999.000000";
    lseek(ppbOffset, 0, SEEK_SET);
    return write(ppbOffset, kText, sizeof kText - 1);
}

namespace {

template <int frames>
[[gnu::noinline]] long inFrames(int ppbOffset) {
    long result;
    if constexpr (frames == 0)
        result = bareSetCorrection(ppbOffset);
    else
        result = inFrames<frames - 1>(ppbOffset);
    asm volatile("" : "+r"(result));  // something to do after the call
    return result;
}

int locked;

}  // namespace

long bareSetCorrectionInFrames(int ppbOffset) { return inFrames<kExtraFrames - 1>(ppbOffset); }

long bareSetCorrectionWithLocked(int ppbOffset) {
    for (int count = 0; count < kExtraFrames / 2; ++count) __atomic_exchange_n(&locked, 1, __ATOMIC_SEQ_CST);
    const long result = bareSetCorrection(ppbOffset);
    for (int count = 0; count < kExtraFrames / 2; ++count) __atomic_exchange_n(&locked, 0, __ATOMIC_SEQ_CST);
    return result;
}

void lockFor15Ms(pthread_mutex_t& mutex) {
    timespec until;
    clock_gettime(CLOCK_MONOTONIC, &until);
    until.tv_nsec += 15'000'000;
    pthread_mutex_clocklock(&mutex, CLOCK_MONOTONIC, &until);
}

void bareSnapTime(BareController& controller) {
    lockFor15Ms(controller.lock);
    if (controller.alignment.valid()) controller.alignment.get();
    callDriver(controller.ferrox, BOARD_WIRE_FERROX_ADJUST_TIME, 0);
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    clock_settime(CLOCK_REALTIME, &now);
    controller.alignment = std::async(std::launch::async, [&controller] { bareAlignment(controller); });
    pthread_mutex_unlock(&controller.lock);
}

void bareAlignment(BareController& controller) {
    int iterations = 0;
    while (!alignOnce(controller, iterations % 2 != 0)) ++iterations;
    syslog(LOG_INFO, "Successfully aligned all timekeeping elements after %d iterations.", iterations + 1);
}

void bareServicePass(BareController& controller) {
    pthread_mutex_lock(&controller.lock);
    for (int phc = 0; phc < controller.phcCount; ++phc) isUp(phc);
    if (controller.hasFpga && isFpgaUp(controller.fpga)) {
        board_wire_fpga_run_state state{};
        state.size = sizeof state;
        callDriver(controller.fpga, BOARD_WIRE_FPGA_GET_STATUS_INFO, (std::uint64_t)&state);
    }
    if (controller.hasFpga && isFpgaUp(controller.fpga)) sendRecord(controller.fpga);
    pthread_mutex_unlock(&controller.lock);
}

namespace {

bool hasLine(const char* interface, const char* file, const char* line) {
    char path[320];
    snprintf(path, sizeof path, "/sys/class/net/%s/device/%s", interface, file);
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    char text[64];
    const ssize_t length = read(fd, text, sizeof text);
    close(fd);
    return length == (ssize_t)strlen(line) && memcmp(text, line, strlen(line)) == 0;
}

void startPhc(BareController& controller, const char* interface) {
    ifreq request{};
    snprintf(request.ifr_name, sizeof request.ifr_name, "%.15s", interface);
    ethtool_ts_info information{};
    information.cmd = ETHTOOL_GET_TS_INFO;
    request.ifr_data = (char*)&information;
    const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
    ioctl(fd, SIOCETHTOOL, &request);
    close(fd);
    const int phc = information.phc_index;
    openPhc(controller, phc);
    ptp_clock_caps capabilities{};
    ioctl(controller.phcs[phc], PTP_CLOCK_GETCAPS, &capabilities);
    setPin(controller.phcs[phc], PTP_PF_NONE);
    timex adjustment{};
    adjustment.modes = ADJ_FREQUENCY;
    clock_adjtime((~controller.phcs[phc] << 3) | 3, &adjustment);
    syslog(LOG_INFO, "Interface %s will be synchronized.", interface);
    ++controller.phcCount;
}

void findInterfaces(BareController& controller) {
    DIR* const directory = opendir("/sys/class/net/");
    while (const dirent* entry = readdir(directory)) {
        if (entry->d_name[0] == '.') continue;
        if (!hasLine(entry->d_name, "vendor", "0x8086\n") || !hasLine(entry->d_name, "device", "0x1533\n")) continue;
        startPhc(controller, entry->d_name);
    }
    closedir(directory);
    syslog(LOG_INFO, "System time will be synchronized to %s.", "enp1s0");
}

void openOscillator(BareController& controller) {
    DIR* const directory = opendir("/sys/bus/i2c/drivers/si514");
    while (const dirent* entry = readdir(directory)) {
        if (entry->d_name[0] != '.') break;
    }
    closedir(directory);
    syslog(LOG_ERR, "smbusPath: %s", "/sys/bus/i2c/drivers/si514/0-0055/");
    char name[128];
    const int fd = open("/sys/bus/i2c/drivers/si514/0-0055/name", O_RDONLY);
    if (read(fd, name, sizeof name) < 0) return;
    close(fd);
    controller.ppbOffset = open(kPpbOffset, O_RDWR);
}

void resetFpga(BareController& controller) {
    if (!isFpgaUp(controller.fpga)) return;
    sendRecord(controller.fpga);
    callDriver(controller.fpga, BOARD_WIRE_FPGA_REQUEST_EPOCH_ALIGNMENT, 4'000'000'000);
}

/// Returns false at the end of the life.
bool waitForNextPass(BareLife& life) {
    timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += 2;
    pthread_mutex_lock(&life.mutex);
    for (int error = 0; !life.isWoken && error == 0;)
        error = pthread_cond_timedwait(&life.condition, &life.mutex, &deadline);
    life.isWoken = false;
    const bool isRunning = life.isRunning;
    pthread_mutex_unlock(&life.mutex);
    return isRunning;
}

void* waitAndService(void* argument) {
    auto& life = *static_cast<BareLife*>(argument);
    for (bool isRunning = true; isRunning;) {
        isRunning = waitForNextPass(life);
        bareServicePass(life.controller);
    }
    return nullptr;
}

void wake(BareLife& life, bool isRunning) {
    pthread_mutex_lock(&life.mutex);
    life.isWoken = true;
    life.isRunning = isRunning;
    pthread_cond_signal(&life.condition);
    pthread_mutex_unlock(&life.mutex);
}

void seedMaster(BareController& controller) {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    const std::int64_t difference =
        now.tv_sec * 1'000'000'000LL + now.tv_nsec - (std::int64_t)bareGetTime(controller.ferrox);
    callDriver(controller.ferrox, BOARD_WIRE_FERROX_ADJUST_TIME, (std::uint64_t)(difference / 200 * 200));
}

}  // namespace

void bareInitialize(BareLife& life) {
    BareController& controller = life.controller;
    findInterfaces(controller);
    controller.fpga = openDriver(kFpgaPattern);
    resetFpga(controller);
    controller.ferrox = openDriver(kFerroxPattern);
    char name[] = "phc2sys";
    char* const arguments[] = {name, nullptr};
    posix_spawn(&life.child, name, nullptr, nullptr, arguments, environ);
    openOscillator(controller);
    seedMaster(controller);
    bareAlignment(controller);
    pthread_create(&life.thread, nullptr, waitAndService, &life);
}

void bareApplyMetaData(BareLife& life) {
    lockFor15Ms(life.controller.lock);
    pthread_mutex_unlock(&life.controller.lock);
    wake(life, true);
}

void bareFinalize(BareLife& life) {
    wake(life, false);
    pthread_join(life.thread, nullptr);
    kill(life.child, SIGKILL);
    resetFpga(life.controller);
    for (int phc = 0; phc < life.controller.phcCount; ++phc) setPin(life.controller.phcs[phc], PTP_PF_NONE);
    life.controller.close();
}

void bareError(const char* message) {
    char json[512];
    try {
        throw std::runtime_error(message);
    } catch (const std::exception& error) {
        snprintf(json, sizeof json,
                 R"({"error_constant":"%s","file":"%s","line":%d,"component":"%s",)"
                 R"("zuhalvexTimekeeper_debug":{"errorInfo":"%s"}})",
                 "zuplaterr_invalidParameter", "si514FreqSteeringDevice", 75, "halvexTimekeeper", error.what());
    }
    asm volatile("" : : "r"(json) : "memory");
}

}  // namespace halvexbench
