// The library's only exception type, and how to raise it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <exception>

#include "zuerr/errorInformation.h"
#include "zuerr/zuerr_Status.h"

namespace zuerr {

/// Carries a status. Owns its text. Threads: an exception belongs to the thread that handles it. Failure: nothing here
/// throws; a copy made without enough memory keeps the code and loses the text.
class ExceptionBase {
public:
    ExceptionBase() noexcept;
    explicit ExceptionBase(zuerr_Status& status) noexcept;  ///< Takes over the status's text.
    ExceptionBase(const ExceptionBase& other) noexcept;
    ExceptionBase& operator=(const ExceptionBase&) = delete;
    virtual ~ExceptionBase();

    virtual const char* getJson() const noexcept;  ///< The error information, or "" when there is none.

    zuerr_Status& getStatus() noexcept { return status_; }
    const zuerr_Status& getStatus() const noexcept { return status_; }
    std::int32_t getCode() const noexcept { return status_.code; }

private:
    zuerr_Status status_;
};

/// Thrown by the library; `what()` is the error information, or "" if there is none.
class Exception : public std::exception, public virtual ExceptionBase {
public:
    explicit Exception(zuerr_Status& status) noexcept : ExceptionBase(status) {}
    Exception(const Exception& other) noexcept = default;
    ~Exception() override = default;

    const char* what() const noexcept override { return getJson(); }
};

/// The component named in error information.
inline constexpr const char* kComponent = "halvexTimekeeper";

/// One place that raises errors. Hosts may depend on the line: it stays when the code around it moves.
struct ErrorSite {
    std::int32_t code;  ///< Below 0.
    const char* file;
    std::int32_t line;
};

/// Writes the members common to all errors, in order; a null or empty text is omitted.
void addSite(ErrorInformation& information, const char* constant, const char* file, std::uint32_t line,
             const char* component) noexcept;

/// Throws a zuerr::Exception with the site's error information and, unless it is empty, the message in `pieces`.
[[noreturn]] void raise(const ErrorSite& site, TextPieces pieces);

/// The same with a caller-supplied name in place of the code's.
[[noreturn]] void raise(const ErrorSite& site, const char* constant, TextPieces pieces);

/// The same without a message.
[[noreturn]] void raise(const ErrorSite& site);

}  // namespace zuerr
