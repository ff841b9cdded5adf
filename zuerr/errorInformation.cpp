// Writes error information into a status: one JSON object, extended in place.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuerr/errorInformation.h"

#include <charconv>
#include <cstring>
#include <limits>

#include "zuerr/status.h"

namespace zuerr {
namespace {

constexpr std::uint32_t kEmptyObjectRoom = 4;  // "{}", its NUL and the closing 'J'

/// The letter of the short escape, or 0 if the character needs none or the long form.
constexpr char shortEscape(char character) noexcept {
    switch (character) {
        case '\b':
            return 'b';
        case '\t':
            return 't';
        case '\n':
            return 'n';
        case '\f':
            return 'f';
        case '\r':
            return 'r';
        case '"':
            return '"';
        case '\\':
            return '\\';
        default:
            return 0;
    }
}

constexpr bool needsLongEscape(char character) noexcept { return static_cast<unsigned char>(character) < 0x20; }

std::size_t escapedLength(std::string_view text) noexcept {
    std::size_t length = 0;
    for (const char character : text) length += shortEscape(character) != 0 ? 2U : needsLongEscape(character) ? 6U : 1U;
    return length;
}

char* writeEscaped(char* out, std::string_view text) noexcept {
    constexpr char kHexDigits[] = "0123456789abcdef";
    for (const char character : text) {
        if (const char letter = shortEscape(character); letter != 0) {
            *out++ = '\\';
            *out++ = letter;
        } else if (needsLongEscape(character)) {
            const auto value = static_cast<unsigned char>(character);
            std::memcpy(out, "\\u00", 4);
            out[4] = kHexDigits[value >> 4];
            out[5] = kHexDigits[value & 0xF];
            out += 6;
        } else {
            *out++ = character;
        }
    }
    return out;
}

/// Free bytes between the text's NUL and the closing 'J'.
std::size_t freeBytes(const zuerr_Status& status, std::uint32_t length) noexcept {
    if (status.json == nullptr || length + 1 >= status.capacity) return 0;
    const char* const firstFree = status.json + length + 1;
    const void* const end = std::memchr(firstFree, 'J', status.capacity - length - 1);
    return end == nullptr ? 0 : static_cast<std::size_t>(static_cast<const char*>(end) - firstFree);
}

}  // namespace

ErrorInformation::ErrorInformation(zuerr_Status& status) noexcept : status_(status) {
    const bool isFresh = status.json == nullptr;
    if (!growJson(status, kEmptyObjectRoom)) return;
    if (isFresh) {
        std::memcpy(status.json, "{}", 2);
        layOutTail(status, 2);
    }
    length_ = static_cast<std::uint32_t>(strnlen(status.json, status.capacity));
    usable_ = isIntact();
    if (!usable_) giveUp();
}

void ErrorInformation::addString(std::string_view key, TextPieces value) noexcept {
    insertMember(key, value, Quotes::around);
}

void ErrorInformation::addSigned(std::string_view key, std::int32_t value) noexcept {
    char digits[std::numeric_limits<std::int32_t>::digits10 + 2];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    insertMember(key, {{digits, static_cast<std::size_t>(end - digits)}}, Quotes::none);
}

void ErrorInformation::addUnsigned(std::string_view key, std::uint32_t value) noexcept {
    char digits[std::numeric_limits<std::uint32_t>::digits10 + 1];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    insertMember(key, {{digits, static_cast<std::size_t>(end - digits)}}, Quotes::none);
}

void ErrorInformation::openObject(std::string_view key) noexcept {
    if (droppedDepth_ == 0 && insertMember(key, {"{}"}, Quotes::none)) {
        ++depth_;
    } else {
        ++droppedDepth_;
    }
}

void ErrorInformation::closeObject() noexcept {
    if (droppedDepth_ > 0) {
        --droppedDepth_;
    } else {
        --depth_;
    }
}

bool ErrorInformation::insertMember(std::string_view key, TextPieces value, Quotes quotes) noexcept {
    if (!usable_ || droppedDepth_ > 0) return false;
    const bool isQuoted = quotes == Quotes::around;
    const bool isFirst = status_.json[length_ - depth_ - 1] == '{';

    // 1. Compute the member's size: the comma, the quoted key, the colon and the value.
    std::size_t size = (isFirst ? 0 : 1) + escapedLength(key) + 3 + (isQuoted ? 2 : 0);
    for (const std::string_view piece : value) size += isQuoted ? escapedLength(piece) : piece.size();

    // 2. Make room before the closing braces, or drop the member.
    char* out = makeRoom(size);
    if (out == nullptr) return false;

    // 3. Write the member.
    if (!isFirst) *out++ = ',';
    *out++ = '"';
    out = writeEscaped(out, key);
    *out++ = '"';
    *out++ = ':';
    if (isQuoted) *out++ = '"';
    for (const std::string_view piece : value) {
        if (isQuoted) {
            out = writeEscaped(out, piece);
        } else {
            std::memcpy(out, piece.data(), piece.size());
            out += piece.size();
        }
    }
    if (isQuoted) *out = '"';
    return true;
}

/// Opens a gap of `size` bytes before the closing braces and returns its start, or null if the buffer cannot grow.
char* ErrorInformation::makeRoom(std::size_t size) noexcept {
    while (freeBytes(status_, length_) < size) {
        const std::uint32_t before = status_.capacity;
        const std::uint64_t wanted = 2 * std::uint64_t{before} - 2;
        if (wanted > std::numeric_limits<std::uint32_t>::max()) return nullptr;
        if (!growJson(status_, static_cast<std::uint32_t>(wanted)) || status_.capacity <= before) return nullptr;
        if (!isIntact()) {
            giveUp();
            return nullptr;
        }
        layOutTail(status_, length_);  // the host's reallocJson may not have laid it out
    }
    char* const gap = status_.json + length_ - depth_;
    std::memmove(gap + size, gap, depth_ + 1);
    length_ += static_cast<std::uint32_t>(size);
    return gap;
}

/// Whether the buffer still holds the text written here: same length, start and end.
bool ErrorInformation::isIntact() const noexcept {
    if (length_ < 2 || length_ + 2 > status_.capacity) return false;
    if (strnlen(status_.json, status_.capacity) != length_ || status_.json[0] != '{') return false;
    for (std::uint32_t brace = 1; brace <= depth_; ++brace) {
        if (status_.json[length_ - brace] != '}') return false;
    }
    return true;
}

/// The buffer was modified elsewhere: replace its text with an empty object.
void ErrorInformation::giveUp() noexcept {
    usable_ = false;
    if (status_.json == nullptr || status_.capacity < kEmptyObjectRoom) return;
    std::memcpy(status_.json, "{}", 2);
    layOutTail(status_, 2);
}

}  // namespace zuerr
