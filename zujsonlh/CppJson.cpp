// Owns one parsed JSON document.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zujsonlh/CppJson.h"

#include <locale.h>

#include "zuerr/codes.h"
#include "zuerr/exception.h"

namespace zujsonlh {
namespace {

constexpr zuerr::ErrorSite kNoJson{zuerr::zuplaterr_invalidParameter, "CppJson", 34};

/// Sets the C locale for this thread for a scope: cJSON parses numbers by the locale, which belongs to the host.
/// Threads: thread-bound. Failure: if no C locale can be made the host's stays in force.
class CLocale {
public:
    CLocale() noexcept : locale_(newlocale(LC_ALL_MASK, "C", nullptr)) {
        if (locale_ != nullptr) former_ = uselocale(locale_);
    }
    ~CLocale() {
        if (locale_ == nullptr) return;
        uselocale(former_);
        freelocale(locale_);
    }
    CLocale(const CLocale&) = delete;
    CLocale& operator=(const CLocale&) = delete;

private:
    locale_t locale_;
    locale_t former_ = nullptr;
};

}  // namespace

void CppJson::parse(const char* text) {
    reset();
    const CLocale cLocale;
    root_.reset(cJSON_Parse(text));
    if (root_ == nullptr) raise(kNoJson);
}

}  // namespace zujsonlh
