// Bytes of a time-stamp event, truncated or whole, and the fields of a timespec: against 128-bit arithmetic.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "fuzz/expectation.h"
#include "source/tools/linuxFunctionHelpers.h"
#include "source/zuHalvexTimekeeper/i210EpochHelpers.h"
#include "zuerr/exception.h"

namespace {

using namespace halvexTimekeeper;

const std::uint8_t* bytes;
std::size_t count;

/// Not during loading: the library's own table is made then.
void replaceRead() {
    osCalls().read = [](int, void* buffer, unsigned long length) -> long {
        const std::size_t given = std::min<std::size_t>(count, length);
        if (given > 0) std::memcpy(buffer, bytes, given);
        errno = 0;
        return static_cast<long>(given);
    };
}

void checkEvent() {
    std::int64_t seconds = 0;
    std::uint32_t nanoseconds = 0;
    if (count >= 32) {
        std::memcpy(&seconds, bytes, sizeof seconds);
        std::memcpy(&nanoseconds, bytes + 8, sizeof nanoseconds);
    }
    try {
        const std::int64_t time = i210EpochHelpers::readExtTsEvent(7, {"Failed on ", "eth0", "."});
        EXPECT(count >= 32);
        EXPECT(time == static_cast<std::int64_t>(static_cast<__int128>(seconds) * 1'000'000'000 + nanoseconds));
    } catch (const zuerr::Exception& error) {
        EXPECT(count < 32);
        EXPECT(error.getCode() == -52024);
    }
}

void checkTimespec() {
    timespec time{};
    if (count < sizeof time) return;
    std::memcpy(&time, bytes, sizeof time);
    const __int128 exact = static_cast<__int128>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
    const bool isValid = time.tv_sec >= 0 && time.tv_nsec >= 0 && time.tv_nsec <= 999'999'999 && exact >> 64 == 0;
    try {
        const QxmTimestamp converted = timespecToQxmTimestamp(time);
        EXPECT(isValid);
        EXPECT(static_cast<__int128>(converted) == exact);
    } catch (const zuerr::Exception& error) {
        EXPECT(!isValid);
        EXPECT(error.getCode() == -52008);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool isReplaced = (replaceRead(), true);
    EXPECT(isReplaced);
    bytes = data;
    count = size;
    checkEvent();
    checkTimespec();
    return 0;
}
