// What a report is made of.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

namespace halvexctl {

struct ReportOptions {
    std::string pagePath;    ///< Empty: the record's with .html, or else the trace's.
    std::string recordPath;  ///< Empty: none.
    std::string tracePath;   ///< A simulated board's; empty: none.
    std::string title;       ///< Empty: made of the sources' names.
};

}  // namespace halvexctl
