// Reads the keys of one TOML table and rejects unknown ones.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include <toml++/toml.h>

namespace halvexboard {

/// One key that a reader asks a table for.
struct KnownKey {
    std::string table, key;
    std::string kind;       ///< "duration", "true or false", "0 to 2" ...
    std::string otherwise;  ///< Its value when not given, as a scenario would say it; or "required".
};

/// Borrows a table for the length of a read. A missing key leaves its target unchanged. Thread-bound. Failure: throws
/// ScenarioError naming file, line, table and key. finish() rejects keys that were never read.
class TableReader {
public:
    /// Every key asked for is added to `described`, if there is one, with what it takes.
    TableReader(const toml::table& table, std::string name, std::string source,
                std::vector<KnownKey>* described = nullptr);

    bool has(const char* key) const;
    void duration(const char* key, std::int64_t& target, std::int64_t least = std::numeric_limits<std::int64_t>::min());
    void delay(const char* key, std::uint64_t& target);  ///< A non-negative duration.
    void ppb(const char* key, std::int64_t& targetPpt);  ///< An integer or a decimal number, in ppb.
    void flag(const char* key, std::uint8_t& target);
    std::int64_t integer(const char* key, std::int64_t otherwise, std::int64_t least, std::int64_t most);
    std::string text(const char* key, const std::string& otherwise);
    /// Like text(), into a NUL-terminated array; throws if too long.
    template <std::size_t size>
    void characters(const char* key, char (&target)[size], const std::string& suffix = "");
    const toml::node* node(const char* key);  ///< Marks the key as known; null if absent.
    void require(const char* key);
    /// For a key read in another way than its functions below say; the first description of a key stays.
    void describe(const char* key, const std::string& kind, const std::string& otherwise);

    void finish() const;
    std::uint32_t line() const;
    [[noreturn]] void refuse(const char* key, const std::string& why) const;  ///< About a key, at its line.
    [[noreturn]] void refuse(const std::string& why) const;                   ///< About the table.

private:
    void copyCharacters(const char* key, char* target, std::size_t size, const std::string& suffix);

    const toml::table& table_;
    std::string name_;
    std::string source_;
    std::vector<std::string_view> known_;
    std::vector<std::string_view> required_;
    std::vector<KnownKey>* described_;
};

template <std::size_t size>
void TableReader::characters(const char* key, char (&target)[size], const std::string& suffix) {
    copyCharacters(key, target, size, suffix);
}

}  // namespace halvexboard
