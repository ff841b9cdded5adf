// Codes by precedence, the text's buffer, merging.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuerr/status.h"

#include <sys/mman.h>

#include "tests/support/statusHolder.h"
#include "tests/support/test.h"

namespace statusTest {

using namespace testsupport;

bool refusingReallocJson(zuerr_Status*, std::uint32_t) { return false; }
bool lyingReallocJson(zuerr_Status*, std::uint32_t) { return true; }
bool throwingReallocJson(zuerr_Status*, std::uint32_t) { throw std::string("no"); }

class Status : public testing::Test {
protected:
    StatusHolder status_{0, zuerr_defaultReallocJson};
};

/// A status to merge from, with a code and a text.
class StatusMerge : public testing::Test {
protected:
    StatusMerge() { EXPECT_TRUE(zuerr_setJson(source_.get(), kText)); }

    /// Whether the text was copied, too; the flag says the opposite before.
    bool isTextCopiedInto(zuerr_Status& destination, bool expected) {
        bool copied = !expected;
        EXPECT_TRUE(zuerr_merge(&destination, source_.get(), &copied));
        EXPECT_EQ(destination.code, -52008);
        return copied;
    }

    static constexpr const char* kText = R"({"a":1})";
    StatusHolder source_{-52008, zuerr_defaultReallocJson};
};

TEST_F(Status, OfZeroTakesAnyCodeButZero) {
    EXPECT_FALSE(zuerr_setCode(status_.get(), 0));
    EXPECT_TRUE(zuerr_setCode(status_.get(), 7));
    EXPECT_EQ(status_->code, 7);
}

TEST_F(Status, ThatHoldsAWarningTakesOnlyAnError) {
    status_->code = 5;
    EXPECT_FALSE(zuerr_setCode(status_.get(), 6));
    EXPECT_FALSE(zuerr_setCode(status_.get(), 0));
    EXPECT_TRUE(zuerr_setCode(status_.get(), -1));
    EXPECT_EQ(status_->code, -1);
}

TEST_F(Status, ThatHoldsAnErrorNeverChanges) {
    status_->code = -1;
    for (const int code : {0, 5, -52008}) EXPECT_FALSE(zuerr_setCode(status_.get(), code));
    EXPECT_EQ(status_->code, -1);
}

TEST_F(Status, ResetsItsTextWhenACodeIsTakenAndOnlyThen) {
    ASSERT_TRUE(zuerr_setJson(status_.get(), R"({"a":1})"));
    status_->code = 5;
    EXPECT_FALSE(zuerr_setCode(status_.get(), 6));
    EXPECT_EQ(status_.getText(), R"({"a":1})");
    EXPECT_TRUE(zuerr_setCode(status_.get(), -52008));
    EXPECT_EQ(status_.getText(), "{}");
    EXPECT_TRUE(isBufferLaidOut(*status_.get()));
}

TEST_F(Status, GrowsToFiveHundredAndTwelveBytesAtFirst) {
    ASSERT_TRUE(zuerr_defaultReallocJson(status_.get(), 1));
    EXPECT_EQ(status_->capacity, 512U);
    EXPECT_EQ(status_.getText(), "{}");
    EXPECT_TRUE(isBufferLaidOut(*status_.get()));
}

TEST_F(Status, GrowsToTheNextPowerOfTwo) {
    ASSERT_TRUE(zuerr_defaultReallocJson(status_.get(), 512));
    EXPECT_EQ(status_->capacity, 512U);
    ASSERT_TRUE(zuerr_setJson(status_.get(), R"({"kept":true})"));
    ASSERT_TRUE(zuerr_defaultReallocJson(status_.get(), 513));
    EXPECT_EQ(status_->capacity, 1024U);
    ASSERT_TRUE(zuerr_defaultReallocJson(status_.get(), 2048));
    EXPECT_EQ(status_->capacity, 2048U);
    EXPECT_EQ(status_.getText(), R"({"kept":true})");
    EXPECT_TRUE(isBufferLaidOut(*status_.get()));
}

TEST_F(Status, DoesNotShrinkOrMoveForASizeItHas) {
    ASSERT_TRUE(zuerr_defaultReallocJson(status_.get(), 600));
    const char* const before = status_->json;
    EXPECT_TRUE(zuerr_defaultReallocJson(status_.get(), 100));
    EXPECT_EQ(status_->json, before);
    EXPECT_EQ(status_->capacity, 1024U);
}

TEST_F(Status, RefusesASizeWithTheTopBitSet) {
    EXPECT_FALSE(zuerr_defaultReallocJson(status_.get(), 0x80000000U));
    EXPECT_EQ(status_->json, nullptr);
    EXPECT_EQ(status_->capacity, 0U);
}

TEST_F(Status, FreesItsTextForSizeZero) {
    ASSERT_TRUE(zuerr_setJson(status_.get(), nullptr));
    EXPECT_TRUE(zuerr_defaultReallocJson(status_.get(), 0));
    EXPECT_EQ(status_->json, nullptr);
    EXPECT_EQ(status_->capacity, 0U);
    EXPECT_TRUE(zuerr_defaultReallocJson(status_.get(), 0)) << "nothing to free is no failure";
}

TEST_F(Status, TakesACopyOfATextOrAnEmptyObject) {
    std::string text = R"({"a":1})";
    ASSERT_TRUE(zuerr_setJson(status_.get(), text.c_str()));
    text[2] = 'b';
    EXPECT_EQ(status_.getText(), R"({"a":1})");
    ASSERT_TRUE(zuerr_setJson(status_.get(), nullptr));
    EXPECT_EQ(status_.getText(), "{}");
    EXPECT_TRUE(isBufferLaidOut(*status_.get()));
}

TEST(StatusText, AsksForItsLengthAndTwoMoreBytes) {
    StatusHolder status;
    ASSERT_TRUE(zuerr_setJson(status.get(), R"({"a":1})"));
    EXPECT_EQ(status->capacity, 9U);
    StatusHolder empty;
    ASSERT_TRUE(zuerr_setJson(empty.get(), nullptr));
    EXPECT_EQ(empty->capacity, 4U);
}

TEST(StatusText, IsLaidOutWithinItsCapacity) {
    std::array<char, 12> memory;
    memory.fill('#');
    zuerr_Status status{0, 8, lyingReallocJson, memory.data() + 2};
    ASSERT_TRUE(zuerr_setJson(&status, "{}"));
    EXPECT_EQ(std::string(memory.data(), memory.size()), std::string("##{}\0\0\0\0\0J##", 12));
}

TEST(StatusText, StaysWhenTheBufferCannotGrow) {
    for (const zuerr_ReallocJson function : {refusingReallocJson, lyingReallocJson, throwingReallocJson}) {
        std::array<char, 6> buffer{'{', '}', 0, 0, 0, 'J'};
        zuerr_Status status{0, buffer.size(), function, buffer.data()};
        EXPECT_FALSE(zuerr_setJson(&status, R"({"a":1})"));
        EXPECT_STREQ(status.json, "{}");
    }
}

#ifndef HALVEX_THREAD_SANITIZER  // which would shadow each of the two thousand million bytes
/// A readable text of any length: one piece of a memory file, mapped repeatedly.
class EndlessText {
public:
    explicit EndlessText(std::size_t length) : size_((length / kPieceSize + 1) * kPieceSize) {
        const int fd = memfd_create("text", 0);
        const std::string piece(kPieceSize, 'x');
        EXPECT_EQ(write(fd, piece.data(), piece.size()), static_cast<ssize_t>(piece.size()));
        text_ = static_cast<char*>(mmap(nullptr, size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
        for (std::size_t offset = 0; offset < size_; offset += kPieceSize) {
            EXPECT_NE(mmap(text_ + offset, kPieceSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_FIXED, fd, 0),
                      MAP_FAILED);
        }
        close(fd);
        text_[length] = '\0';
    }
    ~EndlessText() { munmap(text_, size_); }
    EndlessText(const EndlessText&) = delete;
    EndlessText& operator=(const EndlessText&) = delete;

    const char* get() const { return text_; }

private:
    static constexpr std::size_t kPieceSize = 16 << 20;
    std::size_t size_;
    char* text_;
};

TEST(StatusText, OfMoreThan7FFFFFFDBytesIsRefusedBeforeAnythingGrows) {
    static std::vector<std::uint32_t> sizes;
    sizes.clear();
    const auto refuseAndRemember = [](zuerr_Status*, std::uint32_t size) {
        sizes.push_back(size);
        return false;
    };
    const EndlessText text(0x7FFFFFFE);
    std::array<char, 6> buffer{'{', '}', 0, 0, 0, 'J'};
    zuerr_Status status{0, buffer.size(), refuseAndRemember, buffer.data()};
    EXPECT_FALSE(zuerr_setJson(&status, text.get()));
    EXPECT_THAT(sizes, testing::IsEmpty());
    EXPECT_FALSE(zuerr_setJson(&status, text.get() + 1));
    EXPECT_THAT(sizes, testing::ElementsAre(0x7FFFFFFFU)) << "the longest text, its NUL and the end mark";
    EXPECT_STREQ(status.json, "{}");
}
#endif

TEST(StatusText, ThatCannotGrowBecomesAnEmptyObjectInThreeBytesAndIsEmptiedInLess) {
    const std::string_view results[] = {{"xy?#", 4}, {"\0y?#", 4}, {"\0y?#", 4}, {"{}\0#", 4}, {"{}\0J", 4}};
    for (std::uint32_t capacity = 0; capacity <= 4; ++capacity) {
        char buffer[] = {'x', 'y', '?', '#'};
        zuerr_Status status{0, capacity, refusingReallocJson, buffer};
        EXPECT_TRUE(zuerr_setCode(&status, -1));
        EXPECT_EQ(std::string_view(buffer, sizeof buffer), results[capacity]) << capacity << " bytes";
    }
}

TEST(StatusText, ThatIsTooSmallForAnEmptyObjectGrowsToOne) {
    StatusHolder status;
    ASSERT_TRUE(exactReallocJson(status.get(), 3));
    status->json[0] = '\0';
    EXPECT_TRUE(zuerr_setCode(status.get(), -1));
    EXPECT_EQ(status.getText(), "{}");
    EXPECT_EQ(status->capacity, 4U);
    EXPECT_TRUE(isBufferLaidOut(*status.get()));
}

TEST(StatusText, ThatItsGrowthFunctionTookAwayIsNotTouched) {
    char text[2] = "x";
    const auto takeAway = [](zuerr_Status* status, std::uint32_t) {
        status->json = nullptr;
        return false;
    };
    zuerr_Status status{0, 2, takeAway, text};
    EXPECT_TRUE(zuerr_setCode(&status, -1));
    EXPECT_EQ(status.json, nullptr);
    EXPECT_EQ(text[0], 'x');
}

TEST(StatusText, ThatIsLongerThanItsCapacitySaysIsLeftAsItIs) {
    const std::string text(511, 'x');
    StatusHolder status{0, zuerr_defaultReallocJson};
    status->json = strdup(text.c_str());
    const char* const before = status->json;
    EXPECT_FALSE(zuerr_defaultReallocJson(status.get(), 1))
        << "511 characters, their NUL and the end mark need 513 bytes";
    EXPECT_EQ(status->json, before);
    EXPECT_EQ(status.getText(), text);
    EXPECT_EQ(status->capacity, 0U);
    status->json[510] = '\0';
    EXPECT_TRUE(zuerr_defaultReallocJson(status.get(), 1));
    EXPECT_EQ(status.getText(), text.substr(1));
    EXPECT_TRUE(isBufferLaidOut(*status.get()));
}

TEST_F(StatusMerge, TakesTheCodeAloneAndSaysSoWhereTheDestinationOrNeitherCanGrow) {
    for (const zuerr_ReallocJson function : {zuerr_ReallocJson{}, &refusingReallocJson}) {
        zuerr_Status destination{0, 0, function, nullptr};
        EXPECT_FALSE(isTextCopiedInto(destination, false));
        EXPECT_EQ(destination.json, nullptr);
    }
    const auto usual = std::exchange(source_->reallocJson, nullptr);
    zuerr_Status destination{0, 0, nullptr, nullptr};
    EXPECT_FALSE(isTextCopiedInto(destination, false));
    EXPECT_EQ(destination.json, nullptr);
    EXPECT_EQ(source_.getText(), kText);
    source_->reallocJson = usual;
}

TEST_F(StatusMerge, MovesTheBufferWhenBothUseOneGrowthFunction) {
    StatusHolder destination{0, zuerr_defaultReallocJson};
    ASSERT_TRUE(zuerr_setJson(destination.get(), R"({"old":1})"));
    const char* const moved = source_->json;
    EXPECT_TRUE(isTextCopiedInto(*destination.get(), true));
    EXPECT_EQ(destination->json, moved);
    EXPECT_EQ(destination->capacity, 512U);
    EXPECT_EQ(source_->json, nullptr);
    EXPECT_EQ(source_->capacity, 0U);
}

TEST_F(StatusMerge, FreesTheTextThatTheMovedOneReplaces) {
    static int freed;
    freed = 0;
    source_->reallocJson = [](zuerr_Status* status, std::uint32_t size) {
        freed += size == 0;
        return zuerr_defaultReallocJson(status, size);
    };
    StatusHolder destination{0, source_->reallocJson};
    ASSERT_TRUE(zuerr_setJson(destination.get(), R"({"old":1})"));
    EXPECT_TRUE(zuerr_merge(destination.get(), source_.get()));
    EXPECT_EQ(freed, 1);
}

TEST_F(StatusMerge, CopiesTheTextBetweenDifferentGrowthFunctions) {
    StatusHolder destination;
    EXPECT_TRUE(isTextCopiedInto(*destination.get(), true));
    EXPECT_EQ(destination.getText(), kText);
    EXPECT_EQ(source_.getText(), kText);
    EXPECT_TRUE(isBufferLaidOut(*destination.get()));
}

TEST_F(StatusMerge, LeavesEverythingWhenTheCodeIsNotTaken) {
    StatusHolder destination{-1, zuerr_defaultReallocJson};
    bool copied = false;
    EXPECT_FALSE(zuerr_merge(destination.get(), source_.get(), &copied));
    EXPECT_TRUE(copied) << "the flag reports a failed copy only";
    EXPECT_EQ(destination->code, -1);
    EXPECT_EQ(destination->json, nullptr);
    EXPECT_EQ(source_.getText(), kText);
}

TEST(StatusOfTheLibrary, IsMadeCleanWithoutABuffer) {
    const zuerr_Status status = zuerr::makeStatus();
    EXPECT_EQ(status.code, 0);
    EXPECT_EQ(status.capacity, 0U);
    EXPECT_EQ(status.reallocJson, zuerr_defaultReallocJson);
    EXPECT_EQ(status.json, nullptr);
}

TEST(StatusWords, NameTheSeverityAndTheMissingText) {
    EXPECT_STREQ(zuerr::severityWord(-1), "FAIL");
    EXPECT_STREQ(zuerr::severityWord(1), "WARN");
    EXPECT_STREQ(zuerr::severityWord(0), "PASS");
    EXPECT_STREQ(zuerr::jsonOrNull(zuerr::makeStatus()), "null");
}

}  // namespace statusTest
