// Options of the verb report.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

namespace halvexctl {

struct ReportOptions {
    std::string pagePath;    ///< Empty: the record's path with .html, or else the trace's.
    std::string recordPath;  ///< Empty: none.
    std::string tracePath;   ///< A simulated board's; empty: none.
    std::string title;       ///< Empty: derived from the sources' names.
};

}  // namespace halvexctl
