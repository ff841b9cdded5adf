// Every error code of the timekeeper explained: what it means, where it is raised and what helps.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace halvexctl {

/// Raised with whatever code the driver's answer, or the system's, became.
inline constexpr std::int32_t kCodeOfTheDriver = 0;

/// A place in the library that raises a code, as error information names it ("file" and "line").
struct ErrorPlace {
    std::int32_t code;
    std::string_view unit;
    std::int32_t line;
    std::string_view what;  ///< What had happened.
};

struct ErrorEntry {
    std::int32_t code;
    std::string_view name;  ///< As error information has it under "error_constant"; empty: none.
    std::string_view meaning;
    std::string_view
        systemErrors;  ///< Numbers of the system that become this code on the way through a driver, or empty.
    std::string_view remedy;
};

std::span<const ErrorEntry> errorEntries();  ///< By code, from -52000 downward.
std::span<const ErrorPlace> errorPlaces();

const ErrorEntry* findErrorEntry(std::int32_t code);                         ///< Null when there is no such code.
const ErrorEntry* findErrorEntry(std::string_view name);                     ///< Null when no code has that name.
const ErrorPlace* findErrorPlace(std::string_view unit, std::int32_t line);  ///< Null when nothing is raised there.

}  // namespace halvexctl
