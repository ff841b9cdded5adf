// Thins long tables without losing outliers.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/report/chronicle.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace halvexctl {
namespace {

/// Marks the rows with the extremes of one column in [begin, end).
void markExtremes(const std::vector<double>& values, std::size_t begin, std::size_t end, std::vector<bool>& isKept) {
    std::size_t lowest = end, highest = end;
    for (std::size_t row = begin; row < end; ++row) {
        if (std::isnan(values[row])) {
            continue;
        }
        lowest = lowest == end || values[row] < values[lowest] ? row : lowest;
        highest = highest == end || values[row] > values[highest] ? row : highest;
    }
    if (lowest != end) {
        isKept[lowest] = isKept[highest] = true;
    }
}

/// Marks where a column begins and ends, to preserve gaps.
void markEdges(const std::vector<double>& values, std::vector<bool>& isKept) {
    for (std::size_t row = 1; row < values.size(); ++row) {
        if (std::isnan(values[row]) != std::isnan(values[row - 1])) {
            isKept[row - 1] = isKept[row] = true;
        }
    }
}

}  // namespace

Table thinned(const Table& table, std::size_t mostRows) {
    const std::size_t rowCount = table.instantsNs().size();
    const std::size_t perStretch = 2 * std::max<std::size_t>(table.columns().size(), 1);
    if (rowCount <= std::max(mostRows, perStretch)) {
        return table;
    }
    const std::size_t stretches = std::max<std::size_t>(mostRows / perStretch, 1);
    std::vector<bool> isKept(rowCount, false);
    isKept.front() = isKept.back() = true;
    for (const Table::Column& column : table.columns()) {
        for (std::size_t stretch = 0; stretch < stretches; ++stretch) {
            markExtremes(column.values, rowCount * stretch / stretches, rowCount * (stretch + 1) / stretches, isKept);
        }
        markEdges(column.values, isKept);
    }
    std::vector<std::size_t> rows;
    for (std::size_t row = 0; row < rowCount; ++row) {
        if (isKept[row]) {
            rows.push_back(row);
        }
    }
    return table.keeping(rows);
}

}  // namespace halvexctl
