// Looks up the members of a JSON object by their exact keys.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zujsonlh/objectReader.h"

#include <cstring>
#include <new>

namespace zujsonlh {
namespace {

OwnedItem requireMemory(cJSON* item) {
    if (item == nullptr) throw std::bad_alloc();
    return OwnedItem(item);
}

/// Elements of an array have no keys.
bool hasKey(const cJSON* item, const char* key) noexcept {
    return item != nullptr && item->string != nullptr && std::strcmp(item->string, key) == 0;
}

}  // namespace

ObjectReader::ObjectReader(cJSON* object)
    : object_(object), keyHolder_(requireMemory(cJSON_CreateObject())), nullItem_(requireMemory(cJSON_CreateNull())) {
    const int count = cJSON_GetArraySize(object_);
    members_.reserve(static_cast<std::size_t>(count));
    while (cJSON* const item = cJSON_DetachItemFromArray(object_, 0)) members_.push_back({false, item});
}

ObjectReader::~ObjectReader() {
    for (const Member& member : members_) {
        if (member.item != nullptr) cJSON_AddItemToArray(object_, member.item);
    }
}

void ObjectReader::find(const char* key) {
    // 1. Find the first member with exactly this key; cJSON's own lookup ignores case.
    for (Member& member : members_) {
        if (!hasKey(member.item, key)) continue;
        member.isVisited = true;
        current = &member.item;
        return;
    }

    // 2. Missing: the null item takes the key, and an entry without an item records the lookup.
    cJSON_AddItemToObject(keyHolder_.get(), key, nullItem_.get());
    if (keyHolder_->child != nullItem_.get()) throw std::bad_alloc();  // the key could not be copied
    cJSON_DetachItemViaPointer(keyHolder_.get(), nullItem_.get());
    members_.push_back({true, nullptr});
    current = &members_.back().item;
}

}  // namespace zujsonlh
