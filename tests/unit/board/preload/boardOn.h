// A board that is on for one test, and helpers of the shim tests.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <spawn.h>
#include <sys/ioctl.h>

#include "board/preload/linkedBoard.h"
#include "board/wire/driver.h"
#include "board/wire/netInterface.h"
#include "board/wire/paths.h"
#include "board/wire/ptp.h"
#include "tests/support/test.h"

namespace boardtest {

inline constexpr std::uint64_t kSecond = 1'000'000'000;
inline constexpr std::uint64_t kMillisecond = 1'000'000;

/// Two I210s, the second listed first; beside them the loopback and a foreign card.
inline constexpr const char* kScenario = R"(
seed = 7
[ferrox]
[fpga]
offset = "40 us"
[[interface]]
name = "enp2s0"
phc_index = 1
offset = "-2 ms"
step_loss = "1500 ns"
step_jitter = "50 ns"
[[interface]]
name = "enp1s0"
phc_index = 0
offset = "350 ns"
)";

/// Of a function that returns -1 and sets errno.
MATCHER_P(FailsWith, error, "fails with " + std::string(strerrorname_np(error))) {
    *result_listener << "errno is " << errno;
    return arg == -1 && errno == error;
}

class BoardOn : public testing::Test {
protected:
    void switchOn(const std::string& further = "", std::uint64_t seed = 7) {
        halvexboard::LinkedBoardOptions options;
        options.seed = seed;
        board_ = std::make_unique<halvexboard::LinkedBoard>(kScenario + further, options);
    }

    /// Position of enp1s0, the interface of /dev/ptp0.
    static constexpr int kFirst = 1;

    std::string traced(const std::string& part) const {
        for (const std::string& line : board_->trace()) {
            if (line.find(part) != std::string::npos) return line;
        }
        return {};
    }

    std::unique_ptr<halvexboard::LinkedBoard> board_;
};

/// A descriptor closed at scope exit.
class Fd {
public:
    explicit Fd(int fd) : fd_(fd) {}
    ~Fd() {
        if (fd_ >= 0) close(fd_);
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    operator int() const { return fd_; }

private:
    int fd_;
};

inline std::uint64_t now(clockid_t clock) {
    timespec time{};
    EXPECT_EQ(clock_gettime(clock, &time), 0);
    return static_cast<std::uint64_t>(time.tv_sec) * kSecond + static_cast<std::uint64_t>(time.tv_nsec);
}

inline timespec after(clockid_t clock, std::uint64_t ns) {
    const std::uint64_t at = now(clock) + ns;
    return {static_cast<time_t>(at / kSecond), static_cast<long>(at % kSecond)};
}

/// One method of a driver node, with buffers and block built as a program builds them. Returns 0 or the errno.
struct DriverCall {
    std::uint64_t result = 0;
    std::int32_t status = 0;
    std::uint64_t bytesReturned = 0;

    int make(int fd, std::uint32_t request, const std::uint64_t* argument, bool hasResult) {
        board_wire_value_buffer in{argument != nullptr ? *argument : 0, 0, 0};
        board_wire_value_buffer out{};
        board_wire_ioctl_block block{};
        block.in_address = reinterpret_cast<std::uint64_t>(&in);
        block.out_address = reinterpret_cast<std::uint64_t>(&out);
        block.in_size = argument != nullptr ? sizeof in : BOARD_WIRE_STATUS_BUFFER_SIZE;
        block.out_size = hasResult ? sizeof out : BOARD_WIRE_STATUS_BUFFER_SIZE;
        if (ioctl(fd, request, &block) != 0) return errno;
        result = hasResult ? out.value : 0;
        status = hasResult ? out.status : static_cast<std::int32_t>(out.value);
        bytesReturned = block.bytes_returned;
        return 0;
    }
    int get(int fd, std::uint32_t request) { return make(fd, request, nullptr, true); }
    int act(int fd, std::uint32_t request) { return make(fd, request, nullptr, false); }
    int give(int fd, std::uint32_t request, std::uint64_t argument) { return make(fd, request, &argument, false); }
};

/// Starts phc2sys as the product does. Returns its pid, or -1.
inline pid_t startPhc2sys(const char* source) {
    const char* const words[] = {"phc2sys",        "-O", "0",        "-l", "4",    "-c",
                                 "CLOCK_REALTIME", "-F", "0.000001", "-s", source, nullptr};
    pid_t pid = -1;
    EXPECT_EQ(posix_spawn(&pid, BOARD_WIRE_PHC2SYS, nullptr, nullptr, const_cast<char* const*>(words), environ), 0);
    return pid;
}

inline int setPin(int fd, std::uint32_t function) {
    board_wire_ptp_pin pin{};
    pin.function = function;
    return ioctl(fd, BOARD_WIRE_PTP_PIN_SETFUNC, &pin);
}

inline int requestStamps(int fd) {
    board_wire_ptp_extts_request request{};
    request.flags = BOARD_WIRE_EXTTS_ENABLE | BOARD_WIRE_EXTTS_RISING;
    return ioctl(fd, BOARD_WIRE_PTP_EXTTS_REQUEST, &request);
}

}  // namespace boardtest
