// The C library functions that reach hardware, each replaced by one real, cheap system call and an answer.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <glob.h>
#include <linux/ethtool.h>
#include <linux/ptp_clock.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <spawn.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <sys/timex.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "bench/standIn.h"
#include "board/wire/driver.h"

#define EXPORTED __attribute__((visibility("default")))

using namespace halvexbench;

namespace {

enum class Kind : unsigned char { other, ferrox, fpga, ptp };

struct Descriptor {
    Kind kind;
    unsigned char phc;
    unsigned char stampsLeft;
    std::uint32_t epoch;  // epoch of the stamps
};

constexpr int kDescriptors = 1024;
Descriptor g_descriptors[kDescriptors];
const char* g_root = nullptr;
std::uint64_t g_masterNs = 1'000'000'000'000;
std::uint64_t g_epochNs = 0;
std::uint32_t g_epoch = 0;
int g_oscillator = -1;
int g_neverReady = -1;
int g_nowhere = -1;

/// A system call without the C library, whose functions are replaced below.
template <typename... Arguments>
long systemCall(long number, Arguments... arguments) noexcept {
    const long values[6] = {(long)arguments...};
    register long fourth asm("r10") = values[3];
    register long fifth asm("r8") = values[4];
    long result;
    asm volatile("syscall"
                 : "=a"(result)
                 : "a"(number), "D"(values[0]), "S"(values[1]), "d"(values[2]), "r"(fourth), "r"(fifth)
                 : "rcx", "r11", "memory");
    return result;
}

int answered(long result) noexcept {
    if (result >= 0) return (int)result;
    errno = (int)-result;
    return -1;
}

template <typename Function>
Function next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

/// The path below the root for a path of the controller, else the path itself.
class Redirected {
public:
    explicit Redirected(const char* path) : path_(path) {
        static constexpr const char* kOurs[] = {"/sys/class/net/", "/sys/bus/i2c/drivers/si514", "/proc/driver/zu/",
                                                "/dev/ptp"};
        for (const char* prefix : kOurs) {
            if (g_root == nullptr || strncmp(path, prefix, strlen(prefix)) != 0) continue;
            const size_t length = strlen(g_root);
            memcpy(text_, g_root, length);
            strncpy(text_ + length, path, sizeof text_ - length - 1);
            path_ = text_;
        }
    }
    const char* get() const { return path_; }

private:
    char text_[512]{};
    const char* path_;
};

void remember(int fd, const char* path) {
    if (fd < 0 || fd >= kDescriptors || g_root == nullptr || strncmp(path, g_root, strlen(g_root)) != 0) return;
    const char* const file = path + strlen(g_root);
    if (strstr(file, "/ppb_offset") != nullptr) g_oscillator = fd;
    if (strcmp(file, "/dev/ferrox") == 0) g_descriptors[fd] = {Kind::ferrox, 0, 0, g_epoch};
    if (strcmp(file, "/dev/fpga") == 0) g_descriptors[fd] = {Kind::fpga, 0, 0, g_epoch};
    if (strncmp(file, "/dev/ptp", 8) == 0) {
        g_descriptors[fd] = {Kind::ptp, (unsigned char)atoi(file + 8), 0, g_epoch};
    }
}

int openFile(const char* path, int flags, mode_t mode) {
    const Redirected redirected(path);
    const int fd = answered(systemCall(SYS_openat, AT_FDCWD, redirected.get(), flags, mode));
    remember(fd, redirected.get());
    return fd;
}

/// Enters the kernel and returns: the cost of the cheapest possible driver.
void emptyRequest(int fd) noexcept { systemCall(SYS_ioctl, fd, FIOCLEX, 0); }

void answerFerrox(std::uint64_t request, const board_wire_ioctl_block& args) {
    auto* const out = reinterpret_cast<board_wire_value_buffer*>(args.out_address);
    if (request == BOARD_WIRE_FERROX_GET_TIME) {
        out->value = g_masterNs;
    } else if (request == BOARD_WIRE_FERROX_GENERATE_EPOCH_SIGNAL) {
        g_masterNs += 1'000'000;
        g_epochNs = g_masterNs;
        ++g_epoch;
    } else if (request == BOARD_WIRE_FERROX_GET_EPOCH_TIMESTAMP) {
        out->value = g_epochNs;
    } else if (request == BOARD_WIRE_FERROX_ADJUST_TIME) {
        g_masterNs += reinterpret_cast<const board_wire_value_buffer*>(args.in_address)->value;
    }
}

void takeStatusRecord() {
    if (counters().isFpgaBlocked) {
        counters().isFpgaWaiting = true;
        while (counters().isFpgaBlocked) usleep(100);
        counters().isFpgaWaiting = false;
    }
    counters().lastRecordNs = monotonicNs();
    ++counters().statusRecords;
}

void answerFpga(std::uint64_t request, const board_wire_ioctl_block& args) {
    auto* const out = reinterpret_cast<board_wire_value_buffer*>(args.out_address);
    const auto* const in = reinterpret_cast<const board_wire_value_buffer*>(args.in_address);
    if (request == BOARD_WIRE_FPGA_GET_TIME) {
        out->value = g_masterNs + (std::uint64_t)differenceNs(0);
    } else if (request == BOARD_WIRE_FPGA_GET_EPOCH_TIMESTAMP) {
        out->value = g_epochNs + (std::uint64_t)differenceNs(0);
    } else if (request == BOARD_WIRE_FPGA_ADJUST_TIME) {
        differenceNs(0) += (std::int64_t)in->value;
    } else if (request == BOARD_WIRE_FPGA_GET_STATUS_INFO) {
        reinterpret_cast<unsigned char*>(in->value)[4] = 1;  // running
    } else if (request == BOARD_WIRE_FPGA_SET_STATUS_INFO) {
        takeStatusRecord();
    }
}

void answerPtp(unsigned long request, void* argument) {
    if (request != PTP_CLOCK_GETCAPS) return;
    auto* const capabilities = static_cast<ptp_clock_caps*>(argument);
    capabilities->n_ext_ts = 2;
    capabilities->n_per_out = 2;
    capabilities->n_pins = 4;
}

/// Queries the kernel for the loopback interface and answers for the requested one.
int askInterface(int fd, unsigned long request, ifreq* wanted) {
    ifreq loopback = *wanted;
    memcpy(loopback.ifr_name, "lo", 3);
    const int result = answered(systemCall(SYS_ioctl, fd, request, &loopback));
    if (result < 0) return result;
    if (request == SIOCGIFFLAGS) {
        wanted->ifr_flags = static_cast<short>(loopback.ifr_flags | IFF_UP);
    } else {
        reinterpret_cast<ethtool_ts_info*>(wanted->ifr_data)->phc_index = atoi(wanted->ifr_name + 3) - 1;
    }
    return result;
}

/// A rising and a falling edge for every epoch.
bool hasStamp(Descriptor& clock) {
    if (clock.epoch != g_epoch) {
        clock.epoch = g_epoch;
        clock.stampsLeft = 2;
    }
    return clock.stampsLeft > 0;
}

Descriptor* findPtp(int fd) {
    return fd >= 0 && fd < kDescriptors && g_descriptors[fd].kind == Kind::ptp ? &g_descriptors[fd] : nullptr;
}

}  // namespace

void halvexbench::redirectTo(const char* root) {
    g_root = root;
    if (g_neverReady >= 0) return;
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) abort();
    g_neverReady = ends[0];
    g_nowhere = openFile("/dev/null", O_WRONLY | O_CLOEXEC, 0);
}

int halvexbench::oscillatorDescriptor() { return g_oscillator; }

extern "C" {

EXPORTED int open(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = flags & O_CREAT ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return openFile(path, flags, mode);
}

EXPORTED int __open_2(const char* path, int flags) { return openFile(path, flags, 0); }

EXPORTED FILE* fopen(const char* path, const char* mode) {
    static const auto real = next<FILE* (*)(const char*, const char*)>("fopen");
    return real(Redirected(path).get(), mode);
}

EXPORTED DIR* opendir(const char* path) {
    static const auto real = next<DIR* (*)(const char*)>("opendir");
    return real(Redirected(path).get());
}

EXPORTED int glob(const char* pattern, int flags, int (*onError)(const char*, int), glob_t* found) {
    static const auto real = next<decltype(&glob)>("glob");
    return real(Redirected(pattern).get(), flags, onError, found);
}

EXPORTED int close(int fd) {
    if (fd >= 0 && fd < kDescriptors) g_descriptors[fd] = {};
    return answered(systemCall(SYS_close, fd));
}

EXPORTED int ioctl(int fd, unsigned long request, ...) {
    va_list rest;
    va_start(rest, request);
    void* const argument = va_arg(rest, void*);
    va_end(rest);
    const Kind kind = fd >= 0 && fd < kDescriptors ? g_descriptors[fd].kind : Kind::other;
    if (kind == Kind::other) {
        const bool isOfInterface = request == SIOCGIFFLAGS || request == SIOCETHTOOL;
        if (isOfInterface) return askInterface(fd, request, static_cast<ifreq*>(argument));
        return answered(systemCall(SYS_ioctl, fd, request, argument));
    }
    emptyRequest(fd);
    if (kind == Kind::ferrox) answerFerrox(request, *static_cast<board_wire_ioctl_block*>(argument));
    if (kind == Kind::fpga) answerFpga(request, *static_cast<board_wire_ioctl_block*>(argument));
    if (kind == Kind::ptp) answerPtp(request, argument);
    return 0;
}

EXPORTED ssize_t read(int fd, void* buffer, size_t length) {
    const long count = systemCall(SYS_read, fd, buffer, length);
    if (Descriptor* const clock = findPtp(fd); clock != nullptr && hasStamp(*clock)) {
        --clock->stampsLeft;
        const std::uint64_t stampNs = g_epochNs + (std::uint64_t)differenceNs(clock->phc + 1);
        auto* const event = static_cast<ptp_extts_event*>(buffer);
        event->t.sec = (std::int64_t)(stampNs / 1'000'000'000);
        event->t.nsec = (std::uint32_t)(stampNs % 1'000'000'000);
    }
    if (count >= 0) return count;
    errno = (int)-count;
    return -1;
}

EXPORTED int select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* timeout) {
    Descriptor* const clock = findPtp(count - 1);
    if (clock == nullptr || hasStamp(*clock)) {
        return answered(systemCall(SYS_select, count, readable, writable, exceptional, timeout));
    }
    fd_set nothing;
    FD_ZERO(&nothing);
    FD_SET(g_neverReady, &nothing);
    return answered(systemCall(SYS_select, g_neverReady + 1, &nothing, nullptr, nullptr, timeout));
}

/// The kernel rejects these nanoseconds after checking them.
EXPORTED int clock_settime(clockid_t clock, const timespec* time) noexcept {
    const timespec refused{time->tv_sec, 1'000'000'000};
    systemCall(SYS_clock_settime, clock, &refused);
    return 0;
}

EXPORTED int clock_adjtime(clockid_t clock, timex* adjustment) noexcept {
    timex reading{};
    systemCall(SYS_clock_adjtime, CLOCK_REALTIME, &reading);
    const Descriptor* const phc = findPtp(~(clock >> 3));
    if (phc != nullptr && (adjustment->modes & ADJ_SETOFFSET) != 0) {
        differenceNs(phc->phc + 1) += adjustment->time.tv_sec * 1'000'000'000LL + adjustment->time.tv_usec;
    }
    return 0;
}

EXPORTED int posix_spawn(pid_t* pid, const char*, const posix_spawn_file_actions_t* actions,
                         const posix_spawnattr_t* attributes, char* const*, char* const* environment) {
    static const auto real = next<decltype(&posix_spawn)>("posix_spawn");
    static char name[] = "sleep";
    static char duration[] = "60";
    char* const arguments[] = {name, duration, nullptr};
    return real(pid, "/bin/sleep", actions, attributes, arguments, environment);
}

EXPORTED void __syslog_chk(int, int, const char* format, ...) {
    if (counters().isSyslogSilent) return;
    char line[1024];
    va_list rest;
    va_start(rest, format);
    const int length = vsnprintf(line, sizeof line, format, rest);
    va_end(rest);
    systemCall(SYS_write, g_nowhere, line, length < (int)sizeof line ? length : (int)sizeof line);
    static constexpr char kAligned[] = "Successfully aligned all timekeeping elements after ";
    if (strncmp(line, kAligned, sizeof kAligned - 1) != 0) return;
    ++counters().alignments;
}

}  // extern "C"
