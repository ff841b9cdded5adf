// Looks up the members of a JSON object by their exact keys.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cjson/cJSON.h>

#include <vector>

#include "zujsonlh/CppJson.h"

namespace zujsonlh {

/// Takes the members out of an object while it lives and puts them back, in their order, when it goes. Owns the members
/// meanwhile; the object outlives it. Threads: one at a time. Failure: std::bad_alloc, with the object whole again. A
/// value that is no object reads as one without the member asked for.
class ObjectReader {
public:
    struct Member {
        bool isVisited;
        cJSON* item;  ///< Null for a key that was looked up and is not there.
    };

    explicit ObjectReader(cJSON* object);
    ObjectReader(const ObjectReader&) = delete;
    ObjectReader& operator=(const ObjectReader&) = delete;
    ~ObjectReader();

    /// Makes the first member with exactly this key current. For a key that is missing `current` leads to a null item.
    void find(const char* key);

    /// The members in document order, then an entry for every lookup that found nothing; and which of them were asked
    /// for.
    const std::vector<Member>& getMembers() const noexcept { return members_; }

    cJSON** current = nullptr;  ///< The slot of the member found last, until the next lookup; null before the first.

private:
    cJSON* object_;
    [[maybe_unused]] int index_ = -1;  // Kept on purpose: never read.
    std::vector<Member> members_;
    OwnedItem keyHolder_;
    OwnedItem nullItem_;
};

}  // namespace zujsonlh
