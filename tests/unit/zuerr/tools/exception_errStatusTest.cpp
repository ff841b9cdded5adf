// Conversion of exceptions into statuses.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuerr/tools/exception_errStatus.h"

#include "tests/support/raisedError.h"
#include "tests/support/statusHolder.h"
#include "zuerr/codes.h"
#include "zuerr/status.h"

namespace exception_errStatusTest {

using namespace testsupport;

constexpr zuerr::ErrorSite kSite{zuerr::zuplaterr_osFault, "unit", 12};
constexpr ExpectedSite kExpected{-52008, "zuplaterr_osFault", "unit", 12};

/// Throws `error` and converts it into `status` like the exported functions.
template <typename Error>
void convert(zuerr_Status& status, const Error& error) {
    try {
        throw error;
    } catch (...) {
        zuerr::setStatusFromCurrentException(status);
    }
}

TEST(Conversion, OfTheLibrarysOwnErrorAddsNothing) {
    StatusHolder status;
    try {
        raise(kSite, {"message"});
    } catch (...) {
        zuerr::setStatusFromCurrentException(*status.get());
    }
    EXPECT_EQ(status->code, -52008);
    EXPECT_EQ(status.getText(), makeError(kExpected, "message").information);
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
            EXPECT_EQ(copy.getJson(), makeError(kExpected, "message").information);
            throw;
        }
    } catch (const zuerr::Exception& error) {
        EXPECT_EQ(error.what(), makeError(kExpected, "message").information);
    }
}

TEST(CopyOfTheCurrentException, ConvertsAForeignOne) {
    try {
        throw std::bad_alloc();
    } catch (...) {
        EXPECT_EQ(zuerr::copyCurrentException().getCode(), -52000);
    }
}

}  // namespace exception_errStatusTest
