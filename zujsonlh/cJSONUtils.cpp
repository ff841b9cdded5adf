// Tests the type of a JSON item and reads its value.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zujsonlh/cJSONUtils.h"

#include "zuerr/codes.h"
#include "zuerr/exception.h"

namespace zujsonlh {
namespace {

constexpr zuerr::ErrorSite kNoString{zuerr::kWrongType, "cJSONUtils", 305};
constexpr zuerr::ErrorSite kNoNumber{zuerr::kWrongType, "cJSONUtils", 281};

constexpr int kNullType = 4;
constexpr int kNumberType = 8;
constexpr int kStringType = 16;
static_assert(kNullType == cJSON_NULL && kNumberType == cJSON_Number && kStringType == cJSON_String);

}  // namespace

bool isNull(const cJSON* item) noexcept { return item->type == kNullType; }

bool isNumber(const cJSON* item) noexcept { return item->type == kNumberType; }

bool isString(const cJSON* item) noexcept { return item->type == kStringType; }

std::string getString(const cJSON* item) {
    if (!isString(item)) raise(kNoString);
    return item->valuestring;
}

double getNumber(const cJSON* item) {
    if (!isNumber(item)) raise(kNoNumber);
    return item->valuedouble;
}

}  // namespace zujsonlh
