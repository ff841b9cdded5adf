// Fewer rows of a long table, without losing what stands out.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>

#include "host/report/chronicle.h"

namespace halvexctl {

/// About `mostRows` rows at most, of those there are: in each stretch of time the rows that hold a column's lowest or
/// highest value and those at which a column begins or ends; first and last too. No value is changed. A short table
/// stays as it is.
Table thinned(const Table& table, std::size_t mostRows);

}  // namespace halvexctl
