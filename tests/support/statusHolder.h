// A host's status that frees its text, and growth functions with different behaviour.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <nlohmann/json.hpp>

#include "tests/support/standard.h"
#include "zuerr/zuerr_Status.h"

namespace testsupport {

/// Grows to exactly the requested size, laid out as the contract says.
inline bool exactReallocJson(zuerr_Status* status, std::uint32_t size) {
    if (size == 0) {
        std::free(status->json);
        status->json = nullptr;
        status->capacity = 0;
        return true;
    }
    if (size <= status->capacity) return true;
    const std::string text = status->json != nullptr ? status->json : "{}";
    auto* const buffer = static_cast<char*>(std::calloc(1, size));
    if (buffer == nullptr) return false;
    std::memcpy(buffer, text.data(), text.size());
    buffer[size - 1] = 'J';
    std::free(status->json);
    status->json = buffer;
    status->capacity = size;
    return true;
}

/// A host's status; frees its text at scope exit.
class StatusHolder {
public:
    explicit StatusHolder(std::int32_t code = 0, zuerr_ReallocJson reallocJson = exactReallocJson)
        : status_{code, 0, reallocJson, nullptr} {}
    ~StatusHolder() {
        if (status_.reallocJson != nullptr) status_.reallocJson(&status_, 0);
    }
    StatusHolder(const StatusHolder&) = delete;
    StatusHolder& operator=(const StatusHolder&) = delete;

    zuerr_Status* get() { return &status_; }
    zuerr_Status* operator->() { return &status_; }
    std::string getText() const { return status_.json != nullptr ? status_.json : ""; }
    nlohmann::ordered_json getJson() const { return nlohmann::ordered_json::parse(getText()); }
    std::string getMessage() const { return getJson().at("zuhalvexTimekeeper_debug").at("errorInfo"); }

private:
    zuerr_Status status_;
};

/// Whether the buffer is laid out as the contract says: text, NUL, zero bytes, 'J' in the last byte.
inline bool isBufferLaidOut(const zuerr_Status& status) {
    if (status.json == nullptr) return status.capacity == 0;
    const std::size_t length = std::strlen(status.json);
    if (length + 2 > status.capacity || status.json[status.capacity - 1] != 'J') return false;
    for (std::size_t position = length; position + 1 < status.capacity; ++position) {
        if (status.json[position] != '\0') return false;
    }
    return true;
}

}  // namespace testsupport
