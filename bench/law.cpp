// The law of alignment beside alignments of the library, as a table in Markdown.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <cstdio>

#include "bench/measurements.h"
#include "tests/support/alignmentLaw.h"

namespace halvexbench {
namespace {

constexpr long kWorlds = 100'000;

struct Point {
    const char* loss;
    testsupport::StepLosses losses;
    int slaves;
};

constexpr Point kPoints[] = {
    {"1.5 us ± 20 ns", {1'500, 20}, 1},
    {"1.5 us ± 50 ns", {1'500, 50}, 1},
    {"1.5 us ± 100 ns", {1'500, 100}, 1},
    {"1.5 us ± 200 ns", {1'500, 200}, 1},
    {"1.5 us ± 50 ns", {1'500, 50}, 3},
    {"1.5 us ± 50 ns", {1'500, 50}, 8},
    {"2.5 us ± 50 ns", {2'500, 50}, 3},
    {"5 us ± 200 ns", {5'000, 200}, 3},
    {"20 us ± 1 us", {20'000, 1'000}, 1},
    {"1.5 us ± 50 ns, a quarter 5 us", {1'500, 50, 5'000, 0.25}, 1},
    {"1.5 us ± 50 ns, one in 1,000 20 us", {1'500, 50, 20'000, 0.001}, 3},
};

}  // namespace

void printLaw() {
    counters().isSyslogSilent = true;
    std::puts(
        "| a step loses | slaves | two losses agree | iterations by the law | measured | outside the law | chi-square "
        "P |");
    std::puts("|---|---|---|---|---|---|---|");
    std::uint64_t seed = 0;
    for (const Point& point : kPoints) {
        const testsupport::AlignmentLaw law(point.losses, point.slaves);
        const testsupport::Alignments found = testsupport::alignWorlds(point.losses, point.slaves, kWorlds, ++seed);
        std::printf("| %s | %d | %.4f | %.3f | %.3f | %ld | %.3f |\n", point.loss, point.slaves, law.agreement(),
                    law.mean(), found.mean(), found.outside(), found.probabilityUnder(law));
        std::fflush(stdout);
    }
    counters().isSyslogSilent = false;
}

}  // namespace halvexbench
