// The verb report: a page made of a record, a board's trace, or both.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

#include "host/output/result.h"
#include "host/report/chronicle.h"
#include "host/report/reportOptions.h"

namespace halvexctl {

/// Reads the sources that the options name. Throws std::system_error when one cannot be read.
Chronicle readChronicle(const ReportOptions& options);

/// The page as text: the embedded one with the chronicle in it.
std::string pageOf(const Chronicle& chronicle);

/// Writes the page and says what it holds. Throws std::system_error when a file cannot be read or written.
void makeReport(const ReportOptions& options, Result& result);

}  // namespace halvexctl
