// Tests of thinning long tables.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/report/chronicle.h"

#include "tests/support/test.h"

namespace halvexctl::thinningTest {

using testing::Contains;
using testing::Le;
using testing::SizeIs;

constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();

/// `rows` rows of two columns, both slow waves.
Table waves(std::size_t rows) {
    Table table;
    for (std::size_t row = 0; row < rows; ++row) {
        table.addRow(static_cast<std::int64_t>(row) * 1'000);
        table.set("one", std::sin(static_cast<double>(row)), 5);
        table.set("two", std::cos(static_cast<double>(row)), kNothing);
    }
    return table;
}

std::size_t finiteIn(const std::vector<double>& values) {
    return static_cast<std::size_t>(
        std::count_if(values.begin(), values.end(), [](double value) { return !std::isnan(value); }));
}

TEST(Thinning, LeavesAShortTableAsItIs) {
    EXPECT_EQ(thinned(waves(100), 100).instantsNs(), waves(100).instantsNs());
    EXPECT_THAT(thinned(Table(), 10).instantsNs(), SizeIs(0));
}

TEST(Thinning, KeepsALongTableBelowWhatIsAskedFor) {
    const Table table = thinned(waves(100'000), 1'000);
    EXPECT_THAT(table.instantsNs(), SizeIs(Le(1'002u)));
    EXPECT_GT(table.instantsNs().size(), 500u);
    EXPECT_TRUE(std::is_sorted(table.instantsNs().begin(), table.instantsNs().end()));
}

TEST(Thinning, KeepsEveryExtremeOfEveryColumnWithItsInstantAndBound) {
    Table table;
    for (std::int64_t row = 0; row < 50'000; ++row) {
        table.addRow(row);
        table.set("one", row == 31'234 ? 250'000 : 3, row == 31'234 ? 77 : 1);
        table.set("two", row == 4'321 ? -9'000 : 2, 1);
    }
    const Table few = thinned(table, 200);
    const auto& one = *few.find("one");
    const auto peak = std::find(one.values.begin(), one.values.end(), 250'000) - one.values.begin();
    ASSERT_LT(static_cast<std::size_t>(peak), one.values.size());
    EXPECT_EQ(few.instantsNs()[static_cast<std::size_t>(peak)], 31'234);
    EXPECT_EQ(one.bounds[static_cast<std::size_t>(peak)], 77);
    EXPECT_THAT(few.find("two")->values, Contains(-9'000.0));
    EXPECT_EQ(few.instantsNs().front(), 0);
    EXPECT_EQ(few.instantsNs().back(), 49'999);
}

TEST(Thinning, KeepsAGapAGap) {
    Table table;
    for (std::int64_t row = 0; row < 10'000; ++row) {
        table.addRow(row);
        table.set("one", row >= 4'000 && row < 4'003 ? kNothing : 1, 1);
    }
    const Table few = thinned(table, 100);
    EXPECT_THAT(few.instantsNs(), Contains(3'999));
    EXPECT_THAT(few.instantsNs(), Contains(4'003));
    EXPECT_LT(finiteIn(few.find("one")->values), few.instantsNs().size());
}

TEST(Table, FillsWhatAColumnDidNotHaveBeforeItAppeared) {
    Table table;
    table.addRow(20);
    table.set("one", 1, kNothing);
    table.addRow(10);
    table.set("two", 2, kNothing);
    table.sort();
    EXPECT_THAT(table.instantsNs(), testing::ElementsAre(10, 20));
    EXPECT_TRUE(std::isnan(table.find("two")->values[1]));
    EXPECT_EQ(table.find("one")->values[1], 1);
    EXPECT_EQ(table.find("three"), nullptr);
}

}  // namespace halvexctl::thinningTest
