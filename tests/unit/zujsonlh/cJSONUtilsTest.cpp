// Types and values of JSON items.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zujsonlh/cJSONUtils.h"

#include "tests/support/raisedError.h"
#include "zujsonlh/CppJson.h"

namespace zujsonlh::cJSONUtilsTest {

using namespace testsupport;

const RaisedError kNoString{-52004, R"({"file":"cJSONUtils","line":305,"component":"halvexTimekeeper"})"};
const RaisedError kNoNumber{-52004, R"({"file":"cJSONUtils","line":281,"component":"halvexTimekeeper"})"};

TEST(CjsonType, IsComparedWith4And8And16Exactly) {
    for (int type = 0; type < 1024; ++type) {
        cJSON item{};
        item.type = type;
        EXPECT_EQ(isNull(&item), type == 4) << type;
        EXPECT_EQ(isNumber(&item), type == 8) << type;
        EXPECT_EQ(isString(&item), type == 16) << type;
    }
}

TEST(CjsonValue, OfAStringItemIsItsText) {
    EXPECT_EQ(getString(CppJson("\"text\"").getRoot()), "text");
    EXPECT_EQ(getString(CppJson("\"\"").getRoot()), "");
}

TEST(CjsonValue, OfAnItemThatIsNoStringIsTheWrongTypeAndCarriesALocationAlone) {
    for (const char* text : {"7", "null", "true", "false", "[]", "{}"}) {
        const CppJson document(text);
        EXPECT_EQ(raisedBy([&] { getString(document.getRoot()); }), kNoString) << text;
    }
}

TEST(CjsonValue, OfANumberItemIsADouble) {
    EXPECT_EQ(getNumber(CppJson("-37.5").getRoot()), -37.5);
    EXPECT_EQ(getNumber(CppJson("4294967296").getRoot()), 4294967296.0);
}

TEST(CjsonValue, OfAnItemThatIsNoNumberIsTheWrongTypeAndCarriesALocationAlone) {
    for (const char* text : {"\"7\"", "null", "true", "false", "[]", "{}"}) {
        const CppJson document(text);
        EXPECT_EQ(raisedBy([&] { getNumber(document.getRoot()); }), kNoNumber) << text;
    }
}

}  // namespace zujsonlh::cJSONUtilsTest
