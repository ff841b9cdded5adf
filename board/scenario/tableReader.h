// Reads the keys of one TOML table and rejects unknown ones.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#ifndef HALVEX_BOARD_SCENARIO_TABLEREADER_H
#define HALVEX_BOARD_SCENARIO_TABLEREADER_H

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include <toml++/toml.h>

namespace halvexboard {

/// Borrows a table for the length of a read. A missing key leaves its target unchanged. Thread-bound. Failure: throws
/// ScenarioError naming file, line, table and key. finish() rejects keys that were never read.
class TableReader {
public:
    TableReader(const toml::table& table, std::string name, std::string source);

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
    void require(const char* key) const;

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
};

template <std::size_t size>
void TableReader::characters(const char* key, char (&target)[size], const std::string& suffix) {
    copyCharacters(key, target, size, suffix);
}

}  // namespace halvexboard

#endif
