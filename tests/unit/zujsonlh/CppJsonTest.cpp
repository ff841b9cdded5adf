// One parsed JSON document.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zujsonlh/CppJson.h"

#include <locale.h>

#include <clocale>

#include "tests/support/numericLocale.h"
#include "tests/support/raisedError.h"

namespace zujsonlh::CppJsonTest {

using namespace testsupport;

const RaisedError kNoJson{
    -52005,
    R"({"error_constant":"zuplaterr_invalidParameter","file":"CppJson","line":34,"component":"halvexTimekeeper"})"};

TEST(CppJsonDocument, HoldsNothingUntilItParses) {
    CppJson document;
    EXPECT_EQ(document.getRoot(), nullptr);
    document.parse("{}");
    ASSERT_NE(document.getRoot(), nullptr);
    EXPECT_EQ(document.getRoot()->type, cJSON_Object);
    document.reset();
    EXPECT_EQ(document.getRoot(), nullptr);
}

TEST(CppJsonDocument, SkipsLeadingBytesFrom1To32) {
    std::string text;
    for (char byte = 1; byte <= 32; ++byte) text += byte;
    EXPECT_EQ(CppJson((text + "[7]").c_str()).getRoot()->type, cJSON_Array);
}

TEST(CppJsonDocument, OfAnEmptyTextOrBlanksAloneIsAnInvalidParameterWithoutAMessage) {
    for (const char* text : {"", " ", " \t\r\n "}) {
        EXPECT_EQ(raisedBy([text] { CppJson document(text); }), kNoJson) << '"' << text << '"';
    }
}

TEST(CppJsonDocument, ThatIsNoJsonIsAnInvalidParameterWithoutAMessage) {
    for (const char* text : {"{", "{]", "nonsense", "{\"a\"}", "{\"a\":}", "\"", "\x80", "{\"a\":1,}"}) {
        EXPECT_EQ(raisedBy([text] { CppJson document(text); }), kNoJson) << text;
    }
}

TEST(CppJsonDocument, KeepsNothingOfTheFormerDocumentWhenTheNextCannotBeParsed) {
    CppJson document("{}");
    EXPECT_EQ(raisedBy([&] { document.parse("{\"a\":[1,2,"); }), kNoJson);
    EXPECT_EQ(document.getRoot(), nullptr);
}

CppJson* g_document = nullptr;
int g_allocationsWhileHolding = 0;

TEST(CppJsonDocument, GivesUpTheFormerDocumentBeforeItParses) {
    CppJson document("[1]");
    g_document = &document;
    cJSON_Hooks hooks{[](std::size_t size) {
                          if (g_document->getRoot() != nullptr) ++g_allocationsWhileHolding;
                          return std::malloc(size);
                      },
                      std::free};
    cJSON_InitHooks(&hooks);
    document.parse("[2]");
    cJSON_InitHooks(nullptr);
    EXPECT_EQ(g_allocationsWhileHolding, 0);
    EXPECT_EQ(document.getRoot()->child->valuedouble, 2);
}

TEST(CppJsonDocument, MayBeNestedToTheLimitOfCjsonAndNoDeeper) {
    const std::string deepest = std::string(CJSON_NESTING_LIMIT, '[') + std::string(CJSON_NESTING_LIMIT, ']');
    EXPECT_EQ(raisedBy([&] { CppJson document(deepest.c_str()); }), RaisedError{});
    EXPECT_EQ(raisedBy([&] { CppJson document(('[' + deepest + ']').c_str()); }), kNoJson);
    EXPECT_EQ(raisedBy([&] { CppJson document(std::string(1'000'000, '[').c_str()); }), kNoJson);
}

TEST(CppJsonDocument, HasNumbersWithADecimalPointWhateverSignTheLocaleWritesAndHoweverManyBytesItTakes) {
    for (const char* decimalSign : {NumericLocale::kComma, NumericLocale::kArabicSign}) {
        const NumericLocale locale(decimalSign);
        if (!locale.isSet()) GTEST_SKIP() << NumericLocale::kWhyNotSet;
        const std::string signBefore = std::localeconv()->decimal_point;
        const CppJson document("[37.5, -2147483648.9]");
        EXPECT_EQ(document.getRoot()->child->valuedouble, 37.5) << decimalSign;
        EXPECT_EQ(document.getRoot()->child->next->valuedouble, -2147483648.9) << decimalSign;
        EXPECT_EQ(std::localeconv()->decimal_point, signBefore);
    }
}

TEST(CppJsonDocument, LeavesTheLocaleOfTheThreadAsItWasAlsoWhenATextCannotBeParsed) {
    const CppJson document("{}");
    EXPECT_EQ(uselocale(nullptr), LC_GLOBAL_LOCALE);
    EXPECT_EQ(raisedBy([] { CppJson wrong("{"); }), kNoJson);
    EXPECT_EQ(uselocale(nullptr), LC_GLOBAL_LOCALE);
}

}  // namespace zujsonlh::CppJsonTest
