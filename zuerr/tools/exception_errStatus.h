// Turns the exception in flight into a status, or looks at it and leaves it whole.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "zuerr/exception.h"

namespace zuerr {

/// Call inside a catch-all handler. Sets the code of the exception in flight into `status` by precedence and, when it
/// is taken, its error information. Never throws: information that finds no room is dropped, the code is still set.
void setStatusFromCurrentException(zuerr_Status& status) noexcept;

/// Call inside a catch-all handler. A copy of the exception in flight, converted as above when it is a foreign one; the
/// exception itself stays whole and can be rethrown. Never throws; a copy for which memory is missing keeps the code.
ExceptionBase copyCurrentException() noexcept;

}  // namespace zuerr
