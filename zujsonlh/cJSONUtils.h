// Tests the type of a JSON item and reads its value.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cjson/cJSON.h>

#include <string>

namespace zujsonlh {

// The item must not be null. Threads: reentrant. The type must match exactly, without additional bits.
bool isNull(const cJSON* item) noexcept;
bool isNumber(const cJSON* item) noexcept;
bool isString(const cJSON* item) noexcept;

// Throw zuerr::Exception with code -52004 if the item has another type.
std::string getString(const cJSON* item);
double getNumber(const cJSON* item);

}  // namespace zujsonlh
