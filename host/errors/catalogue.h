// Catalogue of the timekeeper's error codes: meaning, source and remedy.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace halvexctl {

/// Raised with the code derived from the driver's or the system's error.
inline constexpr std::int32_t kCodeOfTheDriver = 0;

/// A place in the library that raises a code, as named in error information ("file" and "line").
struct ErrorPlace {
    std::int32_t code;
    std::string_view unit;
    std::int32_t line;
    std::string_view what;  ///< What failed.
};

struct ErrorEntry {
    std::int32_t code;
    std::string_view name;  ///< "error_constant" of the error information; empty: none.
    std::string_view meaning;
    std::string_view systemErrors;  ///< errno values that a driver call maps to this code, or empty.
    std::string_view remedy;
};

/// A line that the library writes to syslog, as its format: %s, %d and %i stand for names and numbers.
struct LogLineEntry {
    std::string_view format, priority, cause, remedy;
};

std::span<const ErrorEntry> errorEntries();  ///< By code, from -52000 downward.
std::span<const ErrorPlace> errorPlaces();
std::span<const LogLineEntry> logLineEntries();

const ErrorEntry* findErrorEntry(std::int32_t code);                         ///< Null if there is no such code.
const ErrorEntry* findErrorEntry(std::string_view name);                     ///< Null if no code has that name.
const ErrorPlace* findErrorPlace(std::string_view unit, std::int32_t line);  ///< Null if nothing is raised there.
const LogLineEntry* findLogLine(const std::string& text);  ///< The line at the end of `text`; null if there is none.

}  // namespace halvexctl
