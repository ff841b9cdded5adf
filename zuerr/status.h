// The operations on a status: precedence of codes, its text, and handing one status over to another.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>

#include "zuerr/zuerr_Status.h"

// None of them throws. A null text buffer, a null reallocJson and a reallocJson that misbehaves are all survived: what
// does not fit is dropped, and the text stays one valid JSON object. Threads: reentrant; one status, one thread.

/// The growth function of every status that the library makes: 512 bytes at first, then powers of two.
bool zuerr_defaultReallocJson(zuerr_Status* status, std::uint32_t size) noexcept;

namespace zuerr {

/// A status with code 0, no text and the library's own growth function.
constexpr zuerr_Status makeStatus() noexcept { return {0, 0, zuerr_defaultReallocJson, nullptr}; }

/// Asks the status's own reallocJson for `size` bytes and believes the result, not the returned value alone.
bool growJson(zuerr_Status& status, std::uint32_t size) noexcept;

/// Frees the text through the status's own reallocJson.
void freeJson(zuerr_Status& status) noexcept;

/// Puts zero bytes and the closing 'J' behind a text of `length` bytes; needs capacity >= length + 2.
void layOutTail(zuerr_Status& status, std::uint32_t length) noexcept;

/// The text, or "null" when there is none: what log lines print.
const char* jsonOrNull(const zuerr_Status& status) noexcept;

/// "FAIL" below zero, "WARN" above zero, "PASS" at zero.
const char* severityWord(std::int32_t code) noexcept;

}  // namespace zuerr

/// Takes a new code by precedence: an error stays for good, a warning yields to an error, 0 is never taken. A code that
/// is taken resets an existing text to "{}". Returns whether the code was taken.
bool zuerr_setCode(zuerr_Status* status, std::int32_t code) noexcept;

/// Replaces the text by a copy of `text`, or by "{}" when it is null. False when the buffer could not grow or the text
/// is longer than 0x7FFFFFFD bytes; the old text then stays.
bool zuerr_setJson(zuerr_Status* status, const char* text) noexcept;

/// Sets the code of `source` into `destination`; when it is taken the text follows, moved when both use one growth
/// function and copied otherwise. `copied` (optional) reports whether the text arrived. Returns whether the code was
/// taken.
bool zuerr_merge(zuerr_Status* destination, zuerr_Status* source, bool* copied = nullptr) noexcept;
