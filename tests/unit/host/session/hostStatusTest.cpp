// Tests of the host's status and its growth function.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/session/hostStatus.h"

#include "tests/support/test.h"

namespace halvexctl::hostStatusTest {

class ReallocJson : public testing::Test {
protected:
    ~ReallocJson() override { reallocJson(&status_, 0); }

    void expectLaidOut(const std::string& text) {
        ASSERT_NE(status_.json, nullptr);
        EXPECT_STREQ(status_.json, text.c_str());
        for (std::size_t i = text.size(); i + 1 < status_.capacity; ++i) {
            ASSERT_EQ(status_.json[i], '\0') << "at byte " << i;
        }
        EXPECT_EQ(status_.json[status_.capacity - 1], 'J');
    }

    zuerr_Status status_{0, 0, &reallocJson, nullptr};
};

TEST_F(ReallocJson, StartsWithAnEmptyObject) {
    ASSERT_TRUE(reallocJson(&status_, 4));
    EXPECT_GE(status_.capacity, 4u);
    expectLaidOut("{}");
}

TEST_F(ReallocJson, KeepsTheTextWhenItGrows) {
    ASSERT_TRUE(reallocJson(&status_, 4));
    std::strcpy(status_.json, "{\"a\":1}");
    const std::uint32_t before = status_.capacity;
    ASSERT_TRUE(reallocJson(&status_, before * 2 - 2));
    EXPECT_GE(status_.capacity, before * 2 - 2);
    expectLaidOut("{\"a\":1}");
}

TEST_F(ReallocJson, ChangesNothingWhenThereIsRoom) {
    ASSERT_TRUE(reallocJson(&status_, 100));
    const char* buffer = status_.json;
    const std::uint32_t capacity = status_.capacity;
    ASSERT_TRUE(reallocJson(&status_, capacity));
    EXPECT_EQ(status_.json, buffer);
    EXPECT_EQ(status_.capacity, capacity);
}

TEST_F(ReallocJson, FreesWithSizeZero) {
    ASSERT_TRUE(reallocJson(&status_, 100));
    EXPECT_TRUE(reallocJson(&status_, 0));
    EXPECT_EQ(status_.json, nullptr);
    EXPECT_EQ(status_.capacity, 0u);
}

TEST_F(ReallocJson, RefusesWhatIsTooLargeAndChangesNothing) {
    ASSERT_TRUE(reallocJson(&status_, 4));
    const char* buffer = status_.json;
    EXPECT_FALSE(reallocJson(&status_, 0x80000000u));
    EXPECT_EQ(status_.json, buffer);
}

TEST(HostStatus, IsFreshAgainAfterClear) {
    HostStatus status;
    status.get()->code = -52024;
    ASSERT_TRUE(status.get()->reallocJson(status.get(), 10));
    EXPECT_EQ(status.information(), "{}");
    status.clear();
    EXPECT_EQ(status.code(), 0);
    EXPECT_EQ(status.information(), "");
    EXPECT_EQ(status.get()->capacity, 0u);
}

}  // namespace halvexctl::hostStatusTest
