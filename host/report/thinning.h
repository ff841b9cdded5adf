// Thins long tables without losing outliers.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>

#include "host/report/chronicle.h"

namespace halvexctl {

/// About `mostRows` of the table's rows: in each interval those with a column's lowest or highest value and those where
/// a column begins or ends, plus the first and the last. Changes no values. A short table is returned unchanged.
Table thinned(const Table& table, std::size_t mostRows);

}  // namespace halvexctl
