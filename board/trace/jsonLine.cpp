// Builds one JSON object in a buffer of the caller's.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/trace/jsonLine.h"

#include <charconv>

namespace halvexboard {

namespace {

constexpr std::size_t kReserve = 64;  // room after a text for closing marks and short members
constexpr char kHexDigits[] = "0123456789abcdef";

}  // namespace

JsonLine::JsonLine(char* out, std::size_t capacity) : out_(out), capacity_(capacity) { put('{'); }

void JsonLine::put(char character) {
    if (length_ >= capacity_) {
        overflowed_ = true;
        return;
    }
    out_[length_++] = character;
}

void JsonLine::put(std::string_view characters) {
    for (const char character : characters) put(character);
}

void JsonLine::separate() {
    if (needsComma_) put(',');
    needsComma_ = true;
}

void JsonLine::putKey(const char* key) {
    separate();
    put('"');
    put(std::string_view(key));
    put("\":");
}

void JsonLine::number(const char* key, std::int64_t value) {
    putKey(key);
    needsComma_ = false;
    element(value);
}

void JsonLine::count(const char* key, std::uint64_t value) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    putKey(key);
    put(std::string_view(digits, static_cast<std::size_t>(end - digits)));
}

void JsonLine::flag(const char* key, bool value) {
    putKey(key);
    put(value ? std::string_view("true") : std::string_view("false"));
}

void JsonLine::nothing(const char* key) {
    putKey(key);
    put("null");
}

void JsonLine::text(const char* key, std::string_view value) {
    putKey(key);
    putString(value);
}

void JsonLine::hex(const char* key, const std::uint8_t* bytes, std::size_t size) {
    putKey(key);
    put('"');
    for (std::size_t at = 0; at < size; ++at) {
        put(kHexDigits[bytes[at] >> 4]);
        put(kHexDigits[bytes[at] & 15]);
    }
    put('"');
}

// Bytes above 127 pass unchanged: all texts of the board are UTF-8.
bool JsonLine::putEscaped(unsigned char character, std::size_t reserve) {
    if (length_ + 6 + reserve > capacity_) return false;
    if (character == '"' || character == '\\') {
        put('\\');
        put(static_cast<char>(character));
    } else if (character < 0x20) {
        put("\\u00");
        put(kHexDigits[character >> 4]);
        put(kHexDigits[character & 15]);
    } else {
        put(static_cast<char>(character));
    }
    return true;
}

void JsonLine::putString(std::string_view value) {
    put('"');
    for (const char character : value)
        if (!putEscaped(static_cast<unsigned char>(character), kReserve)) break;
    put('"');
}

void JsonLine::openObject(const char* key) {
    putKey(key);
    put('{');
    needsComma_ = false;
}

void JsonLine::closeObject() {
    put('}');
    needsComma_ = true;
}

void JsonLine::openArray(const char* key) {
    putKey(key);
    put('[');
    needsComma_ = false;
}

void JsonLine::closeArray() {
    put(']');
    needsComma_ = true;
}

void JsonLine::element(std::int64_t value) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    separate();
    put(std::string_view(digits, static_cast<std::size_t>(end - digits)));
}

void JsonLine::element(std::string_view value) {
    separate();
    putString(value);
}

std::size_t JsonLine::finish() {
    put("}\n");
    return overflowed_ ? 0 : length_;
}

}  // namespace halvexboard
