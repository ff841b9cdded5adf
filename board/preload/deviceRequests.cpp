// The ioctl requests of the board's devices: PTP clocks, the two drivers, network interfaces.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fcntl.h>
#include <linux/ethtool.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "board/preload/boardCore.h"
#include "board/preload/deviceFiles.h"
#include "board/preload/nanoseconds.h"
#include "board/wire/driver.h"
#include "board/wire/netInterface.h"
#include "board/wire/ptp.h"

namespace halvexboard {

namespace {

/// One register read of the clock, between the two system clock readings that bracket it.
constexpr std::uint64_t kRegisterReadNs = 1'500;
constexpr std::uint32_t kMaxSamples = 25;

/// The lowest page is never mapped: the kernel returns EFAULT for it.
bool isAddress(const void* pointer) noexcept { return reinterpret_cast<std::uintptr_t>(pointer) >= 4096; }

template <typename Record>
Record copyIn(const void* from) noexcept {
    Record record;
    std::memcpy(&record, from, sizeof record);
    return record;
}

board_wire_ptp_time wireTime(std::uint64_t ns) noexcept {
    return {static_cast<std::int64_t>(ns / kNsPerSecond), static_cast<std::uint32_t>(ns % kNsPerSecond), 0};
}

int getCaps(DeviceCall& call, int interface, void* argument) noexcept REQUIRES(boardLock()) {
    board_wire_ptp_caps caps;
    const int result = board_phc_get_caps(model(), call.rawNs(), interface, &caps);
    if (result == 0) std::memcpy(argument, &caps, sizeof caps);
    return result;
}

template <bool isStrict>
int requestStamps(DeviceCall& call, int interface, void* argument) noexcept REQUIRES(boardLock()) {
    const auto request = copyIn<board_wire_ptp_extts_request>(argument);
    call.with(request.index).with(request.flags);
    if (isStrict && (request.reserved[0] != 0 || request.reserved[1] != 0)) return -EINVAL;
    return board_phc_extts(model(), call.rawNs(), interface, request.index, request.flags, isStrict ? 1 : 0);
}

int setPin(DeviceCall& call, int interface, void* argument) noexcept REQUIRES(boardLock()) {
    const auto pin = copyIn<board_wire_ptp_pin>(argument);
    call.with(pin.index).with(pin.function).with(pin.channel);
    return board_phc_set_pin(model(), call.rawNs(), interface, pin.index, pin.function, pin.channel);
}

int getPin(DeviceCall& call, int interface, void* argument) noexcept REQUIRES(boardLock()) {
    auto pin = copyIn<board_wire_ptp_pin>(argument);
    call.with(pin.index);
    const int result = board_phc_get_pin(model(), call.rawNs(), interface, pin.index, &pin.function, &pin.channel);
    if (result < 0) return result;
    std::memset(pin.name, 0, sizeof pin.name);
    std::snprintf(pin.name, sizeof pin.name, "SDP%u", pin.index);
    std::memset(pin.reserved, 0, sizeof pin.reserved);
    std::memcpy(argument, &pin, sizeof pin);
    return 0;
}

/// Brackets each PHC reading with two system clock readings.
template <bool isExtended>
int sampleOffsets(DeviceCall& call, int interface, void* argument) noexcept REQUIRES(boardLock()) {
    const auto samples = copyIn<std::uint32_t>(argument);
    if (samples == 0 || samples > kMaxSamples) return -EINVAL;
    board_wire_ptp_sys_offset plain{};
    board_wire_ptp_sys_offset_extended brackets{};
    std::uint64_t rawNs = call.rawNs();
    for (std::size_t i = 0; i < samples; ++i) {
        std::uint64_t phcNs = 0;
        const std::uint64_t beforeNs = board_system_get_time(model(), rawNs);
        const int result = board_phc_get_time(model(), rawNs + kRegisterReadNs / 2, interface, &phcNs);
        if (result < 0) return result;
        rawNs += kRegisterReadNs;
        plain.time[2 * i] = brackets.time[i][0] = wireTime(beforeNs);
        plain.time[2 * i + 1] = brackets.time[i][1] = wireTime(phcNs);
        plain.time[2 * i + 2] = brackets.time[i][2] = wireTime(board_system_get_time(model(), rawNs));
    }
    call.takesLonger(rawNs - call.rawNs());
    plain.n_samples = brackets.n_samples = samples;
    if (isExtended)
        std::memcpy(argument, &brackets, sizeof brackets);
    else
        std::memcpy(argument, &plain, sizeof plain);
    return 0;
}

constexpr struct {
    std::uint32_t request;
    int (*answer)(DeviceCall& call, int interface, void* argument) noexcept;
} kPtpRequests[] = {
    {BOARD_WIRE_PTP_GETCAPS, getCaps},
    {BOARD_WIRE_PTP_GETCAPS2, getCaps},
    {BOARD_WIRE_PTP_EXTTS_REQUEST, requestStamps<false>},
    {BOARD_WIRE_PTP_EXTTS_REQUEST2, requestStamps<true>},
    {BOARD_WIRE_PTP_PIN_SETFUNC, setPin},
    {BOARD_WIRE_PTP_PIN_SETFUNC2, setPin},
    {BOARD_WIRE_PTP_PIN_GETFUNC, getPin},
    {BOARD_WIRE_PTP_PIN_GETFUNC2, getPin},
    {BOARD_WIRE_PTP_SYS_OFFSET, sampleOffsets<false>},
    {BOARD_WIRE_PTP_SYS_OFFSET_EXTENDED, sampleOffsets<true>},
};

int ptpRequest(DeviceCall& call, OpenFile& file, std::uint32_t request, void* argument) noexcept REQUIRES(boardLock()) {
    for (const auto& known : kPtpRequests)
        if (known.request == request)
            return isAddress(argument) ? known.answer(call, file.interface(), argument) : -EFAULT;
    return -ENOTTY;
}

/// Copies a method's result and status into the caller's output buffer.
void copyOut(const board_driver_method& method, const board_driver_call& made, void* out) noexcept {
    if (method.has_result != 0) {
        const board_wire_value_buffer value{made.result, made.driver_status, 0};
        std::memcpy(out, &value, sizeof value);
    } else {
        std::memcpy(out, &made.driver_status, sizeof made.driver_status);
    }
}

int driverRequest(DeviceCall& call, int driver, std::uint32_t request, void* argument) noexcept REQUIRES(boardLock()) {
    const board_driver_method* const method = board_driver_find(driver, request);
    if (method == nullptr) return -ENOTTY;
    if (!isAddress(argument)) return -EFAULT;
    auto block = copyIn<board_wire_ioctl_block>(argument);
    const auto* const in = reinterpret_cast<const unsigned char*>(block.in_address);
    auto* const out = reinterpret_cast<unsigned char*>(block.out_address);
    if (block.in_size < method->in_size || block.out_size < method->out_size) return -EINVAL;
    if (!isAddress(in) || !isAddress(out)) return -EFAULT;
    board_driver_call made{};
    made.request = request;
    made.forced_status = call.forcedDriverStatus();
    if (method->has_argument != 0) {
        const auto value = copyIn<board_wire_value_buffer>(in);
        made.argument = value.value;
        made.caller_status = value.status;
    } else {
        made.caller_status = copyIn<std::int32_t>(in);
    }
    auto* const record = reinterpret_cast<unsigned char*>(made.argument);
    if (method->record == BOARD_RECORD_NONE) {
        if (method->has_argument != 0) call.with(static_cast<std::int64_t>(made.argument));
    } else {
        if (!isAddress(record)) return -EFAULT;
        std::memcpy(made.record, record, method->record_size);
    }
    const bool isReading = method->has_result != 0;
    const int result = board_driver_do(model(), isReading ? call.latchNs() : call.rawNs(), driver, &made);
    if (result < 0) return result;
    if (method->record == BOARD_RECORD_IN_OUT) std::memcpy(record, made.record, method->record_size);
    copyOut(*method, made, out);
    block.bytes_returned = made.bytes_returned;
    std::memcpy(argument, &block, sizeof block);
    if (method->has_result != 0) call.with(static_cast<std::int64_t>(made.result));
    call.with(made.driver_status);
    return 0;
}

int driverInfo(void* data) noexcept {
    ethtool_drvinfo info{};
    info.cmd = ETHTOOL_GDRVINFO;
    std::strcpy(info.driver, "igb");
    std::memcpy(data, &info, sizeof info);
    return 0;
}

int answerEthtool(DeviceCall& call, int interface, void* data) noexcept REQUIRES(boardLock()) {
    if (!isAddress(data)) return -EFAULT;
    const auto command = copyIn<std::uint32_t>(data);
    call.with(command);
    if (command == ETHTOOL_GDRVINFO) return driverInfo(data);
    if (command != BOARD_WIRE_ETHTOOL_GET_TS_INFO) return -EOPNOTSUPP;
    const std::int32_t phcIndex = board_interface_phc_index(model(), call.rawNs(), interface);
    board_wire_ts_info info{};
    info.command = command;
    info.phc_index = phcIndex;
    constexpr std::uint32_t kSoftwareOnly = 0x18;  // receive and report in software
    constexpr std::uint32_t kWithHardware = 0x5f;  // and transmit, receive and report in hardware
    info.so_timestamping = phcIndex >= 0 ? kWithHardware : kSoftwareOnly;
    if (phcIndex >= 0) {
        info.tx_types = 3;    // off, on
        info.rx_filters = 3;  // none, all
    }
    std::memcpy(data, &info, sizeof info);
    return 0;
}

int interfaceFlags(DeviceCall& call, int interface, void* argument) noexcept REQUIRES(boardLock()) {
    const int isUp = board_interface_is_up(model(), call.rawNs(), interface);
    if (isUp < 0) return isUp;
    auto request = copyIn<board_wire_ifreq>(argument);
    constexpr int kAlways = BOARD_WIRE_IFF_BROADCAST | BOARD_WIRE_IFF_MULTICAST;
    const int flags = kAlways | (isUp != 0 ? BOARD_WIRE_IFF_UP | BOARD_WIRE_IFF_RUNNING : 0);
    request.value.flags = static_cast<std::int16_t>(flags);
    std::memcpy(argument, &request, sizeof request);
    call.with(flags);
    return 0;
}

int loopbackFlags(void* argument) noexcept {
    constexpr std::int16_t kLoopback = 0x0008;
    auto request = copyIn<board_wire_ifreq>(argument);
    request.value.flags = kLoopback | BOARD_WIRE_IFF_UP | BOARD_WIRE_IFF_RUNNING;
    std::memcpy(argument, &request, sizeof request);
    return 0;
}

int interfaceNamed(const char* name) noexcept {
    const LockGuard guard(boardLock());
    return board_interface_find(model(), name);
}

bool isSocket(int fd) noexcept {
    int type = 0;
    unsigned size = sizeof type;
    return rawSystemCall(SYS_getsockopt, fd, SOL_SOCKET, SO_TYPE, reinterpret_cast<long>(&type),
                         reinterpret_cast<long>(&size)) == 0;
}

}  // namespace

int requestOnFile(OpenFile& file, unsigned long request, void* argument) noexcept {
    const auto number = static_cast<std::uint32_t>(request);  // the kernel uses 32 bits of it
    const int target = file.node()->target;
    DeviceCall call(BOARD_CALL_IOCTL, target, file.node()->file, number);
    if (!call.isFaulted()) {
        int result = -ENOTTY;
        if (board_present(model(), target) == 0)
            result = -ENODEV;
        else if (file.node()->kind == NodeKind::ptpDevice)
            result = ptpRequest(call, file, number, argument);
        else if (file.node()->kind == NodeKind::driverNode)
            result = driverRequest(call, target, number, argument);
        call.succeed(result);
    }
    const auto result = static_cast<int>(call.finish());
    tellModelChanged();
    return result;
}

bool requestOnSocket(int fd, unsigned long request, void* argument, int& result) noexcept {
    if ((request != BOARD_WIRE_SIOCETHTOOL && request != BOARD_WIRE_SIOCGIFFLAGS) || !isSocket(fd)) return false;
    char name[BOARD_NAME_SIZE] = {};
    if (isAddress(argument)) std::memcpy(name, argument, sizeof name - 1);
    const int interface = interfaceNamed(name);
    const int target = interface >= 0 ? BOARD_TARGET_INTERFACE(interface) : BOARD_TARGET_NETWORK;
    DeviceCall call(BOARD_CALL_IOCTL, target, BOARD_FILE_SOCKET, static_cast<std::uint32_t>(request));
    if (!call.isFaulted()) {
        if (!isAddress(argument))
            call.fail(EFAULT);
        else if (interface < 0 && request == BOARD_WIRE_SIOCGIFFLAGS && std::strcmp(name, kLoopbackInterface) == 0)
            call.succeed(loopbackFlags(argument));
        else if (interface < 0 || board_present(model(), target) == 0)
            call.fail(ENODEV);
        else if (request == BOARD_WIRE_SIOCGIFFLAGS)
            call.succeed(interfaceFlags(call, interface, argument));
        else
            call.succeed(answerEthtool(call, interface, copyIn<board_wire_ifreq>(argument).value.data));
    }
    result = static_cast<int>(call.finish());
    return true;
}

}  // namespace halvexboard
