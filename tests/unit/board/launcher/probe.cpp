// A program unaware of the board: each argument makes it do one thing.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fcntl.h>
#include <sys/timex.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

clockid_t clockOf(int fd) { return (~fd << 3) | 3; }

void printClock() {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    std::printf("%ld\n", static_cast<long>(time.tv_sec));
}

/// 20 minutes of a thread that wakes every 2 s and steps a clock, beside one that reads it.
void live() {
    const int fd = open("/dev/ptp0", O_RDWR);
    std::thread monitor([fd] {
        std::mutex mutex;
        std::condition_variable condition;
        std::unique_lock lock(mutex);
        for (int i = 0; i < 600; ++i) {
            condition.wait_for(lock, 2s);
            timex step{};
            step.modes = ADJ_SETOFFSET | ADJ_NANO;
            step.time.tv_usec = i;
            if (clock_adjtime(clockOf(fd), &step) < 0) std::abort();
        }
    });
    for (int i = 0; i < 1200; ++i) {
        timespec time{};
        clock_gettime(clockOf(fd), &time);
        std::this_thread::sleep_for(1s);
    }
    monitor.join();
    close(fd);
}

int act(const std::string& word) {
    if (word == "clock")
        printClock();
    else if (word == "live")
        live();
    else if (word == "step") {
        const timespec later{1'700'000'100, 0};
        return clock_settime(CLOCK_REALTIME, &later);
    } else if (word == "ptp5") {  // inherited
        timespec time{};
        const int result = clock_gettime(clockOf(5), &time);
        std::printf("%d %ld\n", result, static_cast<long>(time.tv_sec));
    } else if (word == "calls") {
        const int fd = open("/dev/ptp0", O_RDWR);
        timespec time{};
        clock_gettime(clockOf(fd), &time);
        syslog(LOG_INFO, "between");
        close(fd);
    } else if (word == "sleep")
        std::this_thread::sleep_for(100ms);
    else if (word == "syslog")
        syslog(LOG_WARNING, "a line with %d and %s", 5, "text");
    else if (word == "fork") {
        if (fork() == 0) std::exit(0);
        wait(nullptr);
    } else if (word == "_exit")
        _exit(9);
    else if (word == "kill")
        raise(SIGKILL);
    else if (word == "abort")
        std::abort();
    else if (word == "echo") {
        char line[64];
        while (std::fgets(line, sizeof line, stdin) != nullptr) std::fputs(line, stdout);
    } else
        return std::atoi(word.c_str());
    return 0;
}

}  // namespace

int main(int count, char** words) {
    for (int i = 1; i < count; ++i) {
        std::fflush(stdout);
        if (const int code = act(words[i])) return code;
    }
    return 0;
}
