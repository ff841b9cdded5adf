// Operations on a status: precedence of codes, error text, merging.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>

#include "zuerr/zuerr_Status.h"

// None of them throws. A null text buffer, a null reallocJson and a misbehaving reallocJson are tolerated: what does
// not fit is dropped, and the text stays one valid JSON object. Threads: reentrant; one thread per status.

/// The growth function of the library's own statuses: 512 bytes at first, then powers of two.
bool zuerr_defaultReallocJson(zuerr_Status* status, std::uint32_t size) noexcept;

namespace zuerr {

/// A status with code 0, no text and the library's own growth function.
constexpr zuerr_Status makeStatus() noexcept { return {0, 0, zuerr_defaultReallocJson, nullptr}; }

/// Asks the status's reallocJson for `size` bytes; checks the resulting buffer, not only the return value.
bool growJson(zuerr_Status& status, std::uint32_t size) noexcept;

/// Frees the text through the status's own reallocJson.
void freeJson(zuerr_Status& status) noexcept;

/// Puts zero bytes and the closing 'J' behind a text of `length` bytes; needs capacity >= length + 2.
void layOutTail(zuerr_Status& status, std::uint32_t length) noexcept;

/// The text for log lines, "null" if there is none.
const char* jsonOrNull(const zuerr_Status& status) noexcept;

/// "FAIL" below zero, "WARN" above zero, "PASS" at zero.
const char* severityWord(std::int32_t code) noexcept;

}  // namespace zuerr

/// Sets a code by precedence: an error is never overwritten, a warning yields to an error, 0 is ignored. A new code
/// resets an existing text to "{}". Returns whether the code was set.
bool zuerr_setCode(zuerr_Status* status, std::int32_t code) noexcept;

/// Replaces the text with a copy of `text`, or with "{}" if it is null. Returns false, keeping the old text, if the
/// buffer cannot grow or the text is longer than 0x7FFFFFFD bytes.
bool zuerr_setJson(zuerr_Status* status, const char* text) noexcept;

/// Sets the code of `source` in `destination` by precedence; if it is set the text follows, moved if both use the same
/// growth function, else copied. `copied` (optional) reports whether the text arrived. Returns whether the code was
/// set.
bool zuerr_merge(zuerr_Status* destination, zuerr_Status* source, bool* copied = nullptr) noexcept;
