// Access of stories to the virtual controller.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/system/machine.h"

#include <net/if.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "tests/support/processCensus.h"

namespace systemtest {

namespace {

const std::string kDirectory = "/proc/halvexboard/";

/// Replaces the log daemon: stores each line without priority and date.
class Syslog {
public:
    Syslog() : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{AF_UNIX, "/dev/log"};
        unlink(address.sun_path);
        if (fd_ < 0 || bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) std::abort();
        std::thread([this] { receive(); }).detach();
    }

    std::vector<std::string> lines() {
        const std::lock_guard guard(mutex_);
        takeWaiting();
        return lines_;
    }
    void clear() {
        const std::lock_guard guard(mutex_);
        takeWaiting();
        lines_.clear();
    }

private:
    /// Call with the mutex held: no sent line is in transit then.
    void takeWaiting() {
        char buffer[8192];
        for (ssize_t size = 0; (size = recv(fd_, buffer, sizeof buffer, MSG_DONTWAIT)) > 0;)
            lines_.emplace_back(buffer, static_cast<std::size_t>(size));
    }

    /// Drains the queue: loggers would block while it is full.
    void receive() {
        for (;;) {
            pollfd readable{fd_, POLLIN, 0};
            poll(&readable, 1, -1);
            const std::lock_guard guard(mutex_);
            takeWaiting();
        }
    }

    int fd_;
    std::mutex mutex_;
    std::vector<std::string> lines_;
};

Syslog& machineLog() {
    static Syslog* const log = new Syslog;  // its thread outlives all stories
    return *log;
}

[[maybe_unused]] const bool isListening = (machineLog(), true);

/// By /proc/PID/status: a SIGKILL stays pending until the process is reaped; nothing else of it runs.
bool isDead(const std::string& status) {
    const auto after = [&status](const char* label) {
        return status.c_str() + status.find(label) + std::strlen(label);
    };
    if (status.find("\nState:\t") == std::string::npos || status.find("\nShdPnd:\t") == std::string::npos) return true;
    const char state = *after("\nState:\t");
    const bool isKilled = (std::strtoull(after("\nShdPnd:\t"), nullptr, 16) >> (SIGKILL - 1) & 1) != 0;
    return state == 'Z' || state == 'X' || isKilled;
}

}  // namespace

bool writeFile(const std::string& path, const std::string& text) {
    const int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0) return false;
    const ssize_t written = write(fd, text.data(), text.size());
    close(fd);
    return written == static_cast<ssize_t>(text.size());
}

bool control(const std::string& command) { return writeFile(kDirectory + "control", command); }

Truth readTruth() {
    std::istringstream lines(testsupport::fileContents(kDirectory + "truth"));
    Truth truth;
    std::string name;
    lines >> name >> truth.rawNs;
    while (lines >> name) {
        ClockTruth& clock = truth.clocks[name];
        lines >> clock.timeNs >> clock.differenceNs >> clock.isEnabled;
    }
    return truth;
}

std::vector<Happening> takeJournal() {
    std::string text;
    char buffer[4096];
    const int fd = open((kDirectory + "journal").c_str(), O_RDONLY | O_CLOEXEC);
    for (ssize_t size = 1; fd >= 0 && (size = read(fd, buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<std::size_t>(size));
    close(fd);
    std::vector<Happening> journal;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        Happening happening;
        words >> happening.rawNs >> happening.kind >> happening.target;
        for (std::string word; words >> word;)
            happening.details[word.substr(0, word.find('='))] = word.substr(word.find('=') + 1);
        journal.push_back(std::move(happening));
    }
    return journal;
}

void setInterfaceUp(const std::string& name, bool isUp) {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strncpy(request.ifr_name, name.c_str(), IFNAMSIZ - 1);
    if (ioctl(fd, SIOCGIFFLAGS, &request) != 0) std::abort();
    request.ifr_flags = static_cast<short>(isUp ? request.ifr_flags | IFF_UP : request.ifr_flags & ~IFF_UP);
    if (ioctl(fd, SIOCSIFFLAGS, &request) != 0) std::abort();
    close(fd);
}

void waitS(double seconds) {
    timespec end{};
    clock_gettime(CLOCK_MONOTONIC, &end);
    const auto ns = static_cast<std::int64_t>(seconds * 1e9) + end.tv_nsec;
    end.tv_sec += ns / 1'000'000'000;
    end.tv_nsec = ns % 1'000'000'000;
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
}

std::vector<int> livingPhc2sys() {
    std::vector<int> found;
    testsupport::forEachNumber("/proc", [&found](int process, int) {
        const std::string status = testsupport::fileContents("/proc/" + std::to_string(process) + "/status");
        if (status.starts_with("Name:\tphc2sys\n") && !isDead(status)) found.push_back(process);
    });
    return found;
}

std::vector<std::string> syslogLines() { return machineLog().lines(); }
void clearSyslog() { machineLog().clear(); }

}  // namespace systemtest
