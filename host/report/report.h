// The verb report: generates a page from a record, a board's trace, or both.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "host/output/result.h"
#include "host/report/chronicle.h"
#include "host/report/reportOptions.h"

namespace halvexctl {

/// Reads the sources named in the options. Throws like readRecord().
Chronicle readChronicle(const ReportOptions& options);

/// The document for the page. Instants are ns since the first known one; long tables are thinned.
nlohmann::ordered_json chronicleAsJson(const Chronicle& chronicle);

/// The document as text for an HTML script element: ASCII, and without <, > and &.
std::string asPageText(const nlohmann::ordered_json& document);

/// The page as text: the embedded page with the chronicle inserted.
std::string pageOf(const Chronicle& chronicle);

/// Writes the page and summarises it in the result. Throws like readRecord() and replaceFile().
void makeReport(const ReportOptions& options, Result& result);

}  // namespace halvexctl
