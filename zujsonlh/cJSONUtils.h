// Tests the type of a JSON item and reads its value.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cjson/cJSON.h>

#include <string>

namespace zujsonlh {

// The item is never null. Threads: reentrant. The type must be exactly the one asked for, without further bits.
bool isNull(const cJSON* item) noexcept;
bool isNumber(const cJSON* item) noexcept;
bool isString(const cJSON* item) noexcept;

// Throw zuerr::Exception with the code -52004 for an item of another type.
std::string getString(const cJSON* item);
double getNumber(const cJSON* item);

}  // namespace zujsonlh
