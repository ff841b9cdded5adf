// A sample of two clocks for the tests of summary and metrics.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "host/clocks/clockSample.h"
#include "tests/support/test.h"

namespace halvexctl {

/// The reference and another clock ahead of it by this much; empty: gone.
inline Sample sampleAt(std::uint64_t second, std::optional<std::int64_t> aheadNs, const std::string& name = "enp1s0") {
    Sample sample;
    sample.systemNs = 1'700'000'000'000'000'000 + second * 1'000'000'000;
    sample.clocks.resize(2);
    sample.clocks[0].name = "master";
    sample.clocks[0].cross = CrossTime{sample.systemNs, 0, 30};
    sample.clocks[1].name = name;
    sample.clocks[1].isGone = !aheadNs;
    if (aheadNs) {
        sample.clocks[1].cross = CrossTime{sample.systemNs, *aheadNs, 20};
    }
    compare(sample);
    return sample;
}

}  // namespace halvexctl
