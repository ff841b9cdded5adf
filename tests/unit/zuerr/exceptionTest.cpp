// What an error carries, how it is raised, and how it becomes a status.
#include "zuerr/exception.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>

#include "tests/support/statusHolder.h"
#include "zuerr/codes.h"
#include "zuerr/status.h"
#include "zuerr/tools/exception_errStatus.h"

namespace {

using testsupport::StatusHolder;

constexpr zuerr::ErrorSite kSite{zuerr::zuplaterr_osFault, "zuplaterr_osFault", "unit", 12};
constexpr zuerr::ErrorSite kNamelessSite{zuerr::kWrongType, nullptr, "unit", 34};

/// Throws `error` and converts it into `status` as the boundary does.
template <typename Error>
void convert(zuerr_Status& status, const Error& error) {
    try {
        throw error;
    } catch (...) {
        zuerr::setStatusFromCurrentException(status);
    }
}

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

TEST(Conversion, OfTheLibrarysOwnErrorAddsNothing) {
    StatusHolder status;
    try {
        raise(kSite, {"message"});
    } catch (...) {
        zuerr::setStatusFromCurrentException(*status.get());
    }
    EXPECT_EQ(status->code, -52008);
    EXPECT_EQ(status.getText(), textOf(kSite, {"message"}));
}

TEST(Conversion, OfMissingMemoryIsMemoryFullAtLine62) {
    StatusHolder status;
    convert(*status.get(), std::bad_alloc());
    EXPECT_EQ(status->code, -52000);
    EXPECT_EQ(status.getText(),
              R"({"error_constant":"zuplaterr_memoryFull","file":"zuerr/tools/exception_errStatus","line":62,)"
              R"("component":"halvexTimekeeper","std_exception_what":"std::bad_alloc"})");
}

TEST(Conversion, OfAStandardExceptionIsASoftwareFaultAtLine69) {
    StatusHolder status;
    convert(*status.get(), std::out_of_range("stod"));
    EXPECT_EQ(status->code, -52003);
    EXPECT_EQ(status.getText(), R"({"error_constant":"zuplaterr_softwareFaultPLATInternalUseOnly",)"
                                R"("file":"zuerr/tools/exception_errStatus","line":69,"component":"halvexTimekeeper",)"
                                R"("std_exception_what":"stod"})");
}

TEST(Conversion, OfAnUnknownExceptionIsASoftwareFaultAtLine74WithoutAWhat) {
    StatusHolder status;
    convert(*status.get(), 42);
    EXPECT_EQ(status->code, -52003);
    EXPECT_EQ(status.getText(),
              R"({"error_constant":"zuplaterr_softwareFaultPLATInternalUseOnly",)"
              R"("file":"zuerr/tools/exception_errStatus","line":74,"component":"halvexTimekeeper"})");
}

TEST(Conversion, IntoAStatusWithAWarningAndATextLeavesOnlyTheNewMembers) {
    StatusHolder status;
    zuerr_setJson(status.get(), R"({"a":1})");
    status->code = 5;
    convert(*status.get(), std::bad_alloc());
    EXPECT_EQ(status->code, -52000);
    EXPECT_FALSE(status.getJson().contains("a"));
    EXPECT_EQ(status.getJson().at("error_constant"), "zuplaterr_memoryFull");
}

TEST(Conversion, IntoAStatusThatHoldsAnErrorChangesNothing) {
    StatusHolder status;
    zuerr_setJson(status.get(), R"({"a":1})");
    status->code = -1;
    convert(*status.get(), std::bad_alloc());
    EXPECT_EQ(status->code, -1);
    EXPECT_EQ(status.getText(), R"({"a":1})");
}

TEST(Conversion, SetsTheCodeWhenTheTextCannotGrow) {
    zuerr_Status status{0, 0, [](zuerr_Status*, std::uint32_t) { return false; }, nullptr};
    convert(status, std::runtime_error("lost"));
    EXPECT_EQ(status.code, -52003);
    EXPECT_EQ(status.json, nullptr);
}

TEST(CopyOfTheCurrentException, LeavesTheExceptionWhole) {
    try {
        try {
            raise(kSite, {"message"});
        } catch (...) {
            const zuerr::ExceptionBase copy = zuerr::copyCurrentException();
            EXPECT_EQ(copy.getJson(), textOf(kSite, {"message"}));
            throw;
        }
    } catch (const zuerr::Exception& error) {
        EXPECT_EQ(error.what(), textOf(kSite, {"message"}));
    }
}

TEST(CopyOfTheCurrentException, ConvertsAForeignOne) {
    try {
        throw std::bad_alloc();
    } catch (...) {
        EXPECT_EQ(zuerr::copyCurrentException().getCode(), -52000);
    }
}

}  // namespace
