// Converts the exception in flight into a status, or copies it and leaves it intact.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "zuerr/exception.h"

namespace zuerr {

/// Call inside a catch-all handler. Sets the code of the exception in flight in `status` by precedence and, if it is
/// set, its error information. Never throws: information that does not fit is dropped, the code is still set.
void setStatusFromCurrentException(zuerr_Status& status) noexcept;

/// Call inside a catch-all handler. Copies the exception in flight, converted as above if it is a foreign one; the
/// original stays intact and can be rethrown. Never throws; a copy made without enough memory keeps only the code.
ExceptionBase copyCurrentException() noexcept;

}  // namespace zuerr
