// Writes error information into a status: one JSON object, extended in place.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "zuerr/zuerr_Status.h"

namespace zuerr {

/// A text in pieces, joined only once the buffer has room for it.
using TextPieces = std::initializer_list<std::string_view>;

/// Appends members to the JSON text of a status, in call order. Owns nothing. Threads: bound to the thread that uses
/// the status. Failure: never throws; a member that does not fit is dropped, and a dropped nested object drops all its
/// members.
class ErrorInformation {
public:
    /// Reserves room for "{}"; if that fails every member is dropped.
    explicit ErrorInformation(zuerr_Status& status) noexcept;

    void addString(std::string_view key, TextPieces value) noexcept;
    void addString(std::string_view key, std::string_view value) noexcept { addString(key, {value}); }
    void addSigned(std::string_view key, std::int32_t value) noexcept;
    void addUnsigned(std::string_view key, std::uint32_t value) noexcept;

    /// Opens a nested object under `key`: later members go into it until closeObject.
    void openObject(std::string_view key) noexcept;
    void closeObject() noexcept;

private:
    enum class Quotes : bool { none, around };

    bool insertMember(std::string_view key, TextPieces value, Quotes quotes) noexcept;
    char* makeRoom(std::size_t size) noexcept;
    bool isIntact() const noexcept;
    void giveUp() noexcept;

    zuerr_Status& status_;
    std::uint32_t length_ = 0;        ///< Bytes of text, without the NUL.
    std::uint32_t depth_ = 1;         ///< Open objects; the text ends with as many closing braces.
    std::uint32_t droppedDepth_ = 0;  ///< Open objects that did not fit.
    bool usable_ = false;
};

}  // namespace zuerr
