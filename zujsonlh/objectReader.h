// Looks up the members of a JSON object by their exact keys.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cjson/cJSON.h>

#include <vector>

#include "zujsonlh/CppJson.h"

namespace zujsonlh {

/// Detaches the members of an object for its own lifetime and puts them back in order. Owns them meanwhile; the object
/// must outlive the reader. Threads: one at a time. Failure: throws std::bad_alloc, with the object restored. A value
/// that is not an object reads as one without members.
class ObjectReader {
public:
    struct Member {
        bool isVisited;
        cJSON* item;  ///< Null for a key that was looked up and not found.
    };

    explicit ObjectReader(cJSON* object);
    ObjectReader(const ObjectReader&) = delete;
    ObjectReader& operator=(const ObjectReader&) = delete;
    ~ObjectReader();

    /// Makes the first member with exactly this key current; for a missing key `current` points to a null item.
    void find(const char* key);

    /// The members in document order, then one entry per failed lookup; each says whether it was looked up.
    const std::vector<Member>& getMembers() const noexcept { return members_; }

    cJSON** current = nullptr;  ///< Result of the last lookup; null before the first.

private:
    cJSON* object_;
    [[maybe_unused]] int index_ = -1;  // Kept on purpose: never read.
    std::vector<Member> members_;
    OwnedItem keyHolder_;
    OwnedItem nullItem_;
};

}  // namespace zujsonlh
