// The events of a session, gathered from a record, a board's trace or both, on one time axis.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/report/chronicle.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace halvexctl {
namespace {

constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();

}  // namespace

Level levelOfLogLine(Level ofItsPriority, std::string_view text) {
    return text.starts_with("smbusPath: ") ? Level::info : ofItsPriority;
}

void Table::addRow(std::int64_t rawNs) {
    instantsNs_.push_back(rawNs);
    for (Column& column : columns_) {
        column.values.push_back(kNothing);
        column.bounds.push_back(kNothing);
    }
}

void Table::set(std::string_view name, double value, double bound) {
    auto column = std::find_if(columns_.begin(), columns_.end(), [name](const Column& it) { return it.name == name; });
    if (column == columns_.end()) {
        const std::size_t rows = instantsNs_.size();
        columns_.push_back({std::string(name), std::vector(rows, kNothing), std::vector(rows, kNothing)});
        column = std::prev(columns_.end());
    }
    column->values.back() = value;
    column->bounds.back() = bound;
}

void Table::sort() {
    std::vector<std::size_t> rows(instantsNs_.size());
    std::iota(rows.begin(), rows.end(), std::size_t{0});
    std::stable_sort(rows.begin(), rows.end(),
                     [this](std::size_t one, std::size_t other) { return instantsNs_[one] < instantsNs_[other]; });
    *this = keeping(rows);
}

Table Table::keeping(const std::vector<std::size_t>& rows) const {
    Table kept;
    for (const std::size_t row : rows) {
        kept.instantsNs_.push_back(instantsNs_[row]);
    }
    for (const Column& column : columns_) {
        Column& copy = kept.columns_.emplace_back();
        copy.name = column.name;
        for (const std::size_t row : rows) {
            copy.values.push_back(column.values[row]);
            copy.bounds.push_back(column.bounds[row]);
        }
    }
    return kept;
}

const Table::Column* Table::find(std::string_view name) const {
    const auto found =
        std::find_if(columns_.begin(), columns_.end(), [name](const Column& column) { return column.name == name; });
    return found == columns_.end() ? nullptr : &*found;
}

}  // namespace halvexctl
