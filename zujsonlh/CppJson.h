// Owns one parsed JSON document.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cjson/cJSON.h>

#include <memory>

namespace zujsonlh {

struct ItemDeleter {
    void operator()(cJSON* item) const noexcept { cJSON_Delete(item); }
};

/// An item and all its children.
using OwnedItem = std::unique_ptr<cJSON, ItemDeleter>;

/// Owns the tree of a document; may hold none. Threads: one at a time. Failure: parse throws zuerr::Exception.
class CppJson {
public:
    CppJson() noexcept = default;
    explicit CppJson(const char* text) { parse(text); }

    /// Replaces the document with the one parsed from `text`; throws zuplaterr_invalidParameter and holds no document
    /// if that fails. The decimal separator is a point in every locale.
    void parse(const char* text);

    void reset() noexcept { root_.reset(); }

    /// The root of the document, or null if there is none. Lives as long as the document.
    cJSON* getRoot() const noexcept { return root_.get(); }

private:
    OwnedItem root_;
};

}  // namespace zujsonlh
