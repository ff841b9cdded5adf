// The verb report: a page made of a record, a board's trace, or both.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

#include "host/output/result.h"
#include "host/report/chronicle.h"
#include "host/report/reportOptions.h"

namespace halvexctl {

/// Reads the sources that the options name. Throws as readJsonLines().
Chronicle readChronicle(const ReportOptions& options);

/// The page as text: the embedded one with the chronicle in it.
std::string pageOf(const Chronicle& chronicle);

/// Writes the page and says what it holds. Throws as readJsonLines() and replaceFile().
void makeReport(const ReportOptions& options, Result& result);

}  // namespace halvexctl
