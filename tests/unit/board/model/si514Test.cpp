// The Si514: attribute texts and the resulting rate.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/modelBoard.h"

namespace halvexboard::si514Test {

class Si514 : public ModelBoardTest {
protected:
    int store(const std::string& text) {
        return board_si514_store(on(), 0, text.data(), static_cast<std::uint32_t>(text.size()));
    }
    std::int64_t steering() const { return of(BOARD_HAPPENING_STEERING).back().happening.value; }
    std::string show(std::uint32_t size = 64) {
        char buffer[BOARD_TEXT_SIZE];
        const int length = board_si514_show(on(), 0, buffer, size);
        return length < 0 ? "error " + std::to_string(length) : std::string(buffer, static_cast<std::size_t>(length));
    }
};

TEST_F(Si514, ShowsWhatWasStored) {
    EXPECT_EQ(show(), "0\n");
    EXPECT_EQ(store("-1250.000000"), 12);
    EXPECT_EQ(show(), "-1250\n");
    EXPECT_EQ(store("12.5\n"), 5);
    EXPECT_EQ(show(), "12.5\n");
    EXPECT_EQ(of(BOARD_HAPPENING_STEERING).size(), 2U);
    EXPECT_EQ(of(BOARD_HAPPENING_STEERING).at(1).happening.value, 12'500);
}

TEST_F(Si514, SteersFromTheInstantOfTheWrite) {
    ASSERT_EQ(board_si514_store(on(), 10 * kS, "62000.000000", 12), 12);
    EXPECT_EQ(board_tick(on(), 10 * kS), 10 * kS);
    EXPECT_EQ(board_tick(on(), 11 * kS), 11 * kS + 62'000);
}

TEST_F(Si514, RefusesWhatIsNoNumberAndWhatIsBeyondItsRange) {
    EXPECT_EQ(store("abc"), -EINVAL);
    EXPECT_EQ(store(""), -EINVAL);
    EXPECT_EQ(store("12 apples"), -EINVAL);
    EXPECT_EQ(store("1000001"), -EINVAL);
    EXPECT_EQ(store("1000000"), 7);
    EXPECT_EQ(steering(), 1'000'000'000);
}

TEST_F(Si514, HoldsAnyTextUntilTheFirstWrite) {
    config.si514_has_text = 1;
    std::strcpy(config.si514_text, "  7 \n");
    EXPECT_EQ(show(), "  7 \n");
    store("1");
    EXPECT_EQ(show(), "1\n");
}

TEST_F(Si514, ShowsNoMoreThanThereIsRoomFor) {
    store("-1250");
    EXPECT_EQ(show(3), "-12");
}

TEST_F(Si514, CanBeAsCoarseAsTheRealOne) {
    config.si514_resolution_ppt = 26;
    store("0.040");
    EXPECT_EQ(steering(), 52);
    store("-0.040");
    EXPECT_EQ(steering(), -52);
    EXPECT_EQ(show(), "-0.04\n");
}

TEST_F(Si514, IsENODEVWhenItsDriverIsGone) {
    event(0, BOARD_EVENT_DRIVER_GONE, BOARD_TARGET_SI514);
    EXPECT_EQ(store("1"), -ENODEV);
    EXPECT_EQ(show(), "error " + std::to_string(-ENODEV));
}

}  // namespace halvexboard::si514Test
