// Every clock's true difference to the master at several instants, as a table with units.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/demo/evidence.h"

namespace halvexdemo {

/// Largest difference to the master that counts as aligned.
inline constexpr std::int64_t kAlignedWithinNs = 100;

struct TableColumn {
    std::string heading;
    Truth truth;
};

std::string groupedNs(std::int64_t ns);  ///< 1250000 as "+1 250 000 ns".

/// One row per clock, numbers to the right under their headings; a clock that is not enabled is marked.
std::string clockTable(const std::vector<TableColumn>& columns);

/// The enabled clocks that are further than 100 ns from the master: "fpga (+250 000 ns), ..."; empty when there is
/// none.
std::string clocksAway(const Truth& truth);

}  // namespace halvexdemo
