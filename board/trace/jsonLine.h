// Builds one JSON object in a buffer of the caller's.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace halvexboard {

/// Writes members in call order. Owns nothing. Thread-bound. Failure: if something does not fit finish() returns 0,
/// except that a long text is truncated so that the line stays whole.
class JsonLine {
public:
    JsonLine(char* out, std::size_t capacity);

    void number(const char* key, std::int64_t value);
    void count(const char* key, std::uint64_t value);
    void flag(const char* key, bool value);
    void text(const char* key, std::string_view value);
    void nothing(const char* key);  ///< null
    void hex(const char* key, const std::uint8_t* bytes, std::size_t size);

    void openObject(const char* key);
    void closeObject();
    void openArray(const char* key);
    void closeArray();
    void element(std::int64_t value);
    void element(std::string_view value);

    std::size_t finish();  ///< Closes the object, adds a newline; returns the length, or 0 if something did not fit.

private:
    void put(char character);
    void put(std::string_view characters);
    void putKey(const char* key);
    void putString(std::string_view value);
    bool putEscaped(unsigned char character, std::size_t reserve);
    void separate();

    char* out_;
    std::size_t capacity_;
    std::size_t length_ = 0;
    bool needsComma_ = false;
    bool overflowed_ = false;
};

}  // namespace halvexboard
