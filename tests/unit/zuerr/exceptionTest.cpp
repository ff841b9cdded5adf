// Contents of an error and raising it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuerr/exception.h"

#include "tests/support/statusHolder.h"
#include "tests/support/test.h"
#include "tests/support/vtableSlot.h"
#include "zuerr/codes.h"
#include "zuerr/status.h"

namespace exceptionTest {

using namespace testsupport;

constexpr zuerr::ErrorSite kSite{zuerr::zuplaterr_osFault, "unit", 12};
constexpr zuerr::ErrorSite kNamelessSite{zuerr::kWrongType, "unit", 34};

std::string textOf(const zuerr::ErrorSite& site, zuerr::TextPieces message) {
    try {
        raise(site, message);
    } catch (const zuerr::Exception& error) {
        return error.what();
    }
}

TEST(Raise, WritesTheMembersInTheirOrder) {
    EXPECT_EQ(textOf(kSite, {"disk ", "\"full\""}),
              R"({"error_constant":"zuplaterr_osFault","file":"unit","line":12,"component":"halvexTimekeeper",)"
              R"("zuhalvexTimekeeper_debug":{"errorInfo":"disk \"full\""}})");
}

TEST(Raise, LeavesOutTheMessageAndTheNameThatItIsNotGiven) {
    EXPECT_EQ(textOf(kNamelessSite, {}), R"({"file":"unit","line":34,"component":"halvexTimekeeper"})");
}

TEST(ConstantOf, NamesTheCodesThatErrorInformationNamesAndNoOthers) {
    constexpr std::pair<std::int32_t, const char*> kNamed[]{{-52000, "zuplaterr_memoryFull"},
                                                            {-52002, "zuplaterr_featureUnsupported"},
                                                            {-52003, "zuplaterr_softwareFaultPLATInternalUseOnly"},
                                                            {-52005, "zuplaterr_invalidParameter"},
                                                            {-52006, "zuplaterr_resourceNotFound"},
                                                            {-52007, "zuplaterr_operationTimedOut"},
                                                            {-52008, "zuplaterr_osFault"},
                                                            {-52010, "zuplaterr_resourceNotInitialized"},
                                                            {-52024, "zuplaterr_communicationsFault"}};
    int named = 0;
    for (std::int32_t code = -52100; code <= 0; ++code) named += zuerr::constantOf(code) != nullptr ? 1 : 0;
    EXPECT_EQ(named, 9);
    for (const auto& [code, name] : kNamed) EXPECT_STREQ(zuerr::constantOf(code), name);
}

TEST(Exception, IsAStandardExceptionThatKnowsItsCode) {
    try {
        raise(kSite, {"message"});
    } catch (const std::exception& error) {
        const auto& base = dynamic_cast<const zuerr::ExceptionBase&>(error);
        EXPECT_EQ(base.getCode(), -52008);
        EXPECT_STREQ(error.what(), base.getJson());
    }
}

TEST(Exception, TakesAStatusOverAndLeavesItWithoutText) {
    StatusHolder status{0, zuerr_defaultReallocJson};
    status->code = -52008;
    zuerr_setJson(status.get(), R"({"a":1})");
    const zuerr::Exception error(*status.get());
    EXPECT_STREQ(error.what(), R"({"a":1})");
    EXPECT_EQ(status->json, nullptr);
}

TEST(Exception, WithoutATextSaysTheEmptyString) {
    zuerr_Status status = zuerr::makeStatus();
    status.code = -1;
    EXPECT_STREQ(zuerr::Exception(status).what(), "");
    EXPECT_STREQ(zuerr::ExceptionBase(status).getJson(), "");
}

TEST(Exception, CopiedKeepsCodeAndText) {
    StatusHolder status{0, zuerr_defaultReallocJson};
    status->code = -52008;
    zuerr_setJson(status.get(), R"({"a":1})");
    const zuerr::Exception error(*status.get());
    const zuerr::Exception copy(error);
    EXPECT_STREQ(copy.what(), error.what());
    EXPECT_NE(copy.what(), error.what());
    EXPECT_EQ(copy.getCode(), -52008);
}

TEST(SlotOrder, HasTheTextBehindTheTwoDestructors) {
    EXPECT_TRUE(takeSlotsFrom(2, &zuerr::ExceptionBase::getJson));
    EXPECT_TRUE(takeSlotsFrom(2, &zuerr::Exception::what));
}

}  // namespace exceptionTest
