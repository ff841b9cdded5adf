// Writes error information into a status: one JSON object, edited in place, member by member.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "zuerr/zuerr_Status.h"

namespace zuerr {

/// A text given in pieces, so that nothing is joined before the buffer that keeps it is known to have room.
using TextPieces = std::initializer_list<std::string_view>;

/// Appends members to the JSON text of a status, in the order of the calls. Owns nothing. Threads: bound to the thread
/// that uses the status. Failure: never throws; a member for which the buffer cannot grow is dropped whole, and the
/// members of a nested object that was dropped are dropped with it.
class ErrorInformation {
public:
    /// Asks for room for "{}"; without it every member is dropped.
    explicit ErrorInformation(zuerr_Status& status) noexcept;

    void addString(std::string_view key, TextPieces value) noexcept;
    void addString(std::string_view key, std::string_view value) noexcept { addString(key, {value}); }
    void addSigned(std::string_view key, std::int32_t value) noexcept;
    void addUnsigned(std::string_view key, std::uint32_t value) noexcept;

    /// Opens a nested object under `key`: what is added from here on goes inside it, until closeObject.
    void openObject(std::string_view key) noexcept;
    void closeObject() noexcept;

private:
    enum class Quotes : bool { none, around };

    bool insertMember(std::string_view key, TextPieces value, Quotes quotes) noexcept;
    char* makeRoom(std::size_t size) noexcept;
    bool isIntact() const noexcept;
    void giveUp() noexcept;

    zuerr_Status& status_;
    std::uint32_t length_ = 0;        ///< Bytes of text, the NUL not counted.
    std::uint32_t depth_ = 1;         ///< Open objects, each closed by one of the last bytes of the text.
    std::uint32_t droppedDepth_ = 0;  ///< Open objects that found no room.
    bool usable_ = false;
};

}  // namespace zuerr
