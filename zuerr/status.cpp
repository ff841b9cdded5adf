// Operations on a status: precedence of codes, error text, merging.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuerr/status.h"

#include <bit>
#include <cstdlib>
#include <cstring>

namespace {

constexpr std::uint32_t kSmallestBuffer = 512;
constexpr std::uint32_t kLargestSize = 0x7FFFFFFF;
constexpr std::size_t kLongestText = 0x7FFFFFFD;
constexpr std::uint32_t kEmptyObjectRoom = 4;  // "{}", its NUL and the closing 'J'

/// The only caller of the host's reallocJson; treats an exception as failure.
bool callReallocJson(zuerr_Status& status, std::uint32_t size) noexcept {
    if (status.reallocJson == nullptr) return false;
    try {
        return status.reallocJson(&status, size);
    } catch (...) {
        return false;
    }
}

/// Drops the text of the replaced code.
void resetJson(zuerr_Status& status) noexcept {
    if (status.capacity >= kEmptyObjectRoom || zuerr::growJson(status, kEmptyObjectRoom)) {
        std::memcpy(status.json, "{}", 2);
        zuerr::layOutTail(status, 2);
    } else if (status.json != nullptr && status.capacity == sizeof "{}") {
        std::memcpy(status.json, "{}", sizeof "{}");  // no room for the 'J': the text cannot grow
    } else if (status.json != nullptr && status.capacity > 0) {
        status.json[0] = '\0';
    }
}

}  // namespace

bool zuerr_defaultReallocJson(zuerr_Status* status, std::uint32_t size) noexcept {
    if (size == 0) {
        std::free(status->json);
        status->capacity = 0;
        status->json = nullptr;
        return true;
    }
    if (size <= status->capacity) return true;
    if (size > kLargestSize) return false;

    const std::uint32_t capacity = size <= kSmallestBuffer ? kSmallestBuffer : std::bit_ceil(size);
    auto* const buffer = static_cast<char*>(std::malloc(capacity));
    if (buffer == nullptr) return false;

    const char* const text = status->json != nullptr ? status->json : "{}";
    const std::size_t length = std::strlen(text);
    if (length + 2 > capacity) {  // only if the capacity understates the text
        std::free(buffer);
        return false;
    }
    std::memcpy(buffer, text, length);
    std::free(status->json);
    status->json = buffer;
    status->capacity = capacity;
    zuerr::layOutTail(*status, static_cast<std::uint32_t>(length));
    return true;
}

namespace zuerr {

bool growJson(zuerr_Status& status, std::uint32_t size) noexcept {
    if (!callReallocJson(status, size)) return false;
    return status.json != nullptr && status.capacity >= size;
}

void freeJson(zuerr_Status& status) noexcept { callReallocJson(status, 0); }

void layOutTail(zuerr_Status& status, std::uint32_t length) noexcept {
    std::memset(status.json + length, 0, status.capacity - 1 - length);
    status.json[status.capacity - 1] = 'J';
}

const char* jsonOrNull(const zuerr_Status& status) noexcept { return status.json != nullptr ? status.json : "null"; }

const char* severityWord(std::int32_t code) noexcept { return code < 0 ? "FAIL" : code > 0 ? "WARN" : "PASS"; }

}  // namespace zuerr

bool zuerr_setCode(zuerr_Status* status, std::int32_t code) noexcept {
    const bool taken = code != 0 && status->code >= 0 && (status->code == 0 || code < 0);
    if (!taken) return false;
    status->code = code;
    if (status->json != nullptr) resetJson(*status);
    return true;
}

bool zuerr_setJson(zuerr_Status* status, const char* text) noexcept {
    if (text == nullptr) text = "{}";
    const std::size_t length = std::strlen(text);
    if (length > kLongestText) return false;
    if (!zuerr::growJson(*status, static_cast<std::uint32_t>(length + 2))) return false;
    std::memcpy(status->json, text, length);
    zuerr::layOutTail(*status, static_cast<std::uint32_t>(length));
    return true;
}

bool zuerr_merge(zuerr_Status* destination, zuerr_Status* source, bool* copied) noexcept {
    if (copied != nullptr) *copied = true;
    if (!zuerr_setCode(destination, source->code)) return false;

    if (destination->reallocJson == source->reallocJson && source->reallocJson != nullptr) {
        zuerr::freeJson(*destination);
        destination->json = source->json;
        destination->capacity = source->capacity;
        source->json = nullptr;
        source->capacity = 0;
        return true;
    }
    const bool arrived = zuerr_setJson(destination, source->json);
    if (copied != nullptr) *copied = arrived;
    return true;
}
