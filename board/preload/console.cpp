// Shows output of the program and the board while they run, as lines on a descriptor.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/console.h"

#include <sys/syscall.h>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "board/preload/futexLock.h"
#include "board/preload/nanoseconds.h"

namespace halvexboard {

namespace {

constexpr std::size_t kLineSize = 1024;
constexpr unsigned kPriorityMask = 7;

const char* priorityName(std::int64_t priority) noexcept {
    static constexpr const char* kNames[] = {"emerg", "alert", "crit", "err", "warning", "notice", "info", "debug"};
    return kNames[static_cast<unsigned>(priority) & kPriorityMask];
}

int printSyslog(char* out, std::size_t size, const board_happening& happening) noexcept {
    return std::snprintf(out, size, "syslog %-7s %.*s", priorityName(happening.value),
                         static_cast<int>(happening.text_size), happening.text);
}

int printFault(char* out, std::size_t size, const board_happening& happening) noexcept {
    const board_call& call = *happening.call;
    const char* const request = call.kind == BOARD_CALL_IOCTL ? board_request_name(call.target, call.detail) : nullptr;
    int length = std::snprintf(out, size, "fault  %s%s%s on %s:", board_call_kind_name(call.kind),
                               request != nullptr ? " " : "", request != nullptr ? request : "",
                               board_target_name(board_configuration(happening.where), call.target));
    const auto append = [&](const char* format, long value) {
        if (length > 0 && static_cast<std::size_t>(length) < size)
            length += std::snprintf(out + length, size - static_cast<std::size_t>(length), format, value);
    };
    if (happening.outcome->error != 0) append(" errno %ld", happening.outcome->error);
    if (happening.outcome->short_count >= 0) append(" only %ld bytes", happening.outcome->short_count);
    if (happening.outcome->driver_status != 0) append(" driver status %ld", happening.outcome->driver_status);
    if (happening.outcome->delay_ns != 0) append(" %ld ns late", static_cast<long>(happening.outcome->delay_ns));
    return length;
}

}  // namespace

bool isForConsole(const board_happening& happening) noexcept {
    return happening.kind == BOARD_HAPPENING_SYSLOG || happening.kind == BOARD_HAPPENING_FAULT ||
           happening.kind == BOARD_HAPPENING_EVENT;
}

void showOnConsole(int fd, const board_happening& happening) noexcept {
    char line[kLineSize];
    const int prefix = std::snprintf(line, sizeof line, "[%5llu.%09llu] ",
                                     static_cast<unsigned long long>(happening.raw_ns / kNsPerSecond),
                                     static_cast<unsigned long long>(happening.raw_ns % kNsPerSecond));
    char* const text = line + prefix;
    const std::size_t room = sizeof line - static_cast<std::size_t>(prefix) - 1;
    int length = 0;
    if (happening.kind == BOARD_HAPPENING_SYSLOG)
        length = printSyslog(text, room, happening);
    else if (happening.kind == BOARD_HAPPENING_FAULT)
        length = printFault(text, room, happening);
    else if (happening.kind == BOARD_HAPPENING_EVENT)
        length = std::snprintf(text, room, "event  %s %s", board_event_kind_name(happening.event->kind),
                               board_target_name(board_configuration(happening.where), happening.event->target));
    else
        return;
    if (length < 0) return;
    std::size_t total = static_cast<std::size_t>(prefix) +
                        (static_cast<std::size_t>(length) < room ? static_cast<std::size_t>(length) : room - 1);
    line[total++] = '\n';
    for (std::size_t done = 0; done < total;) {
        const long written =
            rawSystemCall(SYS_write, fd, reinterpret_cast<long>(line + done), static_cast<long>(total - done));
        if (written == -EINTR) continue;
        if (written <= 0) return;
        done += static_cast<std::size_t>(written);
    }
}

}  // namespace halvexboard
