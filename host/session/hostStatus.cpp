// The host's status structure and the buffer behind it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/session/hostStatus.h"

#include <cstdlib>
#include <cstring>

namespace halvexctl {
namespace {

constexpr std::uint32_t kGrowthBytes = 256;
constexpr std::uint32_t kLargestBytes = 0x7FFFFF00;

}  // namespace

bool reallocJson(zuerr_Status* status, std::uint32_t size) noexcept {
    if (size == 0) {
        std::free(status->json);
        status->json = nullptr;
        status->capacity = 0;
        return true;
    }
    if (size <= status->capacity) {
        return true;
    }
    if (size > kLargestBytes) {
        return false;
    }
    const std::uint32_t capacity = (size + kGrowthBytes - 1) / kGrowthBytes * kGrowthBytes;
    auto* buffer = static_cast<char*>(std::calloc(capacity, 1));
    if (buffer == nullptr) {
        return false;
    }
    const char* text = status->json == nullptr ? "{}" : status->json;
    std::memcpy(buffer, text, std::strlen(text));
    buffer[capacity - 1] = 'J';
    std::free(status->json);
    status->json = buffer;
    status->capacity = capacity;
    return true;
}

void HostStatus::clear() noexcept {
    reallocJson(&status_, 0);
    status_.code = 0;
}

}  // namespace halvexctl
