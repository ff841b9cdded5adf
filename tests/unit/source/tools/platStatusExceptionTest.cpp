// Platform statuses as exceptions.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/tools/platStatusException.h"

#include "tests/support/raisedError.h"

namespace halvexTimekeeper::platStatusExceptionTest {

using nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PlatStatus;
using nHALVEXTIMEKEEPER_18_1::nZUPLAT000::setCode;
using namespace testsupport;

constexpr DriverCallSite kSite{"Unable to knit ", "someUnit", 17};
constexpr DriverCallSite kKeptSite{"Unable to purl ", "someUnit", 18};
const std::string kDevice = "someDevice";

struct PlatStatusException : testing::Test {
    RaisedError raised() const {
        return raisedBy([this] { throwIfPlatformFailed(status); });
    }
    RaisedError raisedForDriver() const {
        return raisedBy([this] { throwIfDriverFailed<kSite>(status, kDevice); });
    }
    PlatStatus status;
};

TEST_F(PlatStatusException, CarriesTheRecordsLocation) {
    setCode(&status, -52008, "halvexTimekeeper", "synchronization", 1717);
    EXPECT_EQ(raised(), (RaisedError{-52008, R"({"file":"synchronization","line":1717,"component":"halvexTim"})"}));
}

TEST_F(PlatStatusException, IsNotThrownForSuccessOrAWarning) {
    EXPECT_EQ(raised(), RaisedError{});
    setCode(&status, 5, "part", "unit", 1);
    EXPECT_EQ(raised(), RaisedError{});
    EXPECT_EQ(raisedForDriver(), RaisedError{});
}

TEST_F(PlatStatusException, LeavesOutAnEmptyFileAndAnEmptyComponent) {
    setCode(&status, -1, "part", "", 3);
    EXPECT_EQ(raised(), (RaisedError{-1, R"({"line":3,"component":"part"})"}));
    status = PlatStatus();
    setCode(&status, -1, "", "unit", 3);
    EXPECT_EQ(raised(), (RaisedError{-1, R"({"file":"unit","line":3})"}));
}

TEST_F(PlatStatusException, PrintsTheLineUnsigned) {
    setCode(&status, -1, "", "", 0xFFFFFFFF);
    EXPECT_EQ(raised(), (RaisedError{-1, R"({"line":4294967295})"}));
}

TEST_F(PlatStatusException, CarriesTheCodeAloneForARecordThatDeclaresASmallerSize) {
    setCode(&status, -52008, "part", "unit", 1);
    status.structureSize = 215;
    EXPECT_EQ(raised(), (RaisedError{-52008, ""}));
}

TEST_F(PlatStatusException, IsNotThrownWhileAnotherExceptionUnwinds) {
    setCode(&status, -52008, "part", "unit", 1);
    struct ChecksOnItsWayOut {
        ~ChecksOnItsWayOut() noexcept(false) { throwIfPlatformFailed(status); }
        const PlatStatus& status;
    };
    const auto unwind = [this] {
        const ChecksOnItsWayOut check{status};
        throw 1;
    };
    EXPECT_THROW(unwind(), int);
}

TEST_F(PlatStatusException, OfADriverCallCarriesTheSiteAndTheMessage) {
    setCode(&status, -52031, "part", "unit", 1);
    EXPECT_EQ(raisedForDriver(), makeError({-52031, "status.getCode()", "someUnit", 17}, "Unable to knit someDevice"));
}

TEST_F(PlatStatusException, OfADriverCallKeepsTheMessageThatItsSiteWasFirstUsedWith) {
    setCode(&status, -52031, "part", "unit", 1);
    const RaisedError first = makeError({-52031, "status.getCode()", "someUnit", 18}, "Unable to purl first");
    EXPECT_EQ(raisedBy([this] { throwIfDriverFailed<kKeptSite>(status, "first"); }), first);
    EXPECT_EQ(raisedBy([this] { throwIfDriverFailed<kKeptSite>(status, "second"); }), first);
}

TEST(DriverMessageTest, IsCutAt55Characters) {
    EXPECT_EQ(DriverMessage(std::string(40, 'a'), std::string(30, 'b')).get(),
              std::string(40, 'a') + std::string(15, 'b'));
    EXPECT_EQ(DriverMessage(std::string(70, 'a'), "b").get(), std::string(55, 'a'));
}

}  // namespace halvexTimekeeper::platStatusExceptionTest
