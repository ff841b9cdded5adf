// The contenders of a run: the library in its own host, or the linuxptp programs.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/system/peers/contenders.h"

#include "include/zuqxmtk.h"
#include "tests/support/statusHolder.h"

namespace peers {
namespace {

constexpr const char* kTs2phc = "/bin/ts2phc";
constexpr const char* kPhc2sys = "/usr/local/tarnesk/share/Horlix/TimeKeepers/phc2sys";
constexpr const char* kSettings = "/tmp/ts2phc.conf";
constexpr std::int64_t kCloseNs = 1'000'000;

/// An I210 stamps both edges; ts2phc drops the falling one by CLOCK_REALTIME and the pulse width. Otherwise linuxptp's
/// defaults: pulses of 500 ms, a PI servo, one initial step above 20 us.
constexpr const char* kSettingsText =
    "[global]\n"
    "use_syslog 0\n"
    "verbose 1\n"
    "[enp1s0]\n"
    "ts2phc.extts_polarity both\n"
    "[enp2s0]\n"
    "ts2phc.extts_polarity both\n";

Usage usageOf(pid_t process) {
    Usage sum;
    const std::string tasks = "/proc/" + std::to_string(process) + "/task/";
    DIR* const directory = opendir(tasks.c_str());
    if (directory == nullptr) return sum;
    while (const dirent* entry = readdir(directory)) {
        if (entry->d_name[0] == '.') continue;
        double ns = 0;
        std::istringstream(testsupport::fileContents(tasks + entry->d_name + "/schedstat")) >> ns;
        sum.cpuMs += ns / 1e6;
        std::istringstream words(testsupport::fileContents(tasks + entry->d_name + "/status"));
        for (std::string word; words >> word;) {
            if (word != "voluntary_ctxt_switches:") continue;
            long count = 0;
            words >> count;
            sum.wakeUps += count;
        }
    }
    closedir(directory);
    return sum;
}

[[noreturn]] void liveAsHost() {
    testsupport::StatusHolder status;
    zuqxmtk_initialize(status.get());
    if (status->code != 0) {
        std::printf("peers: %s\n", status.getText().c_str());
        _exit(1);
    }
    sigset_t awaited;
    sigemptyset(&awaited);
    sigaddset(&awaited, SIGTERM);
    int signal = 0;
    sigwait(&awaited, &signal);
    zuqxmtk_finalize();
    _exit(0);
}

}  // namespace

Contender::~Contender() {
    for (const pid_t process : processes_) kill(process, SIGTERM);
    for (const pid_t process : processes_) waitpid(process, nullptr, 0);
}

Usage Contender::usage() const {
    Usage sum;
    for (const pid_t process : processes_) {
        const Usage one = usageOf(process);
        sum.cpuMs += one.cpuMs;
        sum.wakeUps += one.wakeUps;
    }
    return sum;
}

pid_t Contender::startProgram(const std::vector<std::string>& words) {
    const pid_t process = fork();
    if (process == 0) {
        std::vector<char*> arguments;
        for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        const int output = open(("/tmp/" + words[0].substr(words[0].rfind('/') + 1) + ".log").c_str(),
                                O_WRONLY | O_CREAT | O_APPEND, 0644);
        dup2(output, 1);
        dup2(output, 2);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    processes_.push_back(process);
    return process;
}

Library::~Library() = default;

void Library::start() {
    sigset_t awaited;
    sigemptyset(&awaited);
    sigaddset(&awaited, SIGTERM);
    sigprocmask(SIG_BLOCK, &awaited, nullptr);
    const pid_t process = fork();
    if (process == 0) liveAsHost();
    sigprocmask(SIG_UNBLOCK, &awaited, nullptr);
    processes_.push_back(process);
}

Usage Library::usage() const {
    Usage sum = Contender::usage();
    for (const int process : systemtest::livingPhc2sys()) {
        const Usage child = usageOf(process);
        sum.cpuMs += child.cpuMs;
        sum.wakeUps += child.wakeUps;
    }
    return sum;
}

void Linuxptp::start() {
    std::ofstream(kSettings) << kSettingsText;
    startProgram({kTs2phc, "-f", kSettings, "-s", "generic"});
    if (isStartedTogether_) startPhc2sys();
}

void Linuxptp::look(const systemtest::Truth& truth) {
    if (!isFollowed_ && std::abs(truth["enp1s0"].differenceNs) < kCloseNs) startPhc2sys();
}

/// With the library's arguments.
void Linuxptp::startPhc2sys() {
    isFollowed_ = true;
    startProgram({kPhc2sys, "-O", "0", "-l", "4", "-c", "CLOCK_REALTIME", "-F", "0.000001", "-s", "enp1s0"});
}

}  // namespace peers
