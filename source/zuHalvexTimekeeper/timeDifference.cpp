// The signed difference of two times.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/timeDifference.h"

#include "zuerr/codes.h"
#include "zuerr/exception.h"

namespace halvexTimekeeper {
namespace {

constexpr zuerr::ErrorSite kOverflow{zuerr::zuplaterr_osFault, "halvexTimekeeper", 58};

}  // namespace

std::int64_t timeDifferenceNs(QxmTimestamp time, QxmTimestamp reference) {
    const auto differenceNs = static_cast<std::int64_t>(time - reference);
    if ((differenceNs < 0) != (time < reference)) raise(kOverflow, {"Overflow/Underflow error occurred"});
    return differenceNs;
}

}  // namespace halvexTimekeeper
