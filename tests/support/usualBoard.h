// The simulated controller of most stories.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/support/standard.h"

namespace testsupport {

/// Two I210s (the kernel lists the second first), FPGA and Ferrox, every step short by 1.5 us with 50 ns jitter.
inline constexpr std::string_view kUsualBoard = R"(
crystal_error_ppb = 3000
[system_clock]
crystal_error_ppb = -5000
[ferrox]
offset = "10 s"
[fpga]
offset = "-730 ms"
step_loss = "1500 ns"
step_jitter = "50 ns"
[[interface]]
name = "enp2s0"
phc_index = 1
offset = "3 s"
step_loss = "1500 ns"
step_jitter = "50 ns"
[[interface]]
name = "enp1s0"
phc_index = 0
offset = "-412 ns"
step_loss = "1500 ns"
step_jitter = "50 ns"
)";

}  // namespace testsupport
