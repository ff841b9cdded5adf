// How many iterations an alignment takes when steps lose a near-constant time: the law, and the library measured by it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <random>

#include "source/zuHalvexTimekeeper/epochAlignment.h"
#include "tests/support/fakeDevices.h"

namespace testsupport {

/// What a step loses: Gaussian around `constantNs`, a share of the steps around `otherNs` instead.
struct StepLosses {
    double constantNs, jitterNs;
    double otherNs = 0, otherShare = 0;
};

/// Iterations are 1 + 2 K: K is geometric with the probability that the losses of two steps agree within the tolerance,
/// and with several slaves the greatest of theirs (docs/performance.md).
class AlignmentLaw {
public:
    AlignmentLaw(const StepLosses& losses, int slaves) : slaves_(slaves) {
        // Whole nanoseconds: 100 ends at 100.5.
        const auto agreeing = [&](double apartNs) {
            return (std::erf((100.5 - apartNs) / (2 * losses.jitterNs)) +
                    std::erf((100.5 + apartNs) / (2 * losses.jitterNs))) /
                   2;
        };
        const double unlike = 2 * losses.otherShare * (1 - losses.otherShare);
        agreement_ = (1 - unlike) * agreeing(0) + unlike * agreeing(losses.otherNs - losses.constantNs);
    }

    double agreement() const { return agreement_; }
    double atMost(int pairs) const { return std::pow(1 - std::pow(1 - agreement_, pairs), slaves_); }
    double mean() const {
        double pairs = 0;
        for (int n = 0; n < 1000; ++n) pairs += 1 - atMost(n);
        return 1 + 2 * pairs;
    }

private:
    double agreement_;
    int slaves_;
};

/// Measured alignments by their number of iterations.
struct Alignments {
    std::map<int, long> byIterations;
    long worlds = 0;

    double mean() const {
        double sum = 0;
        for (const auto& [iterations, count] : byIterations)
            sum += static_cast<double>(iterations) * static_cast<double>(count);
        return sum / static_cast<double>(worlds);
    }
    long outside() const {  ///< Not 3, 5, 7 ...
        long count = 0;
        for (const auto& [iterations, seen] : byIterations) count += iterations < 3 || iterations % 2 == 0 ? seen : 0;
        return count;
    }
    /// Of a chi-square at least as large as these have against the law; the tail of the law is one class.
    double probabilityUnder(const AlignmentLaw& law) const {
        constexpr double kLeastExpected = 10;
        const auto total = static_cast<double>(worlds);
        double squares = 0, seenBefore = 0, before = 0;
        int classes = 0;
        for (int pairs = 1; before < 1; ++pairs) {
            const bool isTail = total * (1 - law.atMost(pairs)) < kLeastExpected;
            const double upTo = isTail ? 1 : law.atMost(pairs), expected = total * (upTo - before);
            const auto end = isTail ? byIterations.end() : byIterations.upper_bound(1 + 2 * pairs);
            double seen = -seenBefore;
            for (auto at = byIterations.begin(); at != end; ++at) seen += static_cast<double>(at->second);
            if (expected < kLeastExpected) continue;
            squares += (seen - expected) * (seen - expected) / expected;
            seenBefore += seen;
            before = upTo;
            ++classes;
        }
        // Wilson and Hilferty: the cube root of a chi-square is nearly Gaussian.
        const double freedom = classes - 1, spread = 2 / (9 * freedom);
        return std::erfc((std::cbrt(squares / freedom) - 1 + spread) / std::sqrt(2 * spread)) / 2;
    }
};

/// Aligns that many worlds with the library: slaves up to 2 s off, on the streams of one seed.
inline Alignments alignWorlds(const StepLosses& losses, int slaves, long worlds, std::uint64_t seed) {
    struct LosingDevice : FakeEpochDevice {
        using FakeEpochDevice::FakeEpochDevice;
        void adjustTime(std::int64_t offsetNs) override {
            stepLossNs = drawLossNs();
            FakeEpochDevice::adjustTime(offsetNs);
        }
        std::function<std::int64_t()> drawLossNs;
    };
    std::mt19937_64 random(seed);
    std::normal_distribution<double> jitter(0, losses.jitterNs);
    std::uniform_real_distribution<double> share(0, 1);
    std::uniform_int_distribution<std::uint64_t> offset(1'000, 2'000'000'000);
    Alignments found;
    int iterations = 0;
    Journal journal;
    FakeEpochDevice master("master", journal);
    master.isJournaled = false;
    master.onEpoch = [&] { ++iterations; };
    halvexTimekeeper::EpochDevices devices;
    for (int slave = 0; slave < slaves; ++slave) {
        const auto device = std::make_shared<LosingDevice>("slave", journal);
        device->isJournaled = false;
        device->drawLossNs = [&] {
            return std::llround((share(random) < losses.otherShare ? losses.otherNs : losses.constantNs) +
                                jitter(random));
        };
        devices.push_back(device);
    }
    for (; found.worlds < worlds; ++found.worlds) {
        iterations = 0;
        for (const auto& device : devices) static_cast<LosingDevice&>(*device).timeNs = master.timeNs + offset(random);
        halvexTimekeeper::EpochAlignment(master, devices).run();
        ++found.byIterations[iterations];
    }
    return found;
}

}  // namespace testsupport
