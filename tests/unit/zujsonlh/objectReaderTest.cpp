// Members of a JSON object, looked up by their exact keys.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zujsonlh/objectReader.h"

#include "tests/support/test.h"

namespace zujsonlh::objectReaderTest {

std::string print(const cJSON* item) {
    char* const text = cJSON_PrintUnformatted(item);
    const std::string copy = text;
    cJSON_free(text);
    return copy;
}

/// The item that a lookup makes current.
cJSON* found(ObjectReader& reader, const char* key) {
    reader.find(key);
    return *reader.current;
}

// cJSON's allocations, of which the Nth can fail.
int g_piecesLeft = -1;

void* mallocWhileAnyIsLeft(std::size_t size) {
    if (g_piecesLeft == 0) return nullptr;
    if (g_piecesLeft > 0) --g_piecesLeft;
    return std::malloc(size);
}

class ScarceMemory {
public:
    explicit ScarceMemory(int pieces) {
        g_piecesLeft = pieces;
        cJSON_Hooks hooks{mallocWhileAnyIsLeft, std::free};
        cJSON_InitHooks(&hooks);
    }
    ~ScarceMemory() {
        g_piecesLeft = -1;
        cJSON_InitHooks(nullptr);
    }
};

TEST(ObjectReaderTest, HasNothingCurrentBeforeTheFirstLookup) {
    const CppJson document(R"({"a":1})");
    EXPECT_EQ(ObjectReader(document.getRoot()).current, nullptr);
}

TEST(ObjectReaderTest, FindsMembersByKeyInWhateverOrder) {
    const CppJson document(R"({"a":1,"b":"two","c":null})");
    ObjectReader reader(document.getRoot());
    EXPECT_STREQ(found(reader, "b")->valuestring, "two");
    EXPECT_EQ(found(reader, "a")->valuedouble, 1);
    EXPECT_EQ(found(reader, "c")->type, cJSON_NULL);
    EXPECT_EQ(found(reader, "a")->valuedouble, 1);
}

TEST(ObjectReaderTest, DoesNotFindNameInAnObjectThatHoldsNameInAnotherCase) {
    const CppJson document(R"({"Name":1,"NAME":2})");
    ObjectReader reader(document.getRoot());
    EXPECT_EQ(found(reader, "name"), nullptr);
}

TEST(ObjectReaderTest, FindsTheFirstOfSeveralMembersWithOneKey) {
    const CppJson document(R"({"a":1,"a":2})");
    ObjectReader reader(document.getRoot());
    EXPECT_EQ(found(reader, "a")->valuedouble, 1);
    EXPECT_EQ(found(reader, "a")->valuedouble, 1);
    EXPECT_TRUE(reader.getMembers()[0].isVisited);
    EXPECT_FALSE(reader.getMembers()[1].isVisited);
}

TEST(ObjectReaderTest, KeepsTheMembersInDocumentOrderAndMarksThoseLookedUp) {
    const CppJson document(R"({"b":1,"a":2})");
    ObjectReader reader(document.getRoot());
    reader.find("a");
    ASSERT_EQ(reader.getMembers().size(), 2U);
    EXPECT_STREQ(reader.getMembers()[0].item->string, "b");
    EXPECT_FALSE(reader.getMembers()[0].isVisited);
    EXPECT_TRUE(reader.getMembers()[1].isVisited);
}

TEST(ObjectReaderTest, AppendsAnEmptyEntryForEachLookupOfTheSameMissingKey) {
    const CppJson document(R"({"a":1})");
    ObjectReader reader(document.getRoot());
    EXPECT_EQ(found(reader, "missing"), nullptr);
    EXPECT_EQ(found(reader, "missing"), nullptr);
    ASSERT_EQ(reader.getMembers().size(), 3U);
    for (const std::size_t entry : {1U, 2U}) {
        EXPECT_TRUE(reader.getMembers()[entry].isVisited);
        EXPECT_EQ(reader.getMembers()[entry].item, nullptr);
    }
    EXPECT_EQ(found(reader, "a")->valuedouble, 1);
}

TEST(ObjectReaderTest, EmptiesTheObjectWhileItLives) {
    const CppJson document(R"({"a":1,"b":2})");
    {
        const ObjectReader reader(document.getRoot());
        EXPECT_EQ(print(document.getRoot()), "{}");
    }
    EXPECT_EQ(print(document.getRoot()), R"({"a":1,"b":2})");
}

TEST(ObjectReaderTest, GivesTheMembersBackInTheirFormerOrder) {
    const std::string text = R"({"z":1,"a":{"y":[2,3],"b":null},"m":"text","a":4})";
    const CppJson document(text.c_str());
    for (int round = 0; round < 3; ++round) {
        {
            ObjectReader reader(document.getRoot());
            ObjectReader inner(found(reader, "a"));
            inner.find("b");
            inner.find("missing");
            reader.find("missing");
            reader.find("m");
        }
        EXPECT_EQ(print(document.getRoot()), text);
    }
}

TEST(ObjectReaderTest, FindsNothingInWhatIsNoObjectAndLeavesItWhole) {
    for (const std::string text : {"[1,\"a\",null,{\"a\":1}]", "[]", "7", "\"a\"", "null", "true", "{}"}) {
        const CppJson document(text.c_str());
        {
            ObjectReader reader(document.getRoot());
            EXPECT_EQ(found(reader, "a"), nullptr) << text;
            EXPECT_EQ(found(reader, ""), nullptr) << text;
        }
        EXPECT_EQ(print(document.getRoot()), text);
    }
}

TEST(ObjectReaderTest, FindsAMemberWhoseKeyIsEmpty) {
    const CppJson document(R"({"":1})");
    ObjectReader reader(document.getRoot());
    EXPECT_EQ(found(reader, "")->valuedouble, 1);
}

TEST(ObjectReaderTest, ThatLacksMemoryForItsHoldersThrowsAndLeavesTheObjectWhole) {
    const CppJson document(R"({"a":1,"b":2})");
    for (const int pieces : {0, 1}) {
        const ScarceMemory memory(pieces);
        EXPECT_THROW(ObjectReader reader(document.getRoot()), std::bad_alloc);
    }
    EXPECT_EQ(print(document.getRoot()), R"({"a":1,"b":2})");
    const ScarceMemory memory(2);
    EXPECT_NO_THROW(ObjectReader reader(document.getRoot()));
}

TEST(ObjectReaderTest, ThatLacksMemoryForTheCopyOfAKeyThrowsTheFirstTimeAndTheSecond) {
    const CppJson document(R"({"a":1,"b":2})");
    {
        ObjectReader reader(document.getRoot());
        {
            const ScarceMemory memory(0);
            EXPECT_THROW(reader.find("missing"), std::bad_alloc);
        }
        EXPECT_EQ(found(reader, "missing"), nullptr);
        {
            const ScarceMemory memory(0);
            EXPECT_THROW(reader.find("absent"), std::bad_alloc);
        }
        EXPECT_EQ(found(reader, "absent"), nullptr);
        EXPECT_EQ(reader.getMembers().size(), 4U);
    }
    EXPECT_EQ(print(document.getRoot()), R"({"a":1,"b":2})");
}

}  // namespace zujsonlh::objectReaderTest
