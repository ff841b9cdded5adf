// Owns one parsed JSON document.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cjson/cJSON.h>

#include <memory>

namespace zujsonlh {

struct ItemDeleter {
    void operator()(cJSON* item) const noexcept { cJSON_Delete(item); }
};

/// An item with everything below it.
using OwnedItem = std::unique_ptr<cJSON, ItemDeleter>;

/// Owns the tree of a document; holding none is a valid state. Threads: one at a time. Failure: parse throws
/// zuerr::Exception.
class CppJson {
public:
    CppJson() noexcept = default;
    explicit CppJson(const char* text) { parse(text); }

    /// Replaces the document by the one in `text`; zuplaterr_invalidParameter, and no document, when it cannot be
    /// parsed. Numbers are read with a decimal point whatever locale is set.
    void parse(const char* text);

    void reset() noexcept { root_.reset(); }

    /// The top of the document; null when there is none. It lives as long as the document.
    cJSON* getRoot() const noexcept { return root_.get(); }

private:
    OwnedItem root_;
};

}  // namespace zujsonlh
