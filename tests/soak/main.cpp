// A soak: simulated hours of the library, with one call in a thousand failing. The last line reports the figures.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <iomanip>

#include "board/preload/futexLock.h"
#include "tests/soak/calls.h"
#include "tests/soak/controller.h"
#include "tests/soak/host.h"
#include "tests/soak/ledger.h"

namespace {

using namespace soak;

struct Options {
    std::uint64_t hours = 100;
    std::uint64_t seed = 1;
};

constexpr unsigned kSecondsPerHour = 60;  // usually a hundredth of a second
constexpr std::uint64_t kHoursPerReport = 24 * 30;

Options options;
std::unique_ptr<Controller> controller;
std::uint64_t hoursLived = 0;

[[noreturn]] void refuse(const char* word) {
    std::fprintf(stderr, "soak: %s? usage: soak [--hours N] [--seed S]\n", word);
    std::exit(2);
}

std::uint64_t numberOf(const char* word) {
    char* end = nullptr;
    errno = 0;
    const std::uint64_t number = std::strtoull(word, &end, 0);
    if (end == word || *end != '\0' || errno != 0 || *word == '-') refuse(word);
    return number;
}

void readOptions(int argc, char** argv) {
    for (int at = 1; at < argc; at += 2) {
        const bool isHours = std::strcmp(argv[at], "--hours") == 0;
        if (!isHours && std::strcmp(argv[at], "--seed") != 0) refuse(argv[at]);
        if (at + 1 == argc) refuse(argv[at]);
        (isHours ? options.hours : options.seed) = numberOf(argv[at + 1]);
    }
    if (options.hours == 0) refuse("--hours 0");
}

std::string describe() {
    return "seed " + std::to_string(options.seed) + ", simulated " +
           std::to_string(controller->rawNs() / 1'000'000'000) + " s";
}

/// Ends a soak that makes no progress, whether it hangs or spins: an alarm of the machine's time.
void giveUp(int) {
    std::fprintf(stderr, "soak: no simulated hour in %u s: seed %llu, after hour %llu\n", kSecondsPerHour,
                 static_cast<unsigned long long>(options.seed), static_cast<unsigned long long>(hoursLived));
    ledger().printLastLines();
    _exit(3);
}

/// A simulated year leaks some hundred descriptors of refused clocks, as required.
void allowManyDescriptors() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

double processorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void printFigures(const Figures& figures, std::uint64_t events, double seconds) {
    const Ledger& book = ledger();
    std::cout << std::fixed << std::setprecision(1) << "soak: " << figures.hours << " h simulated, seed "
              << options.seed << ": " << book.callCount() << " calls, " << book.toldCount() << " faults reported ("
              << tally().threads << " threads that did not start), " << book.silentCount() << " silent as promised, "
              << book.outstandingCount() << " missing; " << figures.hostCalls << " calls of the host, " << events
              << " happenings, " << figures.sessions << " sessions, " << figures.restarts << " restarts, "
              << figures.runaways << " clocks run away; at rest within " << figures.worstAtRestNs
              << " ns of the master, the system clock within " << figures.worstOfSystemNs << " ns of its source; "
              << figures.descriptors << " descriptors (" << tally().refused << " of refused clocks), "
              << figures.threads << " threads, " << figures.blocks << " allocations of " << figures.blockBytes
              << " bytes, digest " << std::hex << book.digest() << std::dec << "; written memory " << figures.writtenKiB
              << " KiB, at most " << figures.writtenGrowthKiB << " more than after the first hour; " << seconds
              << " s, " << processorSeconds() << " s of processor time\n";
}

}  // namespace

int main(int argc, char** argv) {
    readOptions(argc, argv);
    std::cout << options.hours << " hours, seed " << options.seed << std::endl;
    allowManyDescriptors();
    const auto begin = std::chrono::steady_clock::now();
    std::signal(SIGALRM, giveUp);
    seedFaults(options.seed);
    controller = std::make_unique<Controller>(options.seed);
    Host host(*controller, options.seed + 1);
    while (host.figures().hours < options.hours && !ledger().isViolated()) {
        halvexboard::rawSystemCall(SYS_alarm, kSecondsPerHour);  // of real time: the board answers alarm()
        host.liveOneHour();
        ++hoursLived;
        if (host.figures().hours % kHoursPerReport == 0) {
            std::cout << host.figures().hours << " h, " << ledger().callCount() << " calls" << std::endl;
        }
    }
    if (!ledger().isViolated()) host.finish();
    if (ledger().isViolated()) {
        std::cerr << "soak: " << describe() << ": " << ledger().violation() << "\nlast lines of syslog:\n";
        ledger().printLastLines();
        std::cout << "soak: failed in hour " << host.figures().hours << " of " << options.hours << ", seed "
                  << options.seed << std::endl;
        std::_Exit(1);
    }
    const std::uint64_t events = controller->eventCount();
    controller.reset();  // back to the machine's clock
    printFigures(host.figures(), events,
                 std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
    return 0;
}
