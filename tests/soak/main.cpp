// A soak: so many simulated hours of the library, with one call in a thousand failing. The figures are the last line.
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <sys/resource.h>

#include "tests/soak/calls.h"
#include "tests/soak/host.h"
#include "tests/soak/ledger.h"
#include "tests/soak/watchdog.h"
#include "tests/soak/world.h"

namespace {

using namespace soak;

struct Options {
    std::uint64_t hours = 100;
    std::uint64_t seed = 1;
};

constexpr unsigned kStillForSeconds = 60;
constexpr std::uint64_t kHoursPerReport = 24 * 30;

Options options;
std::unique_ptr<World> world;

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
           std::to_string(world ? world->rawNs() / 1'000'000'000 : 0) + " s";
}

/// A year leaves some hundred descriptors of refused clocks, as it must.
void allowManyDescriptors() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

void printFigures(const Figures& figures, std::uint64_t events, double seconds) {
    const Ledger& book = ledger();
    std::printf(
        "soak: %llu h simulated, seed %llu: %llu calls, %llu faults told, %llu silent as promised, 0 missing; %llu calls of "
        "the host, %llu happenings, %llu sessions, %llu restarts, %llu clocks run away; at rest within %lld ns of the master, the system clock within %lld ns of its source; %d descriptors (%u of refused "
        "clocks), %d threads, %lld allocations of %lld bytes, private memory %lld KiB, at most %lld more than after the "
        "first hour; digest %016llx; %.1f s\n",
        static_cast<unsigned long long>(figures.hours), static_cast<unsigned long long>(options.seed),
        static_cast<unsigned long long>(book.callCount()), static_cast<unsigned long long>(book.toldCount()),
        static_cast<unsigned long long>(book.silentCount()), static_cast<unsigned long long>(figures.hostCalls),
        static_cast<unsigned long long>(events), static_cast<unsigned long long>(figures.sessions),
        static_cast<unsigned long long>(figures.restarts),
        static_cast<unsigned long long>(figures.runaways), static_cast<long long>(figures.worstAtRestNs),
        static_cast<long long>(figures.worstOfSystemNs), figures.descriptors, tally().refused, figures.threads, static_cast<long long>(figures.blocks),
        static_cast<long long>(figures.blockBytes), static_cast<long long>(figures.privateKiB),
        static_cast<long long>(figures.privateGrowthKiB), static_cast<unsigned long long>(book.digest()), seconds);
}

}  // namespace

int main(int argc, char** argv) {
    readOptions(argc, argv);
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    allowManyDescriptors();
    const auto begin = std::chrono::steady_clock::now();
    const auto elapsed = [begin] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    };
    startWatchdog(kStillForSeconds, describe);
    seedFaults(options.seed);
    world = std::make_unique<World>(options.seed);
    Host host(*world, options.seed + 1);
    while (host.figures().hours < options.hours && !ledger().isViolated()) {
        host.liveOneHour();
        if (host.figures().hours % kHoursPerReport == 0) {
            std::printf("%llu h, %llu calls\n", static_cast<unsigned long long>(host.figures().hours),
                        static_cast<unsigned long long>(ledger().callCount()));
        }
    }
    if (!ledger().isViolated()) host.finish();
    const std::uint64_t events = world->eventCount();
    if (ledger().isViolated()) {
        std::fprintf(stderr, "soak: %s: %s\nlast lines of syslog:\n", describe().c_str(), ledger().violation().c_str());
        ledger().printLastLines();
        std::printf("soak: failed after %llu of %llu h, seed %llu\n", static_cast<unsigned long long>(host.figures().hours),
                    static_cast<unsigned long long>(options.hours), static_cast<unsigned long long>(options.seed));
        std::_Exit(1);
    }
    world.reset();
    printFigures(host.figures(), events, elapsed());
    return 0;
}
